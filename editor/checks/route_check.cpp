#include "editor/checks/route_check.h"

#include <vector>

#include "editor/checks/route_samples.h"
#include "editor/live_game.h"
#include "editor/parameters.h"

namespace editor {
namespace {

using mods::json::Value;

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

}  // namespace

Value check_route(Session& session, const Value& params, std::string& error, bool& ok) {
  Session::Package* package = session.package(params, error);
  if (package == nullptr) return Value();

  const std::string id = text(params, "id");
  const Value* actor = checked_actor(package->document, id);
  if (actor == nullptr) {
    error = "no placed actor \"" + id + "\"";
    return Value();
  }
  if (session.live_game == nullptr) {
    error = "the game is not running";
    return Value();
  }
  RouteSamples samples;
  if (!route_samples(*actor, samples, error)) return Value();

  std::vector<float> heights;
  std::vector<bool> found;
  const std::vector<story_notebook::WorldPoint>& probes = samples.probes;
  if (!session.live_game->ground_heights(probes, heights, found, error)) return Value();
  if (heights.size() != probes.size() || found.size() != probes.size()) {
    error = "the game answered " + std::to_string(found.size()) + " ground findings and " +
            std::to_string(heights.size()) + " heights for " + std::to_string(probes.size()) + " probes";
    return Value();
  }
  Value result = judge_route(samples, heights, found);
  ok = true;
  return result;
}

}  // namespace editor
