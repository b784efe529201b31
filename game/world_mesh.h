// A collision world as plain triangles: a flat vertex array and index triples, built in memory or read
// from an OBJ file. A value type owned by whoever builds it; the ground's ray structure copies what it
// needs. Not synchronised; read-only sharing between threads is fine.
#ifndef PATHWRIGHT_GAME_WORLD_MESH_H_
#define PATHWRIGHT_GAME_WORLD_MESH_H_

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "editor/points/world_point.h"

namespace game {

struct WorldMesh {
  std::vector<float> vertices;         // x, y, z of each vertex, y up
  std::vector<std::uint32_t> indices;  // three vertex numbers per triangle

  std::size_t vertex_count() const { return vertices.size() / 3; }
  std::size_t triangle_count() const { return indices.size() / 3; }

  // Appends a vertex and answers its number.
  std::uint32_t add_vertex(float x, float y, float z);
  void add_triangle(std::uint32_t a, std::uint32_t b, std::uint32_t c);
  // Appends the quad a-b-c-d (corners in order round its edge) as two triangles.
  void add_quad(const story_notebook::WorldPoint& a, const story_notebook::WorldPoint& b,
                const story_notebook::WorldPoint& c, const story_notebook::WorldPoint& d);
  // A horizontal rectangle at height y over [x0, x1] x [z0, z1].
  void add_floor(float x0, float x1, float z0, float z1, float y);

  // The smallest box holding every vertex. False (and both corners untouched) for an empty mesh.
  bool bounds(story_notebook::WorldPoint& low, story_notebook::WorldPoint& high) const;
};

// Reads every face of the OBJ file at `path` into `mesh` (polygons split into triangles, materials
// ignored). On false, `error` names the file and why it could not be used (unreadable, malformed, or
// holding no triangles), and `mesh` is unspecified.
// Only a regular file of at most kMaxWorldBytes is read (see obj_file.h); a bad number or corner is
// refused with its line.
bool load_obj(const std::string& path, WorldMesh& mesh, std::string& error);

// The same over the OBJ text `text`; `path` only names the world in messages.
bool parse_obj(const std::string& text, const std::string& path, WorldMesh& mesh, std::string& error);

// A bumpy terrain over [-half, half] in x and z: a grid of `cells` x `cells` squares (two triangles
// each) whose heights rise and fall by up to `bump` units. Used by benchmarks and tests that need many
// triangles.
WorldMesh bumpy_terrain(unsigned cells, float half, float bump);

}  // namespace game

#endif  // PATHWRIGHT_GAME_WORLD_MESH_H_
