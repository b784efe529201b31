#include "game/ground.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <limits>
#include <random>

#include "game/game_world.h"
#include "game/world_mesh.h"
#include "tests/support/seeded_random.h"

namespace game {
namespace {

// Floors with known heights: a step of exactly 50 and one just above, a bridge deck over a floor, and
// a ramp.
WorldMesh known_mesh() {
  WorldMesh mesh;
  mesh.add_floor(0, 100, 0, 100, 0);
  mesh.add_floor(100, 200, 0, 100, 50);                                       // exactly 50 above the first floor
  mesh.add_floor(200, 300, 0, 100, 100.001f);                                 // just above 50 above the second
  mesh.add_floor(400, 500, 0, 100, 0);                                        // the floor under the bridge
  mesh.add_floor(400, 500, 40, 60, 200);                                      // the bridge deck
  mesh.add_quad({600, 0, 0}, {700, 100, 0}, {700, 100, 100}, {600, 0, 100});  // ramp rising east
  return mesh;
}

// A probe and the ground it must find; flat floors answer their height exactly (tolerance 0).
struct ProbeCase {
  const char* what;
  float x, y, z;
  bool found;
  float height;
  float tolerance = 0;
};

TEST(Ground, AnswersTheFirstSurfaceStraightBelowTheProbe) {
  std::string error;
  auto ground = Ground::build(known_mesh(), error);
  ASSERT_TRUE(ground) << error;
  // clang-format off
  const ProbeCase cases[] = {
      {.what = "low floor", .x = 50, .y = 100, .z = 50, .found = true, .height = 0},
      {.what = "step of exactly 50", .x = 150, .y = 100, .z = 50, .found = true, .height = 50},
      {.what = "step just above 50", .x = 250, .y = 200, .z = 50, .found = true, .height = 100.001f},
      {.what = "bridge deck from above", .x = 450, .y = 300, .z = 50, .found = true, .height = 200},
      {.what = "floor from between deck and floor", .x = 450, .y = 150, .z = 50, .found = true, .height = 0},
      {.what = "floor beside the deck", .x = 450, .y = 300, .z = 10, .found = true, .height = 0},
      {.what = "ramp halfway", .x = 650, .y = 300, .z = 50, .found = true, .height = 50, .tolerance = 1e-3f},
      {.what = "nothing below: outside", .x = 1000, .y = 100, .z = 1000, .found = false, .height = 0},
      {.what = "nothing below: under the floor", .x = 50, .y = -10, .z = 50, .found = false, .height = 0},
      {.what = "far above the world", .x = 50, .y = 1e30f, .z = 50, .found = true, .height = 0},
      {.what = "outside the world: x = 1e20", .x = 1e20f, .y = 100, .z = 50, .found = false, .height = 0},
      {.what = "outside the world: z = -3e38", .x = 50, .y = 100, .z = -3e38f, .found = false, .height = 0},
      {.what = "far below the world", .x = 50, .y = -1e20f, .z = 50, .found = false, .height = 0},
  };
  // clang-format on
  for (const ProbeCase& c : cases) {
    float height = -1;
    EXPECT_EQ(ground->below(c.x, c.y, c.z, height), c.found) << c.what;
    EXPECT_NEAR(height, c.found ? c.height : -1, c.tolerance) << c.what;
  }
}

TEST(Ground, BatchMethodsAgreeWithSingleProbes) {
  std::string error;
  auto ground = Ground::build(bumpy_terrain(64, 5000, 80), error);
  ASSERT_TRUE(ground) << error;
  std::mt19937 random = test_support::seeded_random();
  std::uniform_real_distribution<float> across(-6000, 6000);  // some probes miss the terrain
  const std::size_t count = 5003;                             // enough to be put in Morton order; not a multiple of 16
  std::vector<float> probes;
  for (std::size_t k = 0; k < count; ++k) probes.insert(probes.end(), {across(random), 200.0f, across(random)});
  // Probes that are not points find nothing, in every method.
  probes[3 * 17] = std::numeric_limits<float>::quiet_NaN();
  probes[3 * 4000 + 2] = std::numeric_limits<float>::infinity();
  // Probes far outside the world find nothing, and the ray caster is never handed them.
  probes[3 * 18] = 1e20f;
  probes[3 * 4001 + 2] = -3e38f;
  probes[3 * 4002 + 1] = 1e30f;  // far above: the terrain below is still found
  for (BatchMethod method :
       {BatchMethod::SingleRays, BatchMethod::Stream, BatchMethod::Packets16, BatchMethod::Adaptive}) {
    std::vector<float> heights(count, -1);
    std::vector<std::uint8_t> found(count, 9);
    ground->below_batch(probes.data(), count, heights.data(), found.data(), method);
    for (std::size_t k = 0; k < count; ++k) {
      float single = 0;
      const bool hit = ground->below(probes[3 * k], probes[3 * k + 1], probes[3 * k + 2], single);
      ASSERT_EQ(found[k], hit ? 1 : 0) << "probe " << k;
      EXPECT_EQ(heights[k], hit ? single : 0.0f) << "probe " << k;
    }
    EXPECT_TRUE(found[17] == 0 && found[4000] == 0) << "probes that are not points find nothing";
    EXPECT_TRUE(found[18] == 0 && found[4001] == 0) << "probes outside the world find nothing";
  }
}

TEST(WorldMesh, LoadsObjFacesAndRefusesFilesWithoutTriangles) {
  const std::string dir = testing::TempDir(), good = dir + "pw_game_quad.obj", empty = dir + "pw_game_empty.obj";
  std::ofstream(good) << "v 0 5 0\nv 10 5 0\nv 10 5 10\nv 0 5 10\nf 1 2 3 4\n";
  std::ofstream(empty) << "v 0 5 0\n";
  WorldMesh mesh;
  std::string error;
  ASSERT_TRUE(load_obj(good, mesh, error)) << error;
  EXPECT_EQ(mesh.triangle_count(), 2u);

  auto world = GameWorld::from_obj(good, Clock::Manual, error);
  ASSERT_TRUE(world) << error;
  EXPECT_EQ(world->name(), "pw_game_quad");
  EXPECT_TRUE(world->link().x == 5.0f && world->link().y == 5.0f) << "over the middle of the floor";
  float height = 0;
  std::string note;
  EXPECT_FALSE(world->ground_height({0.1f, 100, -500}, height, note));
  EXPECT_EQ(note, "nothing below (0.1, -500)") << "a world from a file has no sea";
  EXPECT_FALSE(world->ground_height({0.1f, 100, -1e7f}, height, note));
  EXPECT_EQ(note, "outside the world: (0.1, -1e+07)");

  EXPECT_FALSE(load_obj(empty, mesh, error));
  EXPECT_EQ(error, "the world \"" + empty + "\" holds no triangles");
  for (const std::string& file : {good, empty}) std::remove(file.c_str());
}

}  // namespace
}  // namespace game
