// Which placed actors may walk a route, the text that refuses one to any other actor, and the pace at
// which each resident type walks. The walk table is constant; the functions only read the actor and keep
// no state, so they may run on any thread.
#ifndef PATHWRIGHT_RESIDENTS_WALKERS_H_
#define PATHWRIGHT_RESIDENTS_WALKERS_H_

#include <string>

#include "json/value.h"

namespace story_resident_types {

struct Walker {
  const char* code;  // the same code as the catalogue row of the same number
  unsigned index;    // the resident type's number; the key of the table
  float pace;        // the game's walking measure for this type
  unsigned group;    // stored for other parts of the editor (0, 1, 2 or 255)
};

extern const Walker kWalkers[15];

}  // namespace story_resident_types

namespace editor {

// The text that refuses a route to `actor`, or "" when it may walk one.
std::string route_refusal(const mods::json::Value& actor);

// The walking pace of `actor`'s resident type, or 0 when there is none.
double resident_pace(const mods::json::Value& actor);

// Who walks `actor`'s route, told apart as the route service does: None when route_refusal refuses it
// one; Patroller for a Bokoblin or Moblin without "kind" (out and back at its own pace); Resident for a
// villager; Model for any other actor (the mod's own models).
enum class WalkerClass { None, Resident, Patroller, Model };
WalkerClass walker_class(const mods::json::Value& actor);

}  // namespace editor

#endif  // PATHWRIGHT_RESIDENTS_WALKERS_H_
