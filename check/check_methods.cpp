#include "check/check_methods.h"

#include "check/detour.h"
#include "check/edit_queries.h"
#include "check/package_check.h"
#include "check/route_findings.h"
#include "check/timeline.h"

namespace host::check {

using mods::json::Value;

void add_settings_warnings(editor::Session& session, const Value& params, Value& result) {
  std::string error;
  const editor::Session::Package* package = session.package(params, error);
  if (package == nullptr || !result.is_object()) return;
  const std::string id = params.get("id").string("");
  // set_route edits the first actor with the id.
  for (const Value& actor : package->document.get("actors").items) {
    if (actor.get("id").string("") != id) continue;
    const std::vector<std::string> texts = settings_warnings(actor.get("path"));
    if (texts.empty()) return;
    Value& warnings = result["warnings"];
    warnings = Value::array();
    for (const std::string& text : texts) warnings.items.push_back(Value::of(text));
    return;
  }
}

}  // namespace host::check
