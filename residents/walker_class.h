// The walker classes of a placed actor, private to the route service: `resident` holds for villagers
// and for Bokoblins and Moblins without "kind" (both start from their own position and walk with the
// game's animations); `patroller` for those enemies alone. Only read the actor; any thread.
#ifndef PATHWRIGHT_RESIDENTS_WALKER_CLASS_H_
#define PATHWRIGHT_RESIDENTS_WALKER_CLASS_H_

#include "json/value.h"

namespace editor {
namespace {

inline bool patroller(const mods::json::Value& actor) {
  const std::string type = actor.get("actor").string("");
  if (type != "bokoblin" && type != "moblin") return false;
  return actor.get("kind").kind == mods::json::Value::Kind::Null;
}

inline bool resident(const mods::json::Value& actor) {
  if (actor.get("actor").string("") == "resident") return true;
  return patroller(actor);
}

}  // namespace
}  // namespace editor

#endif  // PATHWRIGHT_RESIDENTS_WALKER_CLASS_H_
