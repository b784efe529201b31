#include "editor/checks/route_walk.h"

#include <cmath>

#include "editor/live_game.h"
#include "editor/parameters.h"
#include "editor/points/point_json.h"
#include "residents/walker_class.h"

namespace editor {
namespace {

using mods::json::Value;
using story_notebook::WorldPoint;

constexpr double kSampleSpacing = 25.0;  // largest horizontal distance between samples [world units]
constexpr float kProbeRaise = 100.0f;    // probes start this far above the route line [world units]
// Most samples one check asks the game for; beyond it the route is refused before anything is
// allocated or sent, so an absurdly long segment cannot exhaust memory.
constexpr std::uint64_t kMaxSamples = 1000000;

// A point the actor walks through, with its number in the route record (0: the actor's own position).
struct WalkEntry {
  WorldPoint point;
  std::size_t number;
};

// The last actor whose "id" (read as text, "" when not a string) equals `id`, or null.
const Value* checked_actor(const Value& document, const std::string& id) {
  const Value& actors = document.get("actors");
  if (actors.kind != Value::Kind::Array) return nullptr;
  const Value* found = nullptr;
  for (const Value& actor : actors.items) {
    // The id read as text ("" when not a string), compared without copying it.
    const Value& actor_id = actor.get("id");
    const bool same = actor_id.kind == Value::Kind::String ? actor_id.str == id : id.empty();
    if (same) found = &actor;
  }
  return found;
}

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

}  // namespace

bool sample_walk(Session& session, const Value& params, RouteWalk& result, std::string& error) {
  Session::Package* package = session.package(params, error);
  if (package == nullptr) return false;

  const std::string id = text(params, "id");
  const Value* actor = checked_actor(package->document, id);
  if (actor == nullptr) {
    error = "no placed actor \"" + id + "\"";
    return false;
  }

  // The walk: a resident or patroller starts from its own position; unreadable points are passed over
  // but keep their numbers, so "from" and "to" always name points of the record.
  const bool from_position = resident(*actor);
  std::vector<WalkEntry> walk;
  Value& skipped = result.skipped;
  WorldPoint point;
  if (from_position) {
    if (point_of(actor->get("position"), point)) {
      walk.push_back({point, 0});
    } else {
      skipped.items.push_back(Value::of(0.0));
    }
  }
  const Value& path = actor->get("path");
  const Value& points = path.get("points");
  if (points.kind == Value::Kind::Array) {
    for (std::size_t k = 0; k < points.items.size(); ++k) {
      if (point_of(points.items[k], point)) {
        walk.push_back({point, k + 1});
      } else {
        skipped.items.push_back(Value::of(static_cast<double>(k + 1)));
      }
    }
  }
  const bool closed = path.get("mode").string("once") == "loop" && walk.size() >= 2;
  if (closed) walk.push_back(walk.front());

  if (session.live_game == nullptr) {
    error = "the game is not running";
    return false;
  }

  const std::size_t segments = walk.size() < 2 ? 0 : walk.size() - 1;
  std::uint64_t total = 0;
  for (std::size_t s = 0; s < segments; ++s) {
    const std::uint64_t count = intervals(walk[s].point, walk[s + 1].point);
    result.segments.push_back({.from = walk[s].number, .to = walk[s + 1].number,
                               .first = static_cast<std::size_t>(total), .intervals = count});
    total += count + 1;
    if (count > kMaxSamples || total > kMaxSamples) {
      error = "the route is too long to check: more than " + std::to_string(kMaxSamples) + " samples";
      return false;
    }
  }

  result.samples.reserve(total);
  result.sample_segment.reserve(total);
  for (std::size_t s = 0; s < segments; ++s) {
    const WorldPoint& a = walk[s].point;
    const WorldPoint& b = walk[s + 1].point;
    const std::uint64_t n = result.segments[s].intervals;
    for (std::uint64_t j = 0; j <= n; ++j) {
      const double t = static_cast<double>(j) / static_cast<double>(n);
      result.samples.push_back({along(a.x, b.x, t), along(a.y, b.y, t), along(a.z, b.z, t)});
      result.sample_segment.push_back(s);
    }
  }
  std::vector<WorldPoint> probes;
  probes.reserve(result.samples.size());
  for (const WorldPoint& sample : result.samples) {
    WorldPoint probe = sample;
    probe.y = probe.y + kProbeRaise;
    probes.push_back(probe);
  }

  if (!session.live_game->ground_heights(probes, result.heights, result.found, error)) return false;
  if (result.heights.size() != probes.size() || result.found.size() != probes.size()) {
    error = "the game answered " + std::to_string(result.found.size()) + " ground findings and " +
            std::to_string(result.heights.size()) + " heights for " + std::to_string(probes.size()) + " probes";
    return false;
  }
  return true;
}

}  // namespace editor
