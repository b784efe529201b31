// The actors of a package as lists show them: who each one is (id, type, walker class, refusal, number
// of route points) and, for the map, where it stands and its route, for a region of the world or one
// page of the package's actor list, so that a page never needs the whole document of a big package.
// Pure functions over a document; they keep no state and may run on any thread that owns the document.
#ifndef PATHWRIGHT_SESSION_ACTOR_LISTING_H_
#define PATHWRIGHT_SESSION_ACTOR_LISTING_H_

#include <string>

#include "json/value.h"

namespace host::session {

// One actor as `actors` lists it: {"id", "type", "walker", "refusal"?, "points"}. "walker" is
// "resident", "patroller", "model", or "none" when the route service refuses the actor a route
// ("refusal" then says why).
mods::json::Value actor_summary(const mods::json::Value& actor);

// placed_actors: the actors of `document` (the package `package_name`) that `params` asks for, in the
// document's order. Params, all optional: "region" {"low": {"x", "z"}, "high": {"x", "z"}} (only actors
// standing inside, bounds included), "id" (only actors with that id), "start" (the index in the
// document's actor list to begin at, default 0), "limit" (at most this many actors, 1 to 10000, default
// 1000) and "routes" (false leaves the routes out). On true the answer is
// {"package", "total", "actors": [summary + "index", "position", "path"?], "next"}: "total" counts the
// package's actors, "next" is the index of the next wanted actor beyond the page (the "start" of
// the next page), or null when there is none. On false `error` names the parameter at fault.
bool placed_actors(const std::string& package_name, const mods::json::Value& document, const mods::json::Value& params,
                   mods::json::Value& answer, std::string& error);

}  // namespace host::session

#endif  // PATHWRIGHT_SESSION_ACTOR_LISTING_H_
