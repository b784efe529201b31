// The package over time, predicted without running it: "walkers_at" (where every walker stands at a
// moment, in the shape of the game link's live_actors) and "package_timeline" (every walker's track as
// keys the map interpolates). Both walk the package with the game's own rules (walking/); the ground is
// the connected game's, asked in batches, or none. Run on the command's thread.
#ifndef PATHWRIGHT_CHECK_TIMELINE_H_
#define PATHWRIGHT_CHECK_TIMELINE_H_

#include <string>

#include "editor/session.h"
#include "json/value.h"

namespace host::check {

// {"package", "seconds"} -> {"seconds", "actors": [{"id", "position", "point"}]}. On false (an unknown
// package, a bad "seconds", the game's failure) `error` says why.
bool walkers_at(editor::Session& session, const mods::json::Value& params, mods::json::Value& answer,
                std::string& error);

// {"package", "seconds" (default 600, 1 to 3600)} -> {"seconds", "walkers": [{"id", "keys"}], "standing":
// [{"id", "position"}]}. On false `error` says why.
bool package_timeline(editor::Session& session, const mods::json::Value& params, mods::json::Value& answer,
                      std::string& error);

}  // namespace host::check

#endif  // PATHWRIGHT_CHECK_TIMELINE_H_
