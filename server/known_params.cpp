#include "server/known_params.h"

#include <algorithm>
#include <initializer_list>

namespace host::server {
namespace {

struct Command {
  const char* name;
  std::initializer_list<const char*> params;  // besides "package", which every command accepts
};

// Every command Workbench::run answers: the route service's, the store's, the check's and its own.
// clang-format off
const Command kCommands[] = {
    {"add_route_point", {"id", "position", "at", "snap", "after"}},
    {"move_route_point", {"id", "point", "position", "at", "snap"}},
    {"remove_route_point", {"id", "point"}},
    {"reorder_route_point", {"id", "point", "to"}},
    {"set_route", {"id", "speed", "mode", "pauses", "walk", "idle"}},
    {"remove_route", {"id"}},
    {"check_route", {"id"}},
    {"route_status", {"id"}},
    {"route_profile", {"id"}},
    {"packages", {}},
    {"status", {}},
    {"actors", {}},
    {"document", {}},
    {"history", {}},
    {"undo", {}},
    {"redo", {}},
    {"reload", {}},
    {"placed_actors", {"region", "id", "start", "limit", "routes"}},
    {"check_package", {}},
    {"suggest_detour", {"id", "from"}},
    {"apply_detour", {"id", "from"}},
    {"route_fields", {"id"}},
    {"ground_point", {"position"}},
    {"advance_game", {"seconds"}},
};
// clang-format on

}  // namespace

std::vector<std::string> unknown_param_warnings(const std::string& method, const mods::json::Value& params) {
  std::vector<std::string> warnings;
  const auto command =
      std::find_if(std::begin(kCommands), std::end(kCommands), [&](const Command& c) { return method == c.name; });
  if (command == std::end(kCommands) || !params.is_object()) return warnings;
  for (const auto& [key, value] : params.members) {
    const bool known = key == "package" || std::any_of(command->params.begin(), command->params.end(),
                                                       [&](const char* name) { return key == name; });
    if (!known) warnings.push_back("unknown parameter \"" + key + "\"");
  }
  return warnings;
}

void add_warnings(mods::json::Value& answer, const std::vector<std::string>& warnings) {
  if (warnings.empty() || !answer.is_object()) return;
  mods::json::Value& list = answer["warnings"];
  if (!list.is_array()) list = mods::json::Value::array();
  for (const std::string& text : warnings) list.items.push_back(mods::json::Value::of(text));
}

}  // namespace host::server
