// Fuzzes the OBJ world reader with any text: a world it accepts must be usable as ground, every vertex
// a finite number and every triangle naming vertices that exist.
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "game/world_mesh.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  game::WorldMesh mesh;
  std::string error;
  if (!game::parse_obj(text, "fuzz.obj", mesh, error)) {
    if (error.empty()) std::abort();
    return 0;
  }
  if (mesh.triangle_count() == 0) std::abort();
  for (float v : mesh.vertices)
    if (!std::isfinite(v)) std::abort();
  for (std::uint32_t i : mesh.indices)
    if (i >= mesh.vertex_count()) std::abort();
  return 0;
}
