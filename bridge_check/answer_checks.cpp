#include "bridge_check/answer_checks.h"

#include <algorithm>
#include <cmath>

#include "protocol/link_protocol.h"

namespace host::bridge_check {
namespace {

using mods::json::Value;

bool finite_number(const Value& value) { return value.is_number() && std::isfinite(value.number); }

bool whole_number_in(const Value& value, double low, double high) {
  return finite_number(value) && value.number == std::floor(value.number) && value.number >= low &&
         value.number <= high;
}

bool one_of(const Value& value, std::initializer_list<const char*> names) {
  if (!value.is_string()) return false;
  return std::any_of(names.begin(), names.end(), [&](const char* name) { return value.str == name; });
}

// The horizontal distance from (px, pz) to the segment a-b.
double segment_distance(double px, double pz, const WorldPoint& a, const WorldPoint& b) {
  const double dx = b.x - a.x, dz = b.z - a.z;
  const double length2 = dx * dx + dz * dz;
  double t = length2 > 0 ? ((px - a.x) * dx + (pz - a.z) * dz) / length2 : 0.0;
  t = std::clamp(t, 0.0, 1.0);
  return std::hypot(px - (a.x + t * dx), pz - (a.z + t * dz));
}

}  // namespace

bool read_finite_point(const Value& value, WorldPoint& point, std::string& error) {
  const Value& x = value.get("x");
  const Value& y = value.get("y");
  const Value& z = value.get("z");
  if (!value.is_object() || !finite_number(x) || !finite_number(y) || !finite_number(z)) {
    error = "finite numbers \"x\", \"y\" and \"z\"";
    return false;
  }
  point = {static_cast<float>(x.number), static_cast<float>(y.number), static_cast<float>(z.number)};
  return true;
}

bool read_greeting(const Value& answer, Greeting& greeting, std::string& error) {
  const Value& version = answer.get("protocol");
  if (!version.is_number() || version.number != protocol::kProtocolVersion) {
    error = "\"protocol\": " + std::to_string(protocol::kProtocolVersion);
    return false;
  }
  const Value& world = answer.get("world");
  if (!world.is_string() || world.str.empty()) {
    error = "a non-empty string \"world\"";
    return false;
  }
  greeting.world = world.str;
  greeting.has_bounds = answer.has("bounds");
  if (!greeting.has_bounds) return true;
  const Value& bounds = answer.get("bounds");
  std::string ignored;
  if (!read_finite_point(bounds.get("low"), greeting.low, ignored) ||
      !read_finite_point(bounds.get("high"), greeting.high, ignored)) {
    error = "\"bounds\" with points \"low\" and \"high\"";
    return false;
  }
  if (greeting.low.x > greeting.high.x || greeting.low.y > greeting.high.y || greeting.low.z > greeting.high.z) {
    error = "\"bounds\" whose \"low\" is nowhere above \"high\"";
    return false;
  }
  return true;
}

bool read_heights(const Value& answer, std::size_t count, std::vector<float>& heights, std::vector<bool>& found,
                  std::string& error) {
  const Value& h = answer.get("heights");
  const Value& f = answer.get("found");
  if (!h.is_array() || !f.is_array() || h.items.size() != count || f.items.size() != count) {
    error = "arrays \"heights\" and \"found\" of " + std::to_string(count) + " entries each";
    if (h.is_array() && f.is_array()) {
      error += " (got " + std::to_string(h.items.size()) + " and " + std::to_string(f.items.size()) + ")";
    }
    return false;
  }
  heights.assign(count, 0.0f);
  found.assign(count, false);
  for (std::size_t k = 0; k < count; ++k) {
    const Value& fk = f.items[k];
    const bool flag = fk.is_bool() ? fk.boolean : whole_number_in(fk, 0, 1) && fk.number == 1;
    if (!fk.is_bool() && !whole_number_in(fk, 0, 1)) {
      error = "\"found\" entries 0 or 1 (entry " + std::to_string(k + 1) + " is not)";
      return false;
    }
    if (!finite_number(h.items[k]) || (!flag && h.items[k].number != 0)) {
      error = "\"heights\" entries finite numbers, 0 where not found (entry " + std::to_string(k + 1) + " is not)";
      return false;
    }
    heights[k] = static_cast<float>(h.items[k].number);
    found[k] = flag;
  }
  return true;
}

bool read_live_actors(const Value& answer, const std::vector<std::string>& document_ids, const SentRoute& route,
                      WorldPoint& position, double& time, std::string& error) {
  if (!finite_number(answer.get("time")) || !answer.get("actors").is_array()) {
    error = "a number \"time\" and an array \"actors\"";
    return false;
  }
  time = answer.get("time").number;
  bool seen = false;
  for (const Value& actor : answer.get("actors").items) {
    const Value& id = actor.get("id");
    if (!id.is_string() || std::find(document_ids.begin(), document_ids.end(), id.str) == document_ids.end()) {
      error = "actors whose \"id\" is an id of the document";
      return false;
    }
    if (id.str != route.actor) continue;
    std::string ignored;
    if (!read_finite_point(actor.get("position"), position, ignored)) {
      error = "a \"position\" of finite numbers for \"" + route.actor + "\"";
      return false;
    }
    if (!whole_number_in(actor.get("point"), 1, static_cast<double>(route.points.size()))) {
      error = "a \"point\" from 1 to " + std::to_string(route.points.size()) + " for \"" + route.actor + "\"";
      return false;
    }
    seen = true;
  }
  if (!seen) error = "the walker \"" + route.actor + "\" among the \"actors\"";
  return seen;
}

bool read_live_route(const Value& route_value, const SentRoute& route, std::vector<WorldPoint>& points,
                     WorldPoint& position, std::string& error) {
  if (!route_value.is_object()) {
    error = "a \"route\" object for \"" + route.actor + "\"";
    return false;
  }
  const Value& listed = route_value.get("points");
  if (!listed.is_array() || listed.items.size() != route.points.size()) {
    error = "\"points\": the " + std::to_string(route.points.size()) + " points sent";
    return false;
  }
  points.assign(route.points.size(), WorldPoint{});
  for (std::size_t k = 0; k < points.size(); ++k) {
    std::string ignored;
    if (!read_finite_point(listed.items[k], points[k], ignored) || points[k].x != route.points[k].x ||
        points[k].z != route.points[k].z) {
      error = "point " + std::to_string(k + 1) + " with x and z as sent";
      return false;
    }
  }
  const double count = static_cast<double>(route.points.size());
  const Value& heading = route_value.get("heading");
  std::string ignored;
  if (!one_of(route_value.get("mode"), {"once", "loop", "back_and_forth"}) ||
      !one_of(route_value.get("state"), {"walking", "pausing", "arrived"}) ||
      !finite_number(route_value.get("speed")) || !(route_value.get("speed").number > 0) || !finite_number(heading) ||
      heading.number < 0 || heading.number >= 360 || !whole_number_in(route_value.get("target"), 1, count) ||
      !read_finite_point(route_value.get("position"), position, ignored)) {
    error = "\"mode\", \"state\", a positive \"speed\", \"heading\" in [0, 360), \"target\" from 1 to " +
            std::to_string(route.points.size()) + " and a \"position\"";
    return false;
  }
  return true;
}

double distance_from_route(const WorldPoint& position, const std::vector<WorldPoint>& points) {
  if (points.empty()) return INFINITY;
  double nearest = std::hypot(position.x - points[0].x, position.z - points[0].z);
  for (std::size_t k = 0; k < points.size(); ++k) {
    nearest = std::min(nearest, segment_distance(position.x, position.z, points[k], points[(k + 1) % points.size()]));
  }
  return nearest;
}

}  // namespace host::bridge_check
