#include "protocol/point_codec.h"

#include <cfloat>
#include <cmath>

#include "protocol/flat_numbers.h"

namespace protocol {
namespace {

using mods::json::Value;
using story_notebook::WorldPoint;

bool narrowed_coordinate(const Value& value, float& out) {
  return value.is_number() && narrow_to_float(value.number, out);
}

bool coordinate_in_float_range(const Value& point, const char* key, float& out) {
  const Value& v = point.get(key);
  if (!v.is_number() || !std::isfinite(v.number) || std::fabs(v.number) > FLT_MAX) return false;
  out = static_cast<float>(v.number);
  return true;
}

}  // namespace

bool read_point_narrowing(const Value& value, WorldPoint& point) {
  return value.is_object() && narrowed_coordinate(value.get("x"), point.x) &&
         narrowed_coordinate(value.get("y"), point.y) && narrowed_coordinate(value.get("z"), point.z);
}

bool read_point_in_float_range(const Value& value, WorldPoint& point) {
  WorldPoint p;
  if (!value.is_object() || !coordinate_in_float_range(value, "x", p.x) ||
      !coordinate_in_float_range(value, "y", p.y) || !coordinate_in_float_range(value, "z", p.z))
    return false;
  point = p;
  return true;
}

bool read_point_as_sent(const Value& value, WorldPoint& point) {
  const Value& x = value.get("x");
  const Value& y = value.get("y");
  const Value& z = value.get("z");
  if (!x.is_number() || !y.is_number() || !z.is_number()) return false;
  point = {static_cast<float>(x.number), static_cast<float>(y.number), static_cast<float>(z.number)};
  return true;
}

void put_point(Value& out, const WorldPoint& point) {
  out["x"] = Value::of(wire_double(point.x));
  out["y"] = Value::of(wire_double(point.y));
  out["z"] = Value::of(wire_double(point.z));
}

Value point_value(const WorldPoint& point) {
  Value out = Value::object();
  put_point(out, point);
  return out;
}

std::string point_fields(const WorldPoint& point) {
  return "\"x\":" + float_text(point.x) + ",\"y\":" + float_text(point.y) + ",\"z\":" + float_text(point.z);
}

}  // namespace protocol
