// Readers of the request parameters that the route commands share: the actor id and point numbers.
// Private to the route service (each including file gets its own copy); they only read.
#ifndef PATHWRIGHT_EDITOR_PARAMETERS_H_
#define PATHWRIGHT_EDITOR_PARAMETERS_H_

#include <cmath>
#include <cstddef>
#include <string>

#include "json/value.h"

namespace editor {
namespace {

// The text of string parameter `key`, or "" when it is missing or of another kind.
inline std::string text(const mods::json::Value& value, const char* key) {
  const mods::json::Value& member = value.get(key);
  return member.kind == mods::json::Value::Kind::String ? member.str : std::string();
}

// The number of points of `actor`'s route, read without changing the actor: 0 without a route, and for
// a hand-made record whose "points" is not an array.
inline std::size_t route_length(const mods::json::Value& actor) {
  const mods::json::Value& points = actor.get("path").get("points");
  return points.kind == mods::json::Value::Kind::Array ? points.items.size() : 0;
}

// Turns the 1-based point number in parameter `key` into an index into the actor's route. Bound to the
// request's parameters; measured against the route as it is before the edit.
struct PointNumber {
  const mods::json::Value& params;

  // True when the parameter is an integral number from 1 to N; `index` is then the number minus 1.
  // Otherwise `error` names the parameter and the range and `index` is untouched.
  bool operator()(const mods::json::Value& actor, const char* key, std::size_t& index, std::string& error) const {
    const std::size_t count = route_length(actor);
    const mods::json::Value& value = params.get(key);
    if (value.kind == mods::json::Value::Kind::Number && value.number >= 1.0 &&
        std::floor(value.number) == value.number && value.number <= static_cast<double>(count)) {
      index = static_cast<std::size_t>(value.number) - 1;
      return true;
    }
    error = std::string("\"") + key + "\" is a point number from 1 to " + std::to_string(count);
    return false;
  }
};

}  // namespace
}  // namespace editor

#endif  // PATHWRIGHT_EDITOR_PARAMETERS_H_
