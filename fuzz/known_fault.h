// Keeps the harnesses that reach the simulated game's ground off one fault already being fixed: a probe
// with a coordinate near 1e19 or beyond aborts inside the ray-casting library. Inputs holding such a
// number are passed over until that fix lands; then this header and its two callers go.
#ifndef PATHWRIGHT_FUZZ_KNOWN_FAULT_H_
#define PATHWRIGHT_FUZZ_KNOWN_FAULT_H_

#include <cmath>
#include <string_view>

#include "host/json_text/json_text.h"

namespace fuzz {

// The smallest magnitude passed over (world units); 1e18 still works, 1e19 aborts.
inline constexpr double kHugeCoordinate = 1e18;

inline bool holds_huge_number(const mods::json::Value& value) {
  if (value.is_number()) return std::fabs(value.number) >= kHugeCoordinate;
  for (const mods::json::Value& item : value.items)
    if (holds_huge_number(item)) return true;
  for (const auto& member : value.members)
    if (holds_huge_number(member.second)) return true;
  return false;
}

// True when `line` is JSON holding a number of kHugeCoordinate or more anywhere.
inline bool reaches_huge_coordinate_fault(std::string_view line) {
  mods::json::Value value;
  host::JsonTextError error;
  return host::parse_json(line, value, error) && holds_huge_number(value);
}

}  // namespace fuzz

#endif  // PATHWRIGHT_FUZZ_KNOWN_FAULT_H_
