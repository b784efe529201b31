// What changed between two versions of a package, by actor and route rather than by line: actors are
// matched by "id" (actor_keys.h), a route's points are aligned by a minimal edit script
// (point_alignment.h), and layout (indentation, member order, 1 vs 1.0) is no change at all, since the
// documents are compared as values. Pure; any thread.
//
// Each change: {"id", "change", "text", and where they apply "point", "member", "from", "to"}:
//   change         text
//   actor added    ID: actor added                      route added    ID: route added (N points)
//   actor removed  ID: actor removed                    route removed  ID: route removed
//   point added    ID: point N added at (X, Y, Z)       point removed  ID: point N removed from (X, Y, Z)
//   point moved    ID: point N moved from (X, Y, Z) to (X, Y, Z)
//   setting changed / added / removed: mode, speed, pauses, walk, idle of the route and the actor's
//                  position: ID: mode changed from "once" to "loop", ID: speed added: 30, ID: speed removed: 30
//   member changed / added / removed: ID: "NAME" changed; of the route: ID: route "NAME" changed; of the
//                  package itself (no "id"): package "NAME" changed
// Points count from 1 (0 is the actor's own position, as in the check); a removed point is numbered as it
// stood before, every other as it stands after.
#ifndef PATHWRIGHT_COMPARE_PACKAGE_DIFF_H_
#define PATHWRIGHT_COMPARE_PACKAGE_DIFF_H_

#include <string>
#include <vector>

#include "json/value.h"

namespace host::compare {

// True when `document` can be compared as a package: an object whose "actors", when present, is an array
// of objects. On false `error` says what is wrong, e.g. "actors[3] is not an object".
bool is_package(const mods::json::Value& document, std::string& error);

// The changes from `before` to `after` (both packages): the actors of `before` in order (removed or
// changed), then the actors only `after` has, in its order, then the package's own members. Empty when
// the two are the same package.
std::vector<mods::json::Value> diff_packages(const mods::json::Value& before, const mods::json::Value& after);

}  // namespace host::compare

#endif  // PATHWRIGHT_COMPARE_PACKAGE_DIFF_H_
