#include "session/actor_listing.h"

#include <algorithm>
#include <cmath>
#include <optional>

#include "residents/walkers.h"
#include "session/number_param.h"

namespace host::session {
namespace {

using mods::json::Value;

constexpr double kDefaultLimit = 1000;   // actors in one answer when "limit" is not given
constexpr double kLargestLimit = 10000;  // actors in one answer at most: a few MB of JSON text

bool is_model(const Value& actor) {
  return actor.get("kind").string("") == "mod" && actor.get("actor").string("") != "resident";
}

// Who walks the actor's route, by the route service's own rule: a resident at its type's pace, a
// Bokoblin or Moblin on patrol, or one of the mod's own models; "none" when it is refused a route.
const char* walker_of(const Value& actor) {
  switch (editor::walker_class(actor)) {
    case editor::WalkerClass::None: return "none";
    case editor::WalkerClass::Resident: return "resident";
    case editor::WalkerClass::Patroller: return "patroller";
    case editor::WalkerClass::Model: return "model";
  }
  return "none";
}

struct Box {
  double low_x, low_z, high_x, high_z;
  bool holds(double x, double z) const { return x >= low_x && x <= high_x && z >= low_z && z <= high_z; }
};

struct Request {
  std::optional<Box> region;
  std::optional<std::string> id;
  double start = 0;
  double limit = kDefaultLimit;
  bool routes = true;
};

bool finite_number(const Value& v) { return v.is_number() && std::isfinite(v.number); }

bool read_corner(const Value& corner, double& x, double& z) {
  if (!finite_number(corner.get("x")) || !finite_number(corner.get("z"))) return false;
  x = corner.get("x").number;
  z = corner.get("z").number;
  return true;
}

bool read_region(const Value& region, Box& box, std::string& error) {
  if (!read_corner(region.get("low"), box.low_x, box.low_z) ||
      !read_corner(region.get("high"), box.high_x, box.high_z)) {
    error = "placed_actors: \"region\" is {\"low\": {\"x\", \"z\"}, \"high\": {\"x\", \"z\"}} with finite numbers";
    return false;
  }
  if (box.low_x > box.high_x || box.low_z > box.high_z) {
    error = "placed_actors: the \"region\"'s \"low\" corner lies beyond its \"high\" corner";
    return false;
  }
  return true;
}

bool read_request(const Value& params, Request& request, std::string& error) {
  if (params.has("region")) {
    Box box{};
    if (!read_region(params.get("region"), box, error)) return false;
    request.region = box;
  }
  if (params.has("id")) {
    if (!params.get("id").is_string()) {
      error = "placed_actors: \"id\" is an actor's id, a string";
      return false;
    }
    request.id = params.get("id").str;
  }
  if (params.has("routes")) {
    if (!params.get("routes").is_bool()) {
      error = "placed_actors: \"routes\" is true or false";
      return false;
    }
    request.routes = params.get("routes").boolean;
  }
  return read_number_param(params, {"placed_actors", "start", 0, kLargestExactCount}, request.start, error) &&
         read_number_param(params, {"placed_actors", "limit", 1, kLargestLimit}, request.limit, error);
}

// Whether the actor stands at a point; its x and z then. The keys are made once: a region scans every
// actor of the package.
bool stands_at(const Value& actor, double& x, double& z) {
  static const std::string kPosition = "position", kX = "x", kY = "y", kZ = "z";
  const Value& position = actor.get(kPosition);
  const Value& px = position.get(kX);
  const Value& pz = position.get(kZ);
  if (!finite_number(px) || !finite_number(position.get(kY)) || !finite_number(pz)) return false;
  x = px.number;
  z = pz.number;
  return true;
}

bool wanted(const Request& request, const Value& actor) {
  if (request.id) {
    const Value& id = actor.get("id");  // compared in place: a scan of 50,000 actors copies no text
    if (!id.is_string() || id.str != *request.id) return false;
  }
  if (!request.region) return true;
  double x = 0, z = 0;
  return stands_at(actor, x, z) && request.region->holds(x, z);
}

Value listed(const Request& request, const Value& actor, std::size_t index) {
  Value entry = actor_summary(actor);
  entry["index"] = Value::of(static_cast<double>(index));
  double x = 0, z = 0;
  entry["position"] = stands_at(actor, x, z) ? actor.get("position") : Value();
  if (request.routes && actor.get("path").is_object()) entry["path"] = actor.get("path");
  return entry;
}

}  // namespace

Value actor_summary(const Value& actor) {
  Value entry = Value::object();
  const Value& id = actor.get("id");
  entry["id"] = id.is_string() ? id : Value();
  entry["type"] = Value::of(is_model(actor) ? std::string("model") : actor.get("actor").string("unknown"));
  const std::string refusal = editor::route_refusal(actor);
  entry["walker"] = Value::of(walker_of(actor));
  if (!refusal.empty()) entry["refusal"] = Value::of(refusal);
  const Value& points = actor.get("path").get("points");
  entry["points"] = Value::of(static_cast<double>(points.is_array() ? points.items.size() : 0));
  return entry;
}

bool placed_actors(const std::string& package_name, const Value& document, const Value& params, Value& answer,
                   std::string& error) {
  Request request;
  if (!read_request(params, request, error)) return false;
  const std::vector<Value>& actors = document.get("actors").items;
  Value list = Value::array();
  Value next;
  const auto limit = static_cast<std::size_t>(request.limit);
  for (auto i = static_cast<std::size_t>(std::min(request.start, static_cast<double>(actors.size())));
       i < actors.size(); ++i) {
    if (!wanted(request, actors[i])) continue;
    if (list.items.size() == limit) {  // a full page: the next one starts at this actor
      next = Value::of(static_cast<double>(i));
      break;
    }
    list.items.push_back(listed(request, actors[i], i));
  }
  Value result = Value::object();
  result["package"] = Value::of(package_name);
  result["total"] = Value::of(static_cast<double>(actors.size()));
  result["actors"] = std::move(list);
  result["next"] = std::move(next);
  answer = std::move(result);
  return true;
}

}  // namespace host::session
