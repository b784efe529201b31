#include "server/known_params.h"

#include <algorithm>
#include <string_view>

#include "server/command_table.h"

namespace host::server {
namespace {

// Whether `name` is one of the space-separated names of the row's "params".
bool reads_param(const Command& command, const std::string& name) {
  std::string_view rest = command.params;
  while (!rest.empty()) {
    const std::size_t end = std::min(rest.find(' '), rest.size());
    if (rest.substr(0, end) == name) return true;
    rest.remove_prefix(std::min(end + 1, rest.size()));
  }
  return false;
}

}  // namespace

std::vector<std::string> unknown_param_warnings(const std::string& method, const mods::json::Value& params) {
  std::vector<std::string> warnings;
  const Command* command = find_command(method);
  if (command == nullptr || command->params == nullptr || !params.is_object()) return warnings;
  for (const auto& [key, value] : params.members) {
    if (key != "package" && !reads_param(*command, key)) warnings.push_back("unknown parameter \"" + key + "\"");
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
