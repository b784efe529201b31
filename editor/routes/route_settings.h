// The edit behind set_route: changes a route's "speed", "mode", "pauses" and, for models, the "walk"
// and "idle" animations, never its points. What each walker may set follows from how it walks:
// residents and patrollers use the game's own animations, patrollers also its own pace and no pauses.
// The edit holds a reference to the parameters and may only run within the call that built it.
#ifndef PATHWRIGHT_EDITOR_ROUTES_ROUTE_SETTINGS_H_
#define PATHWRIGHT_EDITOR_ROUTES_ROUTE_SETTINGS_H_

#include "editor/session.h"
#include "json/value.h"

namespace editor {

// A setting counts as given when `params` has the member at all, null included.
Session::Edit route_settings_edit(const mods::json::Value& params);

}  // namespace editor

#endif  // PATHWRIGHT_EDITOR_ROUTES_ROUTE_SETTINGS_H_
