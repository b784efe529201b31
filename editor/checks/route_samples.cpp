#include "editor/checks/route_samples.h"

#include <cmath>

#include "editor/points/point_json.h"
#include "residents/walker_class.h"

namespace editor {
namespace {

using mods::json::Value;
using story_notebook::WorldPoint;

constexpr double kSampleSpacing = 25.0;   // largest horizontal distance between samples [world units]
constexpr float kProbeRaise = 100.0f;     // probes start this far above the route line [world units]
constexpr float kLargestStep = 50.0f;     // largest height change between successive grounds [world units]
constexpr float kLargestOffset = 150.0f;  // largest distance between ground and route line [world units]
// Most samples one check asks the game for; beyond it the route is refused before anything is
// allocated or sent, so an absurdly long segment cannot exhaust memory.
constexpr std::uint64_t kMaxSamples = 1000000;

// A point the actor walks through, with its number in the route record (0: the actor's own position).
struct WalkEntry {
  WorldPoint point;
  std::size_t number;
};

// The number of intervals of a segment: ceil(d / spacing), at least 1; kMaxSamples + 1 stands for any
// segment too long to sample at all.
std::uint64_t intervals(const WorldPoint& a, const WorldPoint& b) {
  const double distance = std::hypot(static_cast<double>(b.x) - static_cast<double>(a.x),
                                     static_cast<double>(b.z) - static_cast<double>(a.z));
  if (!std::isfinite(distance)) return kMaxSamples + 1;
  const double count = std::ceil(distance / kSampleSpacing);
  if (count > static_cast<double>(kMaxSamples)) return kMaxSamples + 1;
  return count < 1.0 ? 1 : static_cast<std::uint64_t>(count);
}

// a + t (b - a): the difference in single precision, product and sum in double, rounded to single.
float along(float a, float b, double t) {
  const float difference = b - a;
  return static_cast<float>(static_cast<double>(a) + t * static_cast<double>(difference));
}

// The walk: a resident or patroller starts from its own position; unreadable points are passed over
// but keep their numbers, so "from" and "to" always name points of the record.
std::vector<WalkEntry> walk_of(const Value& actor, std::vector<std::size_t>& skipped) {
  std::vector<WalkEntry> walk;
  WorldPoint point;
  if (resident(actor)) {
    if (point_of(actor.get("position"), point)) {
      walk.push_back({point, 0});
    } else {
      skipped.push_back(0);
    }
  }
  const Value& path = actor.get("path");
  const Value& points = path.get("points");
  if (points.kind == Value::Kind::Array) {
    for (std::size_t k = 0; k < points.items.size(); ++k) {
      if (point_of(points.items[k], point)) {
        walk.push_back({point, k + 1});
      } else {
        skipped.push_back(k + 1);
      }
    }
  }
  const bool closed = path.get("mode").string("once") == "loop" && walk.size() >= 2;
  if (closed) walk.push_back(walk.front());
  return walk;
}

// The first problem among samples [begin, end) of one segment, or null; `at` is then that sample.
const char* segment_problem(const RouteSamples& samples, const std::vector<float>& heights,
                            const std::vector<bool>& found, std::size_t begin, std::size_t end, std::size_t& at) {
  bool has_previous = false;
  float previous = 0.0f;
  for (std::size_t k = begin; k < end; ++k) {
    at = k;
    if (!found[k]) return "no ground";
    const float height = heights[k];
    if (has_previous && std::fabs(height - previous) > kLargestStep) {
      return height < previous ? "a drop" : "a step up too high (a wall)";
    }
    if (std::fabs(height - samples.line[k].y) > kLargestOffset) { return "the ground is far from the route's height"; }
    previous = height;
    has_previous = true;
  }
  return nullptr;
}

}  // namespace

bool route_samples(const Value& actor, RouteSamples& samples, std::string& error) {
  samples = RouteSamples();
  const std::vector<WalkEntry> walk = walk_of(actor, samples.skipped);
  const std::size_t segments = walk.size() < 2 ? 0 : walk.size() - 1;
  std::vector<std::uint64_t> counts(segments);
  std::uint64_t total = 0;
  for (std::size_t s = 0; s < segments; ++s) {
    counts[s] = intervals(walk[s].point, walk[s + 1].point);
    total += counts[s] + 1;
    if (counts[s] > kMaxSamples || total > kMaxSamples) {
      error = "the route is too long to check: more than " + std::to_string(kMaxSamples) + " samples";
      return false;
    }
  }
  samples.line.reserve(total);
  samples.probes.reserve(total);
  for (std::size_t s = 0; s < segments; ++s) {
    const WorldPoint& a = walk[s].point;
    const WorldPoint& b = walk[s + 1].point;
    const std::uint64_t n = counts[s];
    samples.segments.push_back({walk[s].number, walk[s + 1].number, static_cast<std::size_t>(n) + 1});
    for (std::uint64_t j = 0; j <= n; ++j) {
      const double t = static_cast<double>(j) / static_cast<double>(n);
      const WorldPoint on_line{along(a.x, b.x, t), along(a.y, b.y, t), along(a.z, b.z, t)};
      samples.line.push_back(on_line);
      WorldPoint probe = on_line;
      probe.y = probe.y + kProbeRaise;
      samples.probes.push_back(probe);
    }
  }
  return true;
}

Value judge_route(const RouteSamples& samples, const std::vector<float>& heights, const std::vector<bool>& found) {
  Value result = Value::object();
  Value& list = result["segments"];
  list = Value::array();
  list.items.reserve(samples.segments.size());
  std::size_t begin = 0;
  for (const RouteSamples::Segment& segment : samples.segments) {
    const std::size_t end = begin + segment.samples;
    Value entry = Value::object();
    entry["from"] = Value::of(static_cast<double>(segment.from));
    entry["to"] = Value::of(static_cast<double>(segment.to));
    std::size_t at = begin;
    const char* problem = segment_problem(samples, heights, found, begin, end, at);
    entry["ok"] = Value::of(problem == nullptr);
    if (problem != nullptr) {
      entry["at"] = rounded(samples.line[at]);
      entry["problem"] = Value::of(problem);
    }
    list.items.push_back(std::move(entry));
    begin = end;
  }
  if (!samples.skipped.empty()) {
    Value skipped = Value::array();
    for (std::size_t number : samples.skipped) skipped.items.push_back(Value::of(static_cast<double>(number)));
    result["skipped"] = std::move(skipped);
  }
  return result;
}

}  // namespace editor
