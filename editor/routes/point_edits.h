// The edits that change the points of a placed actor's route, or remove the route. Each builder answers
// an edit that the dispatcher hands to the session's change service; the edit receives the placed
// actor's object, changes it in place and answers true, or sets the error text and answers false.
//
// The edits hold references to what they are built from (parameters, point, result): they may only run
// while those live, that is within the `dispatch_route` call that built them.
//
// Route record, under the actor's "path":
//   {"points": [point, ...], "mode": "once" | "loop" | "back_and_forth",
//    "speed": number (models always), "pauses": any value but false, "walk": text, "idle": text}
// A resident, Bokoblin or Moblin starts from its own "position" and needs at least one point; a model
// starts from its first point, a copy of its position, and needs at least two.
#ifndef PATHWRIGHT_EDITOR_ROUTES_POINT_EDITS_H_
#define PATHWRIGHT_EDITOR_ROUTES_POINT_EDITS_H_

#include "editor/points/world_point.h"
#include "editor/session.h"
#include "json/value.h"

namespace editor {

// Inserts `point` (rounded) after "after" points, or last; creates the record when there is none.
// Writes "point", the new point's number, into `result`.
Session::Edit add_point_edit(const mods::json::Value& params, const story_notebook::WorldPoint& point,
                             mods::json::Value& result);

// Replaces point "point" with `point` (rounded).
Session::Edit move_point_edit(const mods::json::Value& params, const story_notebook::WorldPoint& point);

// Removes point "point"; removes the whole record, and sets "route_removed" in `result`, when fewer
// points than the walker needs would remain.
Session::Edit remove_point_edit(const mods::json::Value& params, mods::json::Value& result);

// Moves point "point" so that it ends up numbered "to".
Session::Edit reorder_point_edit(const mods::json::Value& params);

// Removes the route record, whatever it holds; succeeds without one too.
Session::Edit remove_route_edit();

}  // namespace editor

#endif  // PATHWRIGHT_EDITOR_ROUTES_POINT_EDITS_H_
