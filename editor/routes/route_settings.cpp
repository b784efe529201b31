#include "editor/routes/route_settings.h"

#include <string>

#include "residents/walker_class.h"

namespace editor {

using mods::json::Value;

Session::Edit route_settings_edit(const Value& params) {
  return [&params](Value& actor, std::string& error) {
    Value& path = actor["path"];
    if (path.kind != Value::Kind::Object) {
      error = "the actor has no route yet: add_route_point adds its first point";
      return false;
    }
    if (patroller(actor) && (params.has("speed") || params.has("pauses"))) {
      error =
          "a Bokoblin or Moblin patrols at its own pace, without pauses: only the mode (loop or "
          "back_and_forth)";
      return false;
    }
    if (params.has("speed")) {
      const Value& speed = params.get("speed");
      if (speed.kind == Value::Kind::Null) {
        if (!resident(actor)) {
          error = "a model's route needs a speed";
          return false;
        }
        path.members.erase("speed");
      } else {
        path["speed"] = speed;
      }
    }
    if (params.has("mode")) path["mode"] = params.get("mode");
    if (params.has("pauses")) {
      const Value& pauses = params.get("pauses");
      if (pauses.kind == Value::Kind::Bool && !pauses.boolean) {
        path.members.erase("pauses");
      } else {
        path["pauses"] = pauses;
      }
    }
    for (const char* animation : {"walk", "idle"}) {
      if (!params.has(animation)) continue;
      if (resident(actor)) {
        error = "a resident walks with its own walk and stands with its own idle";
        return false;
      }
      const Value& name = params.get(animation);
      if (name.string("").empty()) {
        path.members.erase(animation);
      } else {
        path[animation] = name;
      }
    }
    return true;
  };
}

}  // namespace editor
