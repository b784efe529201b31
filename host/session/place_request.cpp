// Place resolution for the host session's `where`.
#include "host/session/place_request.h"

#include <cfloat>
#include <cmath>

namespace host {
namespace {

bool read_coordinate(const mods::json::Value& point, const char* key, float& out) {
  const mods::json::Value& v = point.get(key);
  if (!v.is_number() || !std::isfinite(v.number) || std::fabs(v.number) > FLT_MAX) return false;
  out = static_cast<float>(v.number);
  return true;
}

}  // namespace

bool read_point(const mods::json::Value& value, story_notebook::WorldPoint& point) {
  story_notebook::WorldPoint p;
  if (!value.is_object() || !read_coordinate(value, "x", p.x) || !read_coordinate(value, "y", p.y) ||
      !read_coordinate(value, "z", p.z))
    return false;
  point = p;
  return true;
}

bool resolve_place(const mods::json::Value& params, editor::LiveGame* game, editor::Place& place,
                   std::string& error) {
  story_notebook::WorldPoint point;
  if (params.is_object() && params.has("position")) {
    if (!read_point(params.get("position"), point)) {
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

}  // namespace host
