#include "editor/checks/route_walk.h"

#include "editor/live_game.h"
#include "editor/parameters.h"
#include "editor/scan_ahead.h"

namespace editor {
namespace {

using mods::json::Value;

// The last actor whose "id" (read as text, "" when not a string) equals `id`, or null.
const Value* checked_actor(const Value& document, const std::string& id) {
  const Value& actors = document.get("actors");
  if (actors.kind != Value::Kind::Array) return nullptr;
  const Value* found = nullptr;
  for (std::size_t i = 0; i < actors.items.size(); ++i) {
    const Value& actor = actors.items[i];
    fetch_ahead(actors.items, i);
    // The id read as text ("" when not a string), compared without copying it.
    const Value& actor_id = actor.get("id");
    const bool same = actor_id.kind == Value::Kind::String ? actor_id.str == id : id.empty();
    if (same) found = &actor;
  }
  return found;
}

// The per-sample view of `plan` that readers of the walk (the profile) index by sample.
void lay_out(RouteWalk& walk) {
  const RouteSamples& plan = walk.plan;
  std::size_t first = 0;
  for (std::size_t s = 0; s < plan.segments.size(); ++s) {
    const RouteSamples::Segment& segment = plan.segments[s];
    walk.segments.push_back({.from = segment.from,
                             .to = segment.to,
                             .first = first,
                             .intervals = static_cast<std::uint64_t>(segment.samples) - 1});
    walk.sample_segment.insert(walk.sample_segment.end(), segment.samples, s);
    first += segment.samples;
  }
  walk.samples = plan.line;
  for (std::size_t number : plan.skipped) walk.skipped.items.push_back(Value::of(static_cast<double>(number)));
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
  if (session.live_game == nullptr) {
    error = "the game is not running";
    return false;
  }
  if (!route_samples(*actor, result.plan, error)) return false;
  lay_out(result);

  const std::vector<story_notebook::WorldPoint>& probes = result.plan.probes;
  if (!session.live_game->ground_heights(probes, result.heights, result.found, error)) return false;
  if (result.heights.size() != probes.size() || result.found.size() != probes.size()) {
    error = "the game answered " + std::to_string(result.found.size()) + " ground findings and " +
            std::to_string(result.heights.size()) + " heights for " + std::to_string(probes.size()) + " probes";
    return false;
  }
  return true;
}

}  // namespace editor
