#include "editor/checks/route_status.h"

#include "editor/live_game.h"
#include "editor/parameters.h"

namespace editor {

mods::json::Value route_status(Session& session, const mods::json::Value& params, std::string& error, bool& ok) {
  Session::Package* package = session.package(params, error);
  if (package == nullptr) return mods::json::Value();
  if (session.live_game == nullptr) {
    error = "the game is not running";
    return mods::json::Value();
  }
  const std::string id = text(params, "id");
  mods::json::Value route = session.live_game->live_route(*package, id);
  if (route.kind == mods::json::Value::Kind::Null) {
    error = "no live route for \"" + id + "\"";
    return mods::json::Value();
  }
  ok = true;
  return route;
}

}  // namespace editor
