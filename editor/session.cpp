// The route service's entry: matches the command name, reads the command's own parameters, places new
// points, and hands each edit under its label to the session's change service through the actor-edit
// wrapper. Keeps nothing between calls.
#include "editor/session.h"

#include <cmath>
#include <cstdint>
#include <limits>
#include <string>

#include "editor/checks/route_check.h"
#include "editor/checks/route_profile.h"
#include "editor/checks/route_status.h"
#include "editor/parameters.h"
#include "editor/points/place_and_snap.h"
#include "editor/points/point_json.h"
#include "editor/routes/point_edits.h"
#include "editor/routes/route_settings.h"
#include "editor/scan_ahead.h"
#include "residents/walkers.h"

namespace editor {
namespace {

using mods::json::Value;

// The point number in "point" as labels show it: truncated toward zero, saturated to 32 bits, 0 when
// it is not a number.
std::string label_number(const Value& params) {
  const Value& value = params.get("point");
  if (value.kind != Value::Kind::Number || std::isnan(value.number)) return "0";
  constexpr double kLowest = std::numeric_limits<std::int32_t>::min();
  constexpr double kHighest = std::numeric_limits<std::int32_t>::max();
  if (value.number <= kLowest) return std::to_string(std::numeric_limits<std::int32_t>::min());
  if (value.number >= kHighest) return std::to_string(std::numeric_limits<std::int32_t>::max());
  return std::to_string(static_cast<std::int32_t>(value.number));
}

// Runs one command's edit on the placed actor named by "id": finds the package, then (inside the
// change) the first actor with that id, refuses actors that may not walk a route, and records the
// change under `label`. Sets `ok`; on success adds "id" to `result`.
struct ActorEdit {
  Session& session;
  const Value& params;
  std::string& error;
  bool& ok;
  Value& result;

  void operator()(const std::string& label, const Session::Edit& edit) const {
    Session::Package* package = session.package(params, error);
    if (package == nullptr) return;
    const std::string id = text(params, "id");
    const Session::Edit document_edit = [&id, package, &edit](Value& document, std::string& why) {
      Value& actors = document["actors"];
      Value* actor = nullptr;
      if (actors.kind == Value::Kind::Array) {
        const std::size_t count = actors.items.size();
        for (std::size_t i = 0; i < count; ++i) {
          Value& candidate = actors.items[i];
          fetch_ahead(actors.items, i);
          const Value& candidate_id = candidate.get("id");
          if (candidate_id.kind == Value::Kind::String && candidate_id.str == id) {
            actor = &candidate;
            break;
          }
        }
      }
      if (actor == nullptr) {
        why = "no placed actor \"" + id + "\" in " + package->name;
        return false;
      }
      const std::string refusal = route_refusal(*actor);
      if (!refusal.empty()) {
        why = refusal;
        return false;
      }
      return edit(*actor, why);
    };
    ok = session.change(*package, label, document_edit, result, error);
    if (ok) result["id"] = Value::of(id);
  }
};

}  // namespace

Value Session::dispatch_route(const std::string& route, const Value& params, std::string& error, bool& ok,
                              bool& handled) {
  ok = false;
  handled = true;
  Value result;
  const ActorEdit edit_actor{*this, params, error, ok, result};

  if (route == "add_route_point") {
    story_notebook::WorldPoint point;
    if (!place_and_snap(*this, params, result, point, error)) return result;
    edit_actor("Add a route point to " + text(params, "id"), add_point_edit(params, point, result));
    return result;
  }
  if (route == "move_route_point") {
    story_notebook::WorldPoint point;
    if (!point_of(params.get("position"), point)) {
      if (params.get("at").kind == Value::Kind::Null) {
        error = "say where: \"position\" or \"at\" (link or camera)";
        return result;
      }
      if (!place_and_snap(*this, params, result, point, error)) return result;
    }
    edit_actor("Move route point " + label_number(params) + " of " + text(params, "id"),
               move_point_edit(params, point));
    return result;
  }
  if (route == "remove_route_point") {
    edit_actor("Remove route point " + label_number(params) + " of " + text(params, "id"),
               remove_point_edit(params, result));
    return result;
  }
  if (route == "reorder_route_point") {
    edit_actor("Reorder the route of " + text(params, "id"), reorder_point_edit(params));
    return result;
  }
  if (route == "set_route") {
    edit_actor("Route settings of " + text(params, "id"), route_settings_edit(params));
    return result;
  }
  if (route == "remove_route") {
    edit_actor("Remove the route of " + text(params, "id"), remove_route_edit());
    return result;
  }
  if (route == "check_route") return check_route(*this, params, error, ok);
  if (route == "route_status") return route_status(*this, params, error, ok);
  if (route == "route_profile") return route_profile(*this, params, error, ok);

  handled = false;
  return result;
}

}  // namespace editor
