// Aligning two sequences of JSON values, such as a route's points before and after, by a minimal edit
// script: the longest run of equal values kept in order, everything else added or removed. Used by the
// package diff and the three-way merge. Pure; any thread.
#ifndef PATHWRIGHT_COMPARE_POINT_ALIGNMENT_H_
#define PATHWRIGHT_COMPARE_POINT_ALIGNMENT_H_

#include <cstddef>
#include <vector>

#include "json/value.h"

namespace host::compare {

// For each element of `before`, the index of the equal element of `after` it stays as, or kGone when it
// is not kept. Kept indices rise with the index in `before`, and no other order keeps more elements.
// Beyond kMaxAlignCells (the two middles, once the common start and end are cut off, multiplied), the
// middles are paired only where equal elements stand at the same distance from the start.
inline constexpr std::size_t kGone = static_cast<std::size_t>(-1);
inline constexpr std::size_t kMaxAlignCells = std::size_t{1} << 22;  // table cells (4 bytes each): 16 MiB

std::vector<std::size_t> align(const std::vector<mods::json::Value>& before,
                               const std::vector<mods::json::Value>& after);

}  // namespace host::compare

#endif  // PATHWRIGHT_COMPARE_POINT_ALIGNMENT_H_
