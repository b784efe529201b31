#include "editor/checks/route_check.h"

#include <cmath>
#include <cstddef>
#include <vector>

#include "editor/checks/route_walk.h"
#include "editor/points/point_json.h"

namespace editor {
namespace {

using mods::json::Value;

constexpr float kLargestStep = 50.0f;    // largest height change between successive grounds [world units]
constexpr float kLargestOffset = 150.0f;  // largest distance between ground and route line [world units]

// The first problem among samples [begin, end) of one segment, or null; `at` is then that sample.
const char* segment_problem(const RouteWalk& walk, std::size_t begin, std::size_t end, std::size_t& at) {
  bool has_previous = false;
  float previous = 0.0f;
  for (std::size_t k = begin; k < end; ++k) {
    at = k;
    if (!walk.found[k]) return "no ground";
    const float height = walk.heights[k];
    if (has_previous && std::fabs(height - previous) > kLargestStep) {
      return height < previous ? "a drop" : "a step up too high (a wall)";
    }
    if (std::fabs(height - walk.samples[k].y) > kLargestOffset) {
      return "the ground is far from the route's height";
    }
    previous = height;
    has_previous = true;
  }
  return nullptr;
}

}  // namespace

Value check_route(Session& session, const Value& params, std::string& error, bool& ok) {
  RouteWalk walk;
  if (!sample_walk(session, params, walk, error)) return Value();

  Value result = Value::object();
  Value& list = result["segments"];
  list = Value::array();
  list.items.reserve(walk.segments.size());
  for (const WalkSegment& segment : walk.segments) {
    const std::size_t begin = segment.first;
    const std::size_t end = begin + static_cast<std::size_t>(segment.intervals) + 1;
    Value entry = Value::object();
    entry["from"] = Value::of(static_cast<double>(segment.from));
    entry["to"] = Value::of(static_cast<double>(segment.to));
    std::size_t at = begin;
    const char* problem = segment_problem(walk, begin, end, at);
    entry["ok"] = Value::of(problem == nullptr);
    if (problem != nullptr) {
      entry["at"] = rounded(walk.samples[at]);
      entry["problem"] = Value::of(problem);
    }
    list.items.push_back(std::move(entry));
  }
  if (!walk.skipped.items.empty()) result["skipped"] = std::move(walk.skipped);
  ok = true;
  return result;
}

}  // namespace editor
