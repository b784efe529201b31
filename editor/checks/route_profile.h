// route_profile: the heights along a placed actor's walk, for a side view of the route. The samples are
// exactly check_route's (same walk, same spacing, one query to the game). Reads only; runs on the
// caller's thread and waits for the game.
//
// Answer: {"package": name, "id": id, "length": L,
//          "samples": [{"distance": d, "height": y, "ground": y | null, "segment": n}, ...]}
// "distance" runs along the walk seen from above (x and z), from 0 at its start to "length" at its end;
// "height" is the route line's, "ground" the ground's below it (null where there is none); "segment"
// numbers the segment as check_route's "from" does. A segment's end and the next one's start are both
// listed, at the same distance.
#ifndef PATHWRIGHT_EDITOR_CHECKS_ROUTE_PROFILE_H_
#define PATHWRIGHT_EDITOR_CHECKS_ROUTE_PROFILE_H_

#include <string>

#include "editor/session.h"
#include "json/value.h"

namespace editor {

// On failure answers null, leaves `ok` false and writes the reason into `error` (as check_route does).
mods::json::Value route_profile(Session& session, const mods::json::Value& params, std::string& error, bool& ok);

}  // namespace editor

#endif  // PATHWRIGHT_EDITOR_CHECKS_ROUTE_PROFILE_H_
