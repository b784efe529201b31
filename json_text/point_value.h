// Whether a JSON value is a world point as packages write them: an object whose "x", "y" and "z" are
// finite numbers (other members are allowed). Shared by the package check and the package compare, so the
// two agree on what counts as a point. Pure; any thread.
#ifndef PATHWRIGHT_JSON_TEXT_POINT_VALUE_H_
#define PATHWRIGHT_JSON_TEXT_POINT_VALUE_H_

#include <cmath>

#include "json/value.h"

namespace json_text {

inline bool is_point(const mods::json::Value& value) {
  if (!value.is_object()) return false;
  for (const char* key : {"x", "y", "z"}) {
    const mods::json::Value& member = value.get(key);
    if (!member.is_number() || !std::isfinite(member.number)) return false;
  }
  return true;
}

}  // namespace json_text

#endif  // PATHWRIGHT_JSON_TEXT_POINT_VALUE_H_
