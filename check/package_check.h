// check_package: every walking route of a package checked against the game's ground in one go, beside
// the findings (route_findings.h), with counts a report or a mod's CI can act on. The ground of all
// routes is asked in as few ground_heights calls as kBatchProbes allows. Reads only; runs on the
// caller's thread and waits for the game. Also finds where walkers meet within "seconds" of game time
// (1 to 3600, default 600; meetings.h), on the game's ground or, without a game, on the written heights.
//
// Answer: {"package": name, "checked": bool, "game": text (only when not checked),
//          "routes": [{"id", "ok": bool, "segments": [...], "skipped": [...], "problem": text}, ...],
//          "findings": [{"level", "id", "point", "text"}, ..., meetings: {"level": "warning", "id", "point",
//                        "other", "seconds", "at", "times", "text"}, ...],
//          "counts": {"actors", "routes", "routes_ok", "routes_with_problems", "routes_not_checked",
//                     "errors", "warnings", "meetings"}}
// "segments" and "skipped" exactly as check_route answers them; "problem" for a route too long to
// sample; without a game each route holds only "id" and "checked": false.
#ifndef PATHWRIGHT_CHECK_PACKAGE_CHECK_H_
#define PATHWRIGHT_CHECK_PACKAGE_CHECK_H_

#include <cstddef>
#include <string>

#include "editor/session.h"
#include "json/value.h"

namespace host::check {

constexpr std::size_t kBatchProbes = 100000;  // most probes in one ground_heights call [probes]

// On true the answer above. On false (no such package, a bad "seconds", the game failed while asked, or
// walks too fine to lay out) `error` says why. A game that is not connected is no
// failure: the routes are "not checked".
bool check_package(editor::Session& session, const mods::json::Value& params, mods::json::Value& answer,
                   std::string& error);

// Adds the game's refusal of the package (`refusal`: the game's words) to a check_package answer as one
// error finding of the whole package, counted among its errors.
void add_game_refusal(mods::json::Value& answer, const std::string& refusal);

}  // namespace host::check

#endif  // PATHWRIGHT_CHECK_PACKAGE_CHECK_H_
