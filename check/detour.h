// suggest_detour and apply_detour: a walkable way around the problem of one segment of an actor's walk,
// found from the live game's ground heights alone (so it works with the real game as with the simulated
// one). The ground is sampled on a grid around the segment in batched ground_heights calls, searched
// (A*, the check's step rule on every edge), and the way is simplified to as few points as keep every
// segment passing; the result is verified with the check's own judging. Runs on the caller's thread.
//
// Bounds: the grid reaches kDetourMargin beyond the segment's two ends on every side, its cells are
// kDetourCell apart, and it holds at most kDetourMaxProbes cells; a longer segment is refused.
//
// suggest_detour {"package", "id", "from"} answers
//   {"from": n, "to": m, "points": [point, ...], "straight": units, "length": units, "ratio": length/straight,
//    "probes": n, "check": {"segments": [...]}}
// with the points rounded as stored, to insert after point `from`, and "check" as check_route would answer
// the new segments (numbered as they will be after the insertion).
#ifndef PATHWRIGHT_CHECK_DETOUR_H_
#define PATHWRIGHT_CHECK_DETOUR_H_

#include <cstddef>
#include <string>

#include "editor/session.h"
#include "json/value.h"

namespace host::check {

constexpr double kDetourCell = 25.0;              // grid spacing, as the check's samples [world units]
constexpr double kDetourMargin = 1000.0;          // search reach beyond the segment's ends [world units]
constexpr std::size_t kDetourMaxProbes = 250000;  // most grid cells one search asks the game for [probes]

// On true the answer above. On false `error` says why: no game, no such actor or segment, or no walkable
// way within the bounds ("no walkable way from point 2 to point 3 within 1000 units").
bool suggest_detour(editor::Session& session, const mods::json::Value& params, mods::json::Value& answer,
                    std::string& error);

// Inserts the suggested points as one change labelled "Walk around the problem after point N of ID", which
// one undo removes whole. On true answers the suggestion; on false `error` says why and nothing changed.
bool apply_detour(editor::Session& session, const mods::json::Value& params, mods::json::Value& answer,
                  std::string& error);

}  // namespace host::check

#endif  // PATHWRIGHT_CHECK_DETOUR_H_
