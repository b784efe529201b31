#include "compare/point_alignment.h"

#include <algorithm>
#include <cstdint>

namespace host::compare {

using mods::json::Value;

std::vector<std::size_t> align(const std::vector<Value>& before, const std::vector<Value>& after) {
  std::vector<std::size_t> kept(before.size(), kGone);
  std::size_t head = 0;
  while (head < before.size() && head < after.size() && before[head] == after[head]) kept[head] = head, ++head;
  std::size_t tail = 0;
  while (tail < before.size() - head && tail < after.size() - head &&
         before[before.size() - 1 - tail] == after[after.size() - 1 - tail]) {
    kept[before.size() - 1 - tail] = after.size() - 1 - tail;
    ++tail;
  }
  const std::size_t n = before.size() - head - tail, m = after.size() - head - tail;
  if (n == 0 || m == 0) return kept;
  if (n * m > kMaxAlignCells) {
    for (std::size_t k = 0; k < std::min(n, m); ++k) {
      if (before[head + k] == after[head + k]) kept[head + k] = head + k;
    }
    return kept;
  }
  // longest[i * (m + 1) + j]: the most elements before[head + i..] and after[head + j..] keep together.
  std::vector<std::uint32_t> longest((n + 1) * (m + 1), 0);
  const auto at = [m](std::size_t i, std::size_t j) { return i * (m + 1) + j; };
  for (std::size_t i = n; i-- > 0;) {
    for (std::size_t j = m; j-- > 0;) {
      longest[at(i, j)] = before[head + i] == after[head + j] ? longest[at(i + 1, j + 1)] + 1
                                                              : std::max(longest[at(i + 1, j)], longest[at(i, j + 1)]);
    }
  }
  for (std::size_t i = 0, j = 0; i < n && j < m;) {
    if (before[head + i] == after[head + j]) {
      kept[head + i] = head + j;
      ++i, ++j;
    } else if (longest[at(i + 1, j)] >= longest[at(i, j + 1)]) {
      ++i;
    } else {
      ++j;
    }
  }
  return kept;
}

}  // namespace host::compare
