// The map's ground tiles: 256 x 256 PNG pictures of the ground seen from above, coloured by height within
// the world's bounds, shaded as lit from the north-west, with water wherever there is no ground. Each
// tile costs one ground_heights query to the game. Tiles are kept per world until the game reconnects.
// Thread-safe: every call takes the shared Workbench's lock for the query, and its own for the cache.
#ifndef PATHWRIGHT_MAP_GROUND_TILES_H_
#define PATHWRIGHT_MAP_GROUND_TILES_H_

#include <cstdint>
#include <map>
#include <mutex>
#include <string>
#include <tuple>
#include <vector>

#include "server/shared_workbench.h"

namespace host::map {

// Tile (z, x, y) in the map's simple coordinates (docs/map.md): world x from x·256/2^z, world z from
// y·256/2^z, 256/2^z world units a side.
struct TileKey {
  int zoom = 0;
  long x = 0;
  long y = 0;
  friend bool operator<(const TileKey& a, const TileKey& b) {
    return std::tie(a.zoom, a.x, a.y) < std::tie(b.zoom, b.x, b.y);
  }
};

constexpr int kTileSize = 256;   // pixels a side
constexpr int kLowestZoom = -5;  // tiles exist for zooms kLowestZoom..kHighestZoom
constexpr int kHighestZoom = 2;

// The heights below one tile's pixels plus a one-pixel border (for shading), and what is not ground.
struct TileHeights {
  static constexpr int kSide = kTileSize + 2;
  std::vector<float> heights;  // kSide * kSide, row by row, the tile's pixel (i, j) at [(j+1)*kSide + i+1]
  std::vector<bool> found;     // false where there is no ground (sea, holes)
};

// The tile's PNG from its heights, coloured within [low, high] (world y) and shaded by the slope between
// pixels `pixel_size` world units apart. On false, `error` says why.
bool paint_tile(const TileHeights& ground, float low, float high, float pixel_size, std::string& png,
                std::string& error);

class GroundTiles {
 public:
  static constexpr std::size_t kMaxKept = 256;  // tiles in the cache; it starts over when full

  // The PNG of tile `key`. On false, `status` is the HTTP status to answer (404: no game or no such zoom;
  // 502: the game failed) and `error` the text to send.
  bool tile(server::SharedWorkbench& bench, const TileKey& key, std::string& png, int& status, std::string& error);
  // Forgets every kept tile: the game reconnected, perhaps with another world.
  void forget();

 private:
  // Whether tile `key` of `world` is kept; on true `png` holds it. A new world forgets every kept tile.
  bool kept_tile(const std::string& world, const TileKey& key, std::string& png);

  std::mutex mutex_;
  std::string world_;  // the world the kept tiles show
  std::map<TileKey, std::string> kept_;
};

}  // namespace host::map

#endif  // PATHWRIGHT_MAP_GROUND_TILES_H_
