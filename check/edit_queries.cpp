#include "check/edit_queries.h"

#include "editor/live_game.h"
#include "editor/routes/route_settings.h"
#include "protocol/point_codec.h"
#include "residents/walkers.h"

namespace host::check {

using mods::json::Value;

namespace {

// Raised above the asked position before looking down for the ground, as add_route_point snaps. [world units]
constexpr float kGroundProbeRaise = 50.0f;

// One value per setting that set_route would accept from a walker allowed to set it.
struct Trial {
  const char* field;
  Value value;
};

std::vector<Trial> trials() {
  return {
      {.field = "mode", .value = Value::of("loop")}, {.field = "speed", .value = Value::of(60.0)},
      {.field = "pauses", .value = Value::of(1.0)},  {.field = "walk", .value = Value::of("walk")},
      {.field = "idle", .value = Value::of("idle")},
  };
}

Value allowed() {
  Value field = Value::object();
  field["may_set"] = Value::of(true);
  return field;
}

Value refused(const std::string& refusal) {
  Value field = Value::object();
  field["may_set"] = Value::of(false);
  field["refusal"] = Value::of(refusal);
  return field;
}

// set_route's answer to `trial` on a copy of `actor`, given a route when it has none: "" when allowed.
std::string refusal_of(const Value& actor, const Trial& trial) {
  Value copy = actor;
  if (!copy.get("path").is_object()) {
    Value path = Value::object();
    path["mode"] = Value::of("once");
    path["points"] = Value::array();
    copy["path"] = std::move(path);
  }
  Value params = Value::object();
  params[trial.field] = trial.value;
  std::string error;
  const editor::Session::Edit edit = editor::route_settings_edit(params);
  return edit(copy, error) ? "" : error;
}

}  // namespace

bool route_fields(editor::Session& session, const Value& params, Value& answer, std::string& error) {
  editor::Session::Package* package = session.package(params, error);
  if (package == nullptr) return false;
  const std::string id = params.get("id").string("");
  const Value* actor = nullptr;
  for (const Value& candidate : package->document.get("actors").items) {
    if (candidate.get("id").string("") == id) {
      actor = &candidate;  // set_route edits the first actor with the id
      break;
    }
  }
  if (actor == nullptr) {
    error = "no placed actor \"" + id + "\" in " + package->name;
    return false;
  }
  Value result = Value::object();
  result["id"] = Value::of(id);
  const std::string walk_refusal = editor::route_refusal(*actor);
  if (!walk_refusal.empty()) result["refusal"] = Value::of(walk_refusal);
  Value fields = Value::object();
  for (const Trial& trial : trials()) {
    const std::string refusal = walk_refusal.empty() ? refusal_of(*actor, trial) : walk_refusal;
    fields[trial.field] = refusal.empty() ? allowed() : refused(refusal);
  }
  result["fields"] = std::move(fields);
  answer = std::move(result);
  return true;
}

bool ground_point(editor::Session& session, const Value& params, Value& answer, std::string& error) {
  story_notebook::WorldPoint point;
  if (!protocol::read_point_in_float_range(params.get("position"), point)) {
    error = "ground_point needs \"position\": an object with finite numbers \"x\", \"y\" and \"z\"";
    return false;
  }
  Value result = Value::object();
  if (session.live_game == nullptr) {
    result["snap_note"] = Value::of("the game is not running: the point keeps its height");
  } else {
    story_notebook::WorldPoint probe = point;
    probe.y += kGroundProbeRaise;
    float height = 0.0f;
    std::string note;
    if (session.live_game->ground_height(probe, height, note)) {
      point.y = height;
    } else {
      result["snap_note"] = Value::of("not on the ground: " + note);
    }
  }
  Value position = Value::object();
  position["x"] = Value::of(static_cast<double>(point.x));
  position["y"] = Value::of(static_cast<double>(point.y));
  position["z"] = Value::of(static_cast<double>(point.z));
  result["position"] = std::move(position);
  answer = std::move(result);
  return true;
}

}  // namespace host::check
