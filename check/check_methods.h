// The host's checking commands as the front ends run them: "check_package", "suggest_detour",
// "apply_detour", the map's "route_fields" and "ground_point" (edit_queries.h), the prediction's
// "walkers_at" and "package_timeline" (timeline.h), and the "warnings" that a set_route answer gains when
// it stored a setting the game will not use. Used on the command's thread.
#ifndef PATHWRIGHT_CHECK_CHECK_METHODS_H_
#define PATHWRIGHT_CHECK_CHECK_METHODS_H_

#include <string>

#include "editor/session.h"
#include "json/value.h"

namespace host::check {

// Runs `method` when it is a checking command (`handled` true); otherwise `handled` false and nothing
// done. On failure `ok` false and `error` says why.
mods::json::Value check_command(editor::Session& session, const std::string& method, const mods::json::Value& params,
                                std::string& error, bool& ok, bool& handled);

// After a successful set_route: adds "warnings" (texts of route_findings' settings_warnings) to `result`
// when the route as stored has a mode, speed or pauses the game will not use. Changes nothing else.
void add_settings_warnings(editor::Session& session, const mods::json::Value& params, mods::json::Value& result);

}  // namespace host::check

#endif  // PATHWRIGHT_CHECK_CHECK_METHODS_H_
