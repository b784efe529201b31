#include "game/world_mesh.h"

#include <tiny_obj_loader.h>

#include <algorithm>
#include <cctype>
#include <cmath>
#include <fstream>

#include "game/obj_file.h"

namespace game {

std::uint32_t WorldMesh::add_vertex(float x, float y, float z) {
  const auto number = static_cast<std::uint32_t>(vertex_count());
  vertices.insert(vertices.end(), {x, y, z});
  return number;
}

void WorldMesh::add_triangle(std::uint32_t a, std::uint32_t b, std::uint32_t c) {
  indices.insert(indices.end(), {a, b, c});
}

void WorldMesh::add_quad(const story_notebook::WorldPoint& a, const story_notebook::WorldPoint& b,
                         const story_notebook::WorldPoint& c, const story_notebook::WorldPoint& d) {
  const std::uint32_t ia = add_vertex(a.x, a.y, a.z);
  const std::uint32_t ib = add_vertex(b.x, b.y, b.z);
  const std::uint32_t ic = add_vertex(c.x, c.y, c.z);
  const std::uint32_t id = add_vertex(d.x, d.y, d.z);
  add_triangle(ia, ib, ic);
  add_triangle(ia, ic, id);
}

void WorldMesh::add_floor(float x0, float x1, float z0, float z1, float y) {
  add_quad({x0, y, z0}, {x1, y, z0}, {x1, y, z1}, {x0, y, z1});
}

bool WorldMesh::bounds(story_notebook::WorldPoint& low, story_notebook::WorldPoint& high) const {
  if (vertices.empty()) return false;
  low = {vertices[0], vertices[1], vertices[2]};
  high = low;
  for (std::size_t i = 0; i + 2 < vertices.size(); i += 3) {
    low.x = std::min(low.x, vertices[i]);
    low.y = std::min(low.y, vertices[i + 1]);
    low.z = std::min(low.z, vertices[i + 2]);
    high.x = std::max(high.x, vertices[i]);
    high.y = std::max(high.y, vertices[i + 1]);
    high.z = std::max(high.z, vertices[i + 2]);
  }
  return true;
}

bool load_obj(const std::string& path, WorldMesh& mesh, std::string& error) {
  std::string text;
  if (!read_world_file(path, text, error)) {
    error = "cannot read the world \"" + path + "\": " + error;
    return false;
  }
  return parse_obj(text, path, mesh, error);
}

bool parse_obj(const std::string& text, const std::string& path, WorldMesh& mesh, std::string& error) {
  if (!check_obj_text(text, error)) {
    error = "the world \"" + path + "\", " + error;
    return false;
  }
  tinyobj::ObjReaderConfig config;
  config.triangulate = true;
  config.vertex_color = false;
  config.mtl_search_path = "";  // materials play no part in collision
  tinyobj::ObjReader reader;
  if (!reader.ParseFromString(text, "", config)) {
    // The reader's own words, in the form of our messages: one line, lower-case, no final full stop.
    std::string why = reader.Error();
    std::replace(why.begin(), why.end(), '\n', ' ');
    while (!why.empty() && (why.back() == ' ' || why.back() == '.')) why.pop_back();
    if (!why.empty()) why[0] = static_cast<char>(std::tolower(static_cast<unsigned char>(why[0])));
    error = "cannot read the world \"" + path + "\": " + (why.empty() ? "it is not an obj file" : why);
    return false;
  }
  mesh = WorldMesh{};
  const auto& positions = reader.GetAttrib().vertices;
  for (float v : positions) {
    if (!std::isfinite(v)) {
      error = "the world \"" + path + "\" has a vertex that is not a finite number";
      return false;
    }
  }
  mesh.vertices.assign(positions.begin(), positions.end());
  const std::size_t count = mesh.vertex_count();
  for (const auto& shape : reader.GetShapes()) {
    std::size_t offset = 0;
    for (unsigned char corners : shape.mesh.num_face_vertices) {
      // Triangulation leaves only triangles; anything smaller (a point or a line) has no surface.
      if (corners == 3) {
        std::uint32_t tri[3];
        for (int k = 0; k < 3; ++k) {
          const int v = shape.mesh.indices[offset + k].vertex_index;
          if (v < 0 || static_cast<std::size_t>(v) >= count) {
            error = "the world \"" + path + "\" has a face that names a missing vertex";
            return false;
          }
          tri[k] = static_cast<std::uint32_t>(v);
        }
        mesh.add_triangle(tri[0], tri[1], tri[2]);
      }
      offset += corners;
    }
  }
  if (mesh.triangle_count() == 0) {
    error = "the world \"" + path + "\" holds no triangles";
    return false;
  }
  return true;
}

WorldMesh bumpy_terrain(unsigned cells, float half, float bump) {
  WorldMesh mesh;
  const unsigned side = cells + 1;
  const float step = 2.0f * half / static_cast<float>(cells);
  mesh.vertices.reserve(static_cast<std::size_t>(side) * side * 3);
  for (unsigned row = 0; row < side; ++row) {
    for (unsigned col = 0; col < side; ++col) {
      const float x = -half + step * static_cast<float>(col);
      const float z = -half + step * static_cast<float>(row);
      const float y = bump * 0.5f * (std::sin(x * 0.013f) * std::cos(z * 0.011f) + std::sin((x + z) * 0.071f) * 0.3f);
      mesh.add_vertex(x, y, z);
    }
  }
  mesh.indices.reserve(static_cast<std::size_t>(cells) * cells * 6);
  for (unsigned row = 0; row < cells; ++row) {
    for (unsigned col = 0; col < cells; ++col) {
      const std::uint32_t a = row * side + col;
      const std::uint32_t b = a + 1;
      const std::uint32_t c = a + side + 1;
      const std::uint32_t d = a + side;
      mesh.add_triangle(a, b, c);
      mesh.add_triangle(a, c, d);
    }
  }
  return mesh;
}

}  // namespace game
