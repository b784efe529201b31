// The ground of a collision world: an Embree 3 scene built once from a mesh, answering "what is the
// first surface straight below this probe" for one probe or a batch. Owns its Embree device and scene.
// After construction it is read-only: queries may run from several threads at once.
#ifndef PATHWRIGHT_GAME_GROUND_H_
#define PATHWRIGHT_GAME_GROUND_H_

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "game/world_mesh.h"

namespace game {

// How a batch of probes is cast. All give the same answers; they differ only in speed (the benchmark
// bench_game compares them, and `kFastestBatch` is the one the game uses).
enum class BatchMethod {
  SingleRays,  // one rtcIntersect1 per probe
  Stream,      // rtcIntersect1M over the whole batch
  Packets16,   // rtcIntersect16 over groups of 16 probes, in the order given
  Adaptive,    // large scattered batches put in Morton order first; each group of 16 as a packet when
               // its probes lie in a few tight clusters, else as single rays
};

class Ground {
 public:
  // Builds the ray structure for `mesh`. On null, `error` says why (an empty mesh, or Embree refused).
  static std::unique_ptr<Ground> build(const WorldMesh& mesh, std::string& error);
  ~Ground();
  Ground(const Ground&) = delete;
  Ground& operator=(const Ground&) = delete;

  // Whether x and z lie within the world's box (the mesh's bounds widened by a margin). Outside it
  // there is never ground, whatever the probe's height.
  bool inside(float x, float z) const;

  // The first surface straight below (x, y, z): the ray starts at the probe itself (or just above the
  // world, for a probe high above it) and has no far limit. Any probe is safe, however far away. On true, `height` is
  // the surface's y at the probe's x and z (exact for flat triangles). On false there is nothing below and `height` is
  // untouched.
  bool below(float x, float y, float z, float& height) const;

  // `below` for `count` probes given as x, y, z triples in `xyz`. Writes `heights[k]` and `found[k]`
  // (1 or 0) for every probe; `heights[k]` is 0 where nothing is below.
  void below_batch(const float* xyz, std::size_t count, float* heights, std::uint8_t* found, BatchMethod method) const;

  std::size_t triangle_count() const { return triangles_; }

 private:
  struct Scene;
  struct Batch;  // one below_batch call, defined beside it
  explicit Ground(std::unique_ptr<Scene> scene, std::size_t triangles);
  std::unique_ptr<Scene> scene_;
  std::size_t triangles_;
};

// The batch method the simulated game uses, chosen by measurement (see bench/game).
inline constexpr BatchMethod kFastestBatch = BatchMethod::Adaptive;

}  // namespace game

#endif  // PATHWRIGHT_GAME_GROUND_H_
