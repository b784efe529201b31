// Reading a world point from JSON and writing it back in the one-decimal form in which route points are
// stored. Private to the route service (each file that includes it gets its own copy); any thread.
//
// JSON form of a point: {"x": number, "y": number, "z": number}, each finite; other members are ignored
// on reading and never written. An array of three numbers is not a point.
#ifndef PATHWRIGHT_EDITOR_POINTS_POINT_JSON_H_
#define PATHWRIGHT_EDITOR_POINTS_POINT_JSON_H_

#include <cmath>

#include "editor/points/world_point.h"
#include "json/value.h"

namespace editor {
namespace {

// The smallest magnitude that rounds to an infinite float: FLT_MAX plus half of its last place.
// Anything at or above it would be stored as an infinite coordinate, so it is not a point.
inline double float_overflow_limit() { return std::ldexp(2.0 - std::ldexp(1.0, -24), 127); }

// True when `value` is a point; only then is `point` written (each coordinate narrowed to the nearest
// float). A finite number too large for a float is refused.
inline bool point_of(const mods::json::Value& value, story_notebook::WorldPoint& point) {
  if (value.kind != mods::json::Value::Kind::Object) return false;
  const char* const keys[3] = {"x", "y", "z"};
  double coordinates[3];
  for (int i = 0; i < 3; ++i) {
    const mods::json::Value& member = value.get(keys[i]);
    if (member.kind != mods::json::Value::Kind::Number || !std::isfinite(member.number)) return false;
    if (std::fabs(member.number) >= float_overflow_limit()) return false;
    coordinates[i] = member.number;
  }
  point.x = static_cast<float>(coordinates[0]);
  point.y = static_cast<float>(coordinates[1]);
  point.z = static_cast<float>(coordinates[2]);
  return true;
}

// One decimal place, halves away from zero: 1.25 -> 1.3, -1.25 -> -1.3, 0.04 -> 0.
inline double one_decimal(float coordinate) {
  constexpr double kTenths = 10.0;  // stored points keep tenths of a world unit
  return std::round(static_cast<double>(coordinate) * kTenths) / kTenths;
}

// The stored form of `point`: a new object with "x", "y" and "z" rounded to one decimal place.
inline mods::json::Value rounded(const story_notebook::WorldPoint& point) {
  mods::json::Value value = mods::json::Value::object();
  value["x"] = mods::json::Value::of(one_decimal(point.x));
  value["y"] = mods::json::Value::of(one_decimal(point.y));
  value["z"] = mods::json::Value::of(one_decimal(point.z));
  return value;
}

}  // namespace
}  // namespace editor

#endif  // PATHWRIGHT_EDITOR_POINTS_POINT_JSON_H_
