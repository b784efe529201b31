// What a change did to one actor, as small as the change: the members and array slices that differ
// between the actor before and after, each with both sides, so that it can be applied either way and
// checked against the actor it meets. A moved point of a 200-point route is one point before and after,
// not the route twice. A plain value; the functions are pure and safe from any thread.
#ifndef PATHWRIGHT_STORE_ACTOR_PATCH_H_
#define PATHWRIGHT_STORE_ACTOR_PATCH_H_

#include <cstddef>
#include <string>
#include <variant>
#include <vector>

#include "json/value.h"

namespace host::store {

// One difference, at `at` (object keys and array indexes from the actor down to the container it is in).
struct PatchEdit {
  enum class Kind : char {
    Whole = 'W',   // the value at `at` itself: `before` becomes `after`
    Member = 'M',  // member `key` of the object at `at`; a side absent when its `had_`/`has_` flag is false
    Splice = 'S',  // the array at `at`: `before`'s items from `index` on become `after`'s items
  };
  Kind kind = Kind::Whole;
  std::vector<std::variant<std::string, std::size_t>> at;
  std::string key;
  std::size_t index = 0;
  bool had_before = true;
  bool has_after = true;
  mods::json::Value before;
  mods::json::Value after;
  friend bool operator==(const PatchEdit&, const PatchEdit&) = default;
};

using ActorPatch = std::vector<PatchEdit>;

// The differences that turn `before` into `after`: none when they are equal.
ActorPatch diff_actor(const mods::json::Value& before, const mods::json::Value& after);

// Applies `patch` to `actor` forward (before to after) or backward. False, with `actor` unchanged, when
// any edit does not meet the side it expects: the patch was made on another actor.
bool apply_patch(mods::json::Value& actor, const ActorPatch& patch, bool forward);

// The patch as JSON, for people: [{"at": [...], "member" or "index", "before", "after"}] (a side absent
// from an object is left out).
mods::json::Value patch_json(const ActorPatch& patch);

}  // namespace host::store

#endif  // PATHWRIGHT_STORE_ACTOR_PATCH_H_
