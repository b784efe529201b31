#include "map/ground_tiles.h"

#include <png.h>

#include <algorithm>
#include <cmath>

#include "editor/live_game.h"

namespace host::map {

using server::SharedWorkbench;
using server::Workbench;

namespace {

using mods::json::Value;
using story_notebook::WorldPoint;

constexpr float kAboveWorld = 1.0f;                  // world units above the world's top that probes start
constexpr float kNoBoundsLow = 0.0f;                 // world y coloured lowest when the game gave no bounds
constexpr float kNoBoundsHigh = 1000.0f;             // world y coloured highest then
constexpr float kNoBoundsProbeY = 100000.0f;         // world y probes start at then
constexpr float kShadeStrength = 0.6f;               // how much hill shading darkens or lightens (0..1)
constexpr float kReliefExaggeration = 4.0f;          // steepens slopes for the shading, so low hills show
constexpr unsigned char kWater[3] = {64, 120, 180};  // no ground: sea or a hole

struct Rgb {
  float r, g, b;
};

// Height colours from low to high: shore green, grass, earth, rock, snow.
constexpr Rgb kRamp[] = {{96, 160, 80}, {140, 180, 90}, {170, 150, 100}, {150, 130, 120}, {240, 240, 240}};

Rgb ramp(float t) {
  constexpr int kSteps = sizeof kRamp / sizeof kRamp[0] - 1;
  t = std::clamp(t, 0.0f, 1.0f) * kSteps;
  const int step = std::min(static_cast<int>(t), kSteps - 1);
  const float f = t - static_cast<float>(step);
  const Rgb& a = kRamp[step];
  const Rgb& b = kRamp[step + 1];
  return {a.r + (b.r - a.r) * f, a.g + (b.g - a.g) * f, a.b + (b.b - a.b) * f};
}

// Lambert light from the north-west and above, 1 on flat ground; `dx`, `dz` are the ground's slopes
// (height per world unit) along x and z.
float shade(float dx, float dz) {
  const float nx = -dx * kReliefExaggeration, nz = -dz * kReliefExaggeration, ny = 2.0f;
  const float length = std::sqrt(nx * nx + ny * ny + nz * nz);
  const float lx = -0.5f, ly = 0.7071f, lz = -0.5f;  // unit vector towards the light
  const float lit = (nx * lx + ny * ly + nz * lz) / length;
  return 1.0f + kShadeStrength * (lit / ly - 1.0f);
}

unsigned char channel(float value) { return static_cast<unsigned char>(std::clamp(value, 0.0f, 255.0f)); }

// The probes at height `probe_y` above the middle of every pixel of tile `key` and of the ring of pixels
// around it (the shading needs the neighbours), row by row; `unit` is world units per pixel.
std::vector<WorldPoint> tile_probes(const TileKey& key, double unit, float probe_y) {
  const double x0 = static_cast<double>(key.x) * kTileSize * unit;
  const double z0 = static_cast<double>(key.y) * kTileSize * unit;
  std::vector<WorldPoint> probes;
  probes.reserve(static_cast<std::size_t>(TileHeights::kSide) * TileHeights::kSide);
  for (int j = -1; j <= kTileSize; ++j)
    for (int i = -1; i <= kTileSize; ++i)
      probes.push_back({static_cast<float>(x0 + (i + 0.5) * unit), probe_y, static_cast<float>(z0 + (j + 0.5) * unit)});
  return probes;
}

}  // namespace

bool paint_tile(const TileHeights& ground, float low, float high, float pixel_size, std::string& png,
                std::string& error) {
  constexpr int kSide = TileHeights::kSide;
  std::vector<unsigned char> pixels(static_cast<std::size_t>(kTileSize) * kTileSize * 3);
  const float span = high > low ? high - low : 1.0f;
  auto at = [&](int i, int j) { return static_cast<std::size_t>(j + 1) * kSide + static_cast<std::size_t>(i + 1); };
  for (int j = 0; j < kTileSize; ++j) {
    for (int i = 0; i < kTileSize; ++i) {
      unsigned char* pixel = &pixels[(static_cast<std::size_t>(j) * kTileSize + i) * 3];
      const std::size_t k = at(i, j);
      if (!ground.found[k]) {
        std::copy(kWater, kWater + 3, pixel);
        continue;
      }
      const float h = ground.heights[k];
      // A neighbour without ground counts as level with this pixel.
      auto near = [&](std::size_t n) { return ground.found[n] ? ground.heights[n] : h; };
      const float dx = (near(at(i + 1, j)) - near(at(i - 1, j))) / (2.0f * pixel_size);
      const float dz = (near(at(i, j + 1)) - near(at(i, j - 1))) / (2.0f * pixel_size);
      const Rgb colour = ramp((h - low) / span);
      const float light = shade(dx, dz);
      pixel[0] = channel(colour.r * light);
      pixel[1] = channel(colour.g * light);
      pixel[2] = channel(colour.b * light);
    }
  }
  png_image image{};
  image.version = PNG_IMAGE_VERSION;
  image.width = kTileSize;
  image.height = kTileSize;
  image.format = PNG_FORMAT_RGB;
  png_alloc_size_t size = 0;
  if (!png_image_write_to_memory(&image, nullptr, &size, 0, pixels.data(), 0, nullptr)) {
    error = std::string("cannot encode the tile as PNG: ") + image.message;
    return false;
  }
  png.assign(size, '\0');
  if (!png_image_write_to_memory(&image, png.data(), &size, 0, pixels.data(), 0, nullptr)) {
    error = std::string("cannot encode the tile as PNG: ") + image.message;
    return false;
  }
  png.resize(size);
  png_image_free(&image);
  return true;
}

void GroundTiles::forget() {
  std::lock_guard<std::mutex> hold(mutex_);
  kept_.clear();
}

bool GroundTiles::kept_tile(const std::string& world, const TileKey& key, std::string& png) {
  std::lock_guard<std::mutex> hold(mutex_);
  if (world != world_) kept_.clear(), world_ = world;
  auto kept = kept_.find(key);
  if (kept == kept_.end()) return false;
  png = kept->second;
  return true;
}

bool GroundTiles::tile(SharedWorkbench& bench, const TileKey& key, std::string& png, int& status, std::string& error) {
  if (key.zoom < kLowestZoom || key.zoom > kHighestZoom) {
    status = 404;
    error = "no tiles at zoom " + std::to_string(key.zoom) + " (zooms " + std::to_string(kLowestZoom) + " to " +
            std::to_string(kHighestZoom) + ")";
    return false;
  }
  // The query runs under the Workbench's lock; the cache is looked at before and filled after it.
  return bench.with([&](Workbench& workbench) {
    editor::LiveGame* game = workbench.current_game();
    const Value state = workbench.game_state();
    if (game == nullptr) {
      status = 404;
      error = "the ground is unknown: no game is connected (" + state.get("problem").string("") + ")";
      return false;
    }
    if (kept_tile(state.get("world").string(""), key, png)) return true;
    const Value& bounds = state.get("bounds");
    const bool bounded = bounds.get("low").get("y").is_number() && bounds.get("high").get("y").is_number();
    const float low = bounded ? static_cast<float>(bounds.get("low").get("y").number) : kNoBoundsLow;
    const float high = bounded ? static_cast<float>(bounds.get("high").get("y").number) : kNoBoundsHigh;
    const float probe_y = bounded ? high + kAboveWorld : kNoBoundsProbeY;

    const double unit = std::ldexp(1.0, -key.zoom);  // world units per pixel
    TileHeights ground;
    if (!game->ground_heights(tile_probes(key, unit, probe_y), ground.heights, ground.found, error)) {
      status = 502;
      error = "the game did not answer the ground below the tile: " + error;
      return false;
    }
    if (!paint_tile(ground, low, high, static_cast<float>(unit), png, error)) {
      status = 500;
      return false;
    }
    std::lock_guard<std::mutex> hold(mutex_);
    if (kept_.size() >= kMaxKept) kept_.clear();
    kept_[key] = png;
    return true;
  });
}

}  // namespace host::map
