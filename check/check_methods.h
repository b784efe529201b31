// The "warnings" that a set_route answer gains when it stored a setting the game will not use. (The
// checking commands themselves are rows of the front ends' command table: package_check.h, detour.h,
// edit_queries.h, timeline.h.) Used on the command's thread.
#ifndef PATHWRIGHT_CHECK_CHECK_METHODS_H_
#define PATHWRIGHT_CHECK_CHECK_METHODS_H_

#include <string>

#include "editor/session.h"
#include "json/value.h"

namespace host::check {

// After a successful set_route: adds "warnings" (texts of route_findings' settings_warnings) to `result`
// when the route as stored has a mode, speed or pauses the game will not use. Changes nothing else.
void add_settings_warnings(editor::Session& session, const mods::json::Value& params, mods::json::Value& result);

}  // namespace host::check

#endif  // PATHWRIGHT_CHECK_CHECK_METHODS_H_
