// Place resolution for the host session's `where`.
#include "session/place_request.h"

#include "protocol/point_codec.h"

namespace host::session {

bool resolve_place(const mods::json::Value& params, editor::LiveGame* game, editor::Place& place, std::string& error) {
  story_notebook::WorldPoint point;
  if (params.is_object() && params.has("position")) {
    if (!protocol::read_point_in_float_range(params.get("position"), point)) {
      error = "\"position\" is not a point: an object with finite numbers \"x\", \"y\" and \"z\"";
      return false;
    }
    place.point = point;
    place.source = "position";
    place.resolved_from = kPlaceFromPosition;
    return true;
  }
  if (!params.is_object() || !params.has("at")) {
    error = "say where: \"position\" or \"at\" (link or camera)";
    return false;
  }
  const std::string at = params.get("at").string("");
  if (at != "link" && at != "camera") {
    error = "\"at\" is \"link\" or \"camera\"";
    return false;
  }
  if (game == nullptr) {
    error = "the game is not running: \"at\" needs it to find link or the camera";
    return false;
  }
  bool ok = at == "link" ? game->link_position(point, error) : game->camera_position(point, error);
  if (!ok) return false;
  place.point = point;
  place.source = at;
  place.resolved_from = at == "link" ? kPlaceFromLink : kPlaceFromCamera;
  return true;
}

}  // namespace host::session
