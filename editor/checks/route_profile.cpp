#include "editor/checks/route_profile.h"

#include <cmath>

#include "editor/checks/route_walk.h"
#include "editor/parameters.h"

namespace editor {

using mods::json::Value;

Value route_profile(Session& session, const Value& params, std::string& error, bool& ok) {
  RouteWalk walk;
  if (!sample_walk(session, params, walk, error)) return Value();
  Session::Package* package = session.package(params, error);
  if (package == nullptr) return Value();

  Value result = Value::object();
  result["package"] = Value::of(package->name);
  result["id"] = Value::of(text(params, "id"));
  Value& samples = result["samples"];
  samples = Value::array();
  samples.items.reserve(walk.samples.size());
  double start = 0;  // distance at the current segment's start
  for (const WalkSegment& segment : walk.segments) {
    const auto& a = walk.samples[segment.first];
    double distance = start;
    for (std::size_t k = segment.first; k <= segment.first + segment.intervals; ++k) {
      const auto& point = walk.samples[k];
      distance = start + std::hypot(static_cast<double>(point.x) - a.x, static_cast<double>(point.z) - a.z);
      Value sample = Value::object();
      sample["distance"] = Value::of(distance);
      sample["height"] = Value::of(static_cast<double>(point.y));
      sample["ground"] = walk.found[k] ? Value::of(static_cast<double>(walk.heights[k])) : Value();
      sample["segment"] = Value::of(static_cast<double>(segment.from));
      samples.items.push_back(std::move(sample));
    }
    start = distance;
  }
  result["length"] = Value::of(start);
  ok = true;
  return result;
}

}  // namespace editor
