#include "game/island.h"

namespace game::island {

namespace {

// A vertical face from (x0, z0) to (x1, z1) between heights y0 and y1. Downward rays never hit it;
// it is there so that an exported island looks whole and sideways casts would stop at it.
void add_face(WorldMesh& mesh, float x0, float z0, float x1, float z1, float y0, float y1) {
  mesh.add_quad({x0, y0, z0}, {x1, y0, z1}, {x1, y1, z1}, {x0, y1, z0});
}

// Every top surface reaches this far (world units) past its edges, so that a probe exactly on an edge
// (x = 1500 at the cliff, z = -2600 at the pier end) finds that surface, as the closed extents of the
// layout say, instead of slipping past it to a lower one.
constexpr float kEdgeOverhang = 0.01f;

void add_top(WorldMesh& mesh, float x0, float x1, float z0, float z1, float y) {
  mesh.add_floor(x0 - kEdgeOverhang, x1 + kEdgeOverhang, z0 - kEdgeOverhang, z1 + kEdgeOverhang, y);
}

}  // namespace

WorldMesh build() {
  WorldMesh mesh;
  // The wall block stands on the plateau without an underside, so a probe inside the block (below its
  // top) finds the plateau below it.
  add_top(mesh, kPlateauWest, kPlateauEast, kPlateauSouth, kPlateauNorth, kPlateauHeight);
  add_top(mesh, kPlateauEast, kBeachEast, kPlateauSouth, kPlateauNorth, kBeachHeight);
  add_face(mesh, kPlateauEast, kPlateauSouth, kPlateauEast, kPlateauNorth, kBeachHeight, kPlateauHeight);

  add_top(mesh, kWallWest, kWallEast, kWallSouth, kWallNorth, kWallTop);
  add_face(mesh, kWallWest, kWallSouth, kWallWest, kWallNorth, kPlateauHeight, kWallTop);
  add_face(mesh, kWallEast, kWallSouth, kWallEast, kWallNorth, kPlateauHeight, kWallTop);
  add_face(mesh, kWallWest, kWallSouth, kWallEast, kWallSouth, kPlateauHeight, kWallTop);
  add_face(mesh, kWallWest, kWallNorth, kWallEast, kWallNorth, kPlateauHeight, kWallTop);

  add_top(mesh, kPierWest, kPierEast, kPierEnd, kPlateauSouth, kPierHeight);
  return mesh;
}

}  // namespace game::island
