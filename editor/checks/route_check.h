// check_route: whether a placed actor can walk its route over the ground of the running game. The route
// is sampled every 25 units or less, the game is asked once for the ground below every sample, and each
// segment is reported fine or with its first problem and where it lies. Reads only; runs on the caller's
// thread and waits for the game.
//
// Answer: {"segments": [{"from": n, "to": n, "ok": bool, "at": point, "problem": text}, ...],
//          "skipped": [n, ...]}
// "at" and "problem" only where "ok" is false; "skipped" only when some route point (or a resident's
// own "position", numbered 0) could not be read as a point and was passed over.
#ifndef PATHWRIGHT_EDITOR_CHECKS_ROUTE_CHECK_H_
#define PATHWRIGHT_EDITOR_CHECKS_ROUTE_CHECK_H_

#include <string>

#include "editor/session.h"
#include "json/value.h"

namespace editor {

// On failure answers null, leaves `ok` false and writes the reason into `error`.
mods::json::Value check_route(Session& session, const mods::json::Value& params, std::string& error, bool& ok);

}  // namespace editor

#endif  // PATHWRIGHT_EDITOR_CHECKS_ROUTE_CHECK_H_
