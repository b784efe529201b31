// Three-way merge of package versions, as a merge driver for version control needs it: by actor (matched
// as actor_keys.h says), then by member of an actor, then a route's points as a sequence. An edit only
// one side made is taken; the same edit on both sides is taken once; two different edits of one value
// are a conflict, for which the merged document keeps ours and the conflict keeps all three. Pure; any
// thread.
//
// Points: runs of points that neither side touched anchor the merge; between two anchors a side that
// left the base's points alone takes the other side's, and where both replaced the same number of
// points, each point is merged on its own (so neighbouring points moved on each side merge). Actor order:
// ours, with the actors only theirs added placed after the actor they follow in theirs.
//
// The conflicts document (kept beside the package so that nothing of either side is lost):
//   {"actors": [{"id", "occurrence", "base", "ours", "theirs",          whole actors; a side without it: absent
//                "conflicts": [{"text", "base", "ours", "theirs"}]}],   the conflicting values; absent likewise
//    "members": [{"name", "text", "base", "ours", "theirs"}]}          the package's own members
#ifndef PATHWRIGHT_COMPARE_PACKAGE_MERGE_H_
#define PATHWRIGHT_COMPARE_PACKAGE_MERGE_H_

#include <string>
#include <vector>

#include "json/value.h"

namespace host::compare {

struct MergeOutcome {
  mods::json::Value merged;            // a package; ours for every conflicting value
  std::vector<std::string> conflicts;  // one line each, e.g. `gate: point 3: both sides moved it: ours (…), theirs (…)`
  mods::json::Value kept;              // the conflicts document above; null when there is no conflict
};

// Merges the packages `ours` and `theirs`, both descended from `base` (all three pass is_package). Takes
// ours and theirs whole, so that the actors merged as they are move into the result instead of copies.
MergeOutcome merge_packages(const mods::json::Value& base, mods::json::Value ours, mods::json::Value theirs);

}  // namespace host::compare

#endif  // PATHWRIGHT_COMPARE_PACKAGE_MERGE_H_
