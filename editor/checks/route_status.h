// route_status: the route that the running game walks for a placed actor now, handed back exactly as
// the game reports it. Reads only; runs on the caller's thread and waits for the game.
#ifndef PATHWRIGHT_EDITOR_CHECKS_ROUTE_STATUS_H_
#define PATHWRIGHT_EDITOR_CHECKS_ROUTE_STATUS_H_

#include <string>

#include "editor/session.h"
#include "json/value.h"

namespace editor {

// On failure answers null, leaves `ok` false and writes the reason into `error`. The package need not
// hold the actor: the game alone decides whether it walks one by that id.
mods::json::Value route_status(Session& session, const mods::json::Value& params, std::string& error, bool& ok);

}  // namespace editor

#endif  // PATHWRIGHT_EDITOR_CHECKS_ROUTE_STATUS_H_
