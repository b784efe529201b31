#include "editor/routes/point_edits.h"

#include <cmath>
#include <cstddef>
#include <string>

#include "editor/parameters.h"
#include "editor/points/point_json.h"
#include "residents/walker_class.h"

namespace editor {
namespace {

using mods::json::Value;

constexpr double kNewModelRouteSpeed = 60.0;       // pace a model's new route starts with [game walking units]
constexpr std::size_t kResidentMinimumPoints = 1;  // residents and patrollers walk from their position
constexpr std::size_t kModelMinimumPoints = 2;     // a model starts on its first point

// A fresh route record for `actor`: no points yet for walkers that start from their own position; a
// model's record starts with its rounded position. False (with the reason) when a model has no
// readable position; the partly made record is then already in the actor.
bool start_record(Value& actor, Value& path, std::string& error) {
  path = Value();
  path.kind = Value::Kind::Object;
  path["points"] = Value::array();
  path["mode"] = Value::of(patroller(actor) ? "back_and_forth" : "once");
  if (resident(actor)) return true;
  story_notebook::WorldPoint start;
  if (!point_of(actor.get("position"), start)) {
    error = "the actor has no position";
    return false;
  }
  path["points"].items.push_back(rounded(start));
  path["speed"] = Value::of(kNewModelRouteSpeed);
  return true;
}

// The route's points through writing access. A hand-made record whose "points" is not an array reads
// as an empty route everywhere, so it becomes one here.
Value& route_points(Value& path) {
  Value& points = path["points"];
  if (points.kind != Value::Kind::Array) points = Value::array();
  return points;
}

}  // namespace

Session::Edit add_point_edit(const Value& params, const story_notebook::WorldPoint& point, Value& result) {
  return [&params, &point, &result](Value& actor, std::string& error) {
    Value& path = actor["path"];
    if (path.kind != Value::Kind::Object && !start_record(actor, path, error)) return false;
    Value& points = route_points(path);
    const std::size_t count = points.items.size();

    std::size_t position = count;
    const Value& after = params.get("after");
    if (after.kind == Value::Kind::Number) {
      const double wanted = after.number;
      if (!(wanted >= 0.0 && wanted <= static_cast<double>(count) && std::floor(wanted) == wanted)) {
        error = "\"after\" is a point number from 0 to " + std::to_string(count);
        return false;
      }
      position = static_cast<std::size_t>(wanted);
    }
    points.items.insert(points.items.begin() + static_cast<std::ptrdiff_t>(position), rounded(point));
    result["point"] = Value::of(static_cast<double>(position + 1));
    return true;
  };
}

Session::Edit move_point_edit(const Value& params, const story_notebook::WorldPoint& point) {
  return [&params, &point](Value& actor, std::string& error) {
    const PointNumber point_number{params};
    std::size_t index = 0;
    if (!point_number(actor, "point", index, error)) return false;
    actor["path"]["points"].items[index] = rounded(point);
    return true;
  };
}

Session::Edit remove_point_edit(const Value& params, Value& result) {
  return [&params, &result](Value& actor, std::string& error) {
    const PointNumber point_number{params};
    std::size_t index = 0;
    if (!point_number(actor, "point", index, error)) return false;
    std::vector<Value>& points = actor["path"]["points"].items;
    points.erase(points.begin() + static_cast<std::ptrdiff_t>(index));
    const std::size_t minimum = resident(actor) ? kResidentMinimumPoints : kModelMinimumPoints;
    if (points.size() < minimum) {
      actor.members.erase("path");
      result["route_removed"] = Value::of(true);
    }
    return true;
  };
}

Session::Edit reorder_point_edit(const Value& params) {
  return [&params](Value& actor, std::string& error) {
    const PointNumber point_number{params};
    std::size_t from = 0;
    std::size_t to = 0;
    if (!point_number(actor, "point", from, error)) return false;
    if (!point_number(actor, "to", to, error)) return false;
    std::vector<Value>& points = actor["path"]["points"].items;
    Value moved = points[from];
    points.erase(points.begin() + static_cast<std::ptrdiff_t>(from));
    points.insert(points.begin() + static_cast<std::ptrdiff_t>(to), std::move(moved));
    return true;
  };
}

Session::Edit remove_route_edit() {
  return [](Value& actor, std::string&) {
    actor.members.erase("path");
    return true;
  };
}

}  // namespace editor
