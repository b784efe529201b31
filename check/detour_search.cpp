#include "check/detour_search.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <limits>
#include <queue>

#include "check/detour.h"
#include "check/package_check.h"

namespace host::check {
namespace {

using story_notebook::WorldPoint;

constexpr float kSearchRaise = 1000.0f;  // probes start this far above the higher end [world units]
constexpr double kLineSpacing = 25.0;    // largest distance between samples of a judged line [world units]

}  // namespace

bool GroundGrid::sample(editor::LiveGame& game, const WorldPoint& a, const WorldPoint& b, std::string& error) {
  const double lo_x = std::min(a.x, b.x) - kDetourMargin, hi_x = std::max(a.x, b.x) + kDetourMargin;
  const double lo_z = std::min(a.z, b.z) - kDetourMargin, hi_z = std::max(a.z, b.z) + kDetourMargin;
  const double first_column = std::floor((lo_x - a.x) / kDetourCell),
               last_column = std::ceil((hi_x - a.x) / kDetourCell);
  const double first_row = std::floor((lo_z - a.z) / kDetourCell), last_row = std::ceil((hi_z - a.z) / kDetourCell);
  const double cells = (last_column - first_column + 1) * (last_row - first_row + 1);
  if (!(cells <= static_cast<double>(kDetourMaxProbes))) {
    error = "the segment is too long to search around: more than " + std::to_string(kDetourMaxProbes) + " probes";
    return false;
  }
  columns_ = static_cast<std::size_t>(last_column - first_column + 1);
  rows_ = static_cast<std::size_t>(last_row - first_row + 1);
  x0_ = a.x + first_column * kDetourCell;
  z0_ = a.z + first_row * kDetourCell;
  const float probe_y = std::max(a.y, b.y) + kSearchRaise;
  std::vector<WorldPoint> probes;
  probes.reserve(columns_ * rows_);
  for (std::size_t row = 0; row < rows_; ++row) {
    for (std::size_t column = 0; column < columns_; ++column) {
      probes.push_back({static_cast<float>(x0_ + static_cast<double>(column) * kDetourCell), probe_y,
                        static_cast<float>(z0_ + static_cast<double>(row) * kDetourCell)});
    }
  }
  heights_.clear();
  found_.clear();
  for (std::size_t begin = 0; begin < probes.size(); begin += kBatchProbes) {
    const std::size_t end = std::min(probes.size(), begin + kBatchProbes);
    const std::vector<WorldPoint> batch(probes.begin() + static_cast<std::ptrdiff_t>(begin),
                                        probes.begin() + static_cast<std::ptrdiff_t>(end));
    std::vector<float> heights;
    std::vector<bool> found;
    if (!game.ground_heights(batch, heights, found, error)) return false;
    if (heights.size() != batch.size() || found.size() != batch.size()) {
      error = "the game answered " + std::to_string(found.size()) + " ground findings for " +
              std::to_string(batch.size()) + " probes";
      return false;
    }
    heights_.insert(heights_.end(), heights.begin(), heights.end());
    found_.insert(found_.end(), found.begin(), found.end());
  }
  start_ = static_cast<std::size_t>(cell_of(a.x, a.z));
  goal_ = static_cast<std::size_t>(cell_of(b.x, b.z));
  mark_clear();
  return true;
}

// A cell is clear when it and its eight neighbours have ground within a step of its own: the way keeps
// a cell away from every edge, so that the ground between the cells is what the cells say.
void GroundGrid::mark_clear() {
  clear_.assign(heights_.size(), false);
  for (std::size_t cell = 0; cell < heights_.size(); ++cell) {
    if (!found_[cell]) continue;
    const long column = static_cast<long>(cell % columns_), row = static_cast<long>(cell / columns_);
    bool clear = true;
    for (long dz = -1; dz <= 1 && clear; ++dz) {
      for (long dx = -1; dx <= 1 && clear; ++dx) {
        const long c = column + dx, r = row + dz;
        if (c < 0 || r < 0 || c >= static_cast<long>(columns_) || r >= static_cast<long>(rows_)) continue;
        const std::size_t next = static_cast<std::size_t>(r) * columns_ + static_cast<std::size_t>(c);
        clear = found_[next] && std::fabs(heights_[next] - heights_[cell]) <= kDetourStep;
      }
    }
    clear_[cell] = clear || cell == start_ || cell == goal_;
  }
}

long GroundGrid::cell_of(double x, double z) const {
  const double column = std::round((x - x0_) / kDetourCell), row = std::round((z - z0_) / kDetourCell);
  if (column < 0 || row < 0 || column >= static_cast<double>(columns_) || row >= static_cast<double>(rows_)) return -1;
  return static_cast<long>(row) * static_cast<long>(columns_) + static_cast<long>(column);
}

WorldPoint GroundGrid::ground_of(std::size_t cell) const {
  return {static_cast<float>(x0_ + static_cast<double>(cell % columns_) * kDetourCell), heights_[cell],
          static_cast<float>(z0_ + static_cast<double>(cell / columns_) * kDetourCell)};
}

std::vector<WorldPoint> GroundGrid::shortest_way() const {
  if (!found_[start_] || !found_[goal_]) return {};  // ground at both ends, whatever is around them
  const double infinity = std::numeric_limits<double>::infinity();
  std::vector<double> cost(heights_.size(), infinity);
  std::vector<std::size_t> previous(heights_.size(), heights_.size());
  const auto estimate = [&](std::size_t cell) {
    const double dx = static_cast<double>(cell % columns_) - static_cast<double>(goal_ % columns_);
    const double dz = static_cast<double>(cell / columns_) - static_cast<double>(goal_ / columns_);
    return std::hypot(dx, dz);
  };
  using Entry = std::pair<double, std::size_t>;  // estimated total, cell
  std::priority_queue<Entry, std::vector<Entry>, std::greater<Entry>> open;
  cost[start_] = 0;
  open.push({estimate(start_), start_});
  while (!open.empty()) {
    const auto [total, cell] = open.top();
    open.pop();
    if (cell == goal_) break;
    if (total > cost[cell] + estimate(cell) + 1e-9) continue;  // a stale entry
    const long column = static_cast<long>(cell % columns_), row = static_cast<long>(cell / columns_);
    for (long dz = -1; dz <= 1; ++dz) {
      for (long dx = -1; dx <= 1; ++dx) {
        const long c = column + dx, r = row + dz;
        if ((dx == 0 && dz == 0) || c < 0 || r < 0 || c >= static_cast<long>(columns_) ||
            r >= static_cast<long>(rows_)) {
          continue;
        }
        const std::size_t next = static_cast<std::size_t>(r) * columns_ + static_cast<std::size_t>(c);
        if (!clear_[next] || std::fabs(heights_[next] - heights_[cell]) > kDetourStep) continue;
        const double step = cost[cell] + ((dx != 0 && dz != 0) ? std::sqrt(2.0) : 1.0);
        if (step < cost[next]) {
          cost[next] = step;
          previous[next] = cell;
          open.push({step + estimate(next), next});
        }
      }
    }
  }
  if (cost[goal_] == infinity) return {};
  std::vector<WorldPoint> way;
  for (std::size_t cell = goal_; cell != heights_.size(); cell = previous[cell]) way.push_back(ground_of(cell));
  std::reverse(way.begin(), way.end());
  return way;
}

bool GroundGrid::passes(const WorldPoint& p, const WorldPoint& q) const {
  const double distance = std::hypot(static_cast<double>(q.x) - p.x, static_cast<double>(q.z) - p.z);
  const std::size_t intervals = std::max<std::size_t>(1, static_cast<std::size_t>(std::ceil(distance / kLineSpacing)));
  float previous = 0;
  for (std::size_t k = 0; k <= intervals; ++k) {
    const double t = static_cast<double>(k) / static_cast<double>(intervals);
    const long cell = cell_of(p.x + t * (q.x - p.x), p.z + t * (q.z - p.z));
    if (cell < 0 || !clear_[static_cast<std::size_t>(cell)]) return false;
    const float height = heights_[static_cast<std::size_t>(cell)];
    if (k > 0 && std::fabs(height - previous) > kDetourStep) return false;
    if (std::fabs(height - static_cast<float>(p.y + t * (q.y - p.y))) > kDetourOffset) return false;
    previous = height;
  }
  return true;
}

}  // namespace host::check
