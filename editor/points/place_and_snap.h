// Placing a new route point: the session resolves the place the request names, and the running game,
// when there is one, moves it onto the ground below. Private to the dispatcher; runs on its thread.
#ifndef PATHWRIGHT_EDITOR_POINTS_PLACE_AND_SNAP_H_
#define PATHWRIGHT_EDITOR_POINTS_PLACE_AND_SNAP_H_

#include <string>

#include "editor/live_game.h"
#include "editor/session.h"
#include "json/value.h"

namespace editor {
namespace {

// How far above the placed point the ground is looked for, so that a point placed slightly below the
// surface (Link's feet, a rounded coordinate) still finds the ground it stands on. [world units]
constexpr float kSnapProbeRaise = 50.0f;

// Resolves `point` through `Session::where` and snaps it to the ground unless "snap" is false or no game
// runs. False only when `where` fails (its reason is in `error`). When the game finds no ground, the
// point stays where `where` put it and `result` gets "snap_note"; that is no failure.
inline bool place_and_snap(Session& session, const mods::json::Value& params, mods::json::Value& result,
                           story_notebook::WorldPoint& point, std::string& error) {
  Place place;
  if (!session.where(params, place, error)) return false;
  point = place.point;

  const mods::json::Value& snap = params.get("snap");
  const bool snapping = !(snap.kind == mods::json::Value::Kind::Bool && !snap.boolean);
  if (!snapping || session.live_game == nullptr) return true;

  story_notebook::WorldPoint probe = point;
  probe.y = probe.y + kSnapProbeRaise;
  float height = 0.0f;
  std::string note;
  if (session.live_game->ground_height(probe, height, note)) {
    point.y = height;
    return true;
  }
  result["snap_note"] = mods::json::Value::of("not on the ground: " + note);
  return true;
}

}  // namespace
}  // namespace editor

#endif  // PATHWRIGHT_EDITOR_POINTS_PLACE_AND_SNAP_H_
