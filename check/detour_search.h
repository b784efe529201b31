// The search behind suggest_detour: the ground on a grid around a segment, asked of the game in batched
// ground_heights calls, and the shortest way over it (A*) on which no edge steps more than the check's
// largest step. Private to check/; the grid owns its heights; one thread.
#ifndef PATHWRIGHT_CHECK_DETOUR_SEARCH_H_
#define PATHWRIGHT_CHECK_DETOUR_SEARCH_H_

#include <cstddef>
#include <string>
#include <vector>

#include "editor/live_game.h"
#include "editor/points/world_point.h"

namespace host::check {

constexpr float kDetourStep = 50.0f;     // largest height change between neighbouring cells [world units]
constexpr float kDetourOffset = 150.0f;  // largest distance of the ground from a segment's line [world units]

class GroundGrid {
 public:
  // Asks `game` for the ground of every cell around `a` and `b` (`a` on a cell). On false `error` says why:
  // too many cells, or the game failed.
  bool sample(editor::LiveGame& game, const story_notebook::WorldPoint& a, const story_notebook::WorldPoint& b,
              std::string& error);

  // The cells of the shortest way from `a`'s cell to `b`'s, as ground points; empty when there is none.
  std::vector<story_notebook::WorldPoint> shortest_way() const;

  // Whether the straight segment p-q passes the check's rules on the grid's ground (nearest cells).
  bool passes(const story_notebook::WorldPoint& p, const story_notebook::WorldPoint& q) const;

  std::size_t probes() const { return heights_.size(); }

 private:
  long cell_of(double x, double z) const;  // -1 outside the grid
  story_notebook::WorldPoint ground_of(std::size_t cell) const;
  void mark_clear();

  double x0_ = 0, z0_ = 0;  // world position of cell (0, 0)
  std::size_t columns_ = 0, rows_ = 0;
  std::size_t start_ = 0, goal_ = 0;
  std::vector<float> heights_;
  std::vector<bool> found_;
  std::vector<bool> clear_;  // usable by the way; see mark_clear
};

}  // namespace host::check

#endif  // PATHWRIGHT_CHECK_DETOUR_SEARCH_H_
