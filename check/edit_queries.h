// What the map's editing asks before it edits, answered without changing anything: which route settings
// an actor may set (refused with the route service's own texts), and where a point dropped on the map
// lands on the ground. Used on the command's thread, like every command.
#ifndef PATHWRIGHT_CHECK_EDIT_QUERIES_H_
#define PATHWRIGHT_CHECK_EDIT_QUERIES_H_

#include <string>

#include "editor/session.h"
#include "json/value.h"

namespace host::check {

// route_fields {"package", "id"} -> {"id", "fields": {NAME: {"may_set": true} or {"may_set": false,
// "refusal": TEXT}}} for "mode", "speed", "pauses", "walk" and "idle", plus "refusal" when the actor may
// not walk at all. Each field is tried with set_route's own edit on a copy of the actor, so a refusal is
// exactly what set_route would answer. On false (unknown package or actor) `error` says why and nothing
// was looked at further.
bool route_fields(editor::Session& session, const mods::json::Value& params, mods::json::Value& answer,
                  std::string& error);

// ground_point {"position"} -> {"position"} snapped the way add_route_point snaps: the ground below a probe
// raised above the position. Without ground there, or without a game, the position comes back as given
// with "snap_note" saying why. On false (no readable "position") `error` says why.
bool ground_point(editor::Session& session, const mods::json::Value& params, mods::json::Value& answer,
                  std::string& error);

}  // namespace host::check

#endif  // PATHWRIGHT_CHECK_EDIT_QUERIES_H_
