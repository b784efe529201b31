#include "game/island.h"

#include <gtest/gtest.h>

#include <cmath>
#include <set>

#include "game/game_world.h"

namespace game {
namespace {

using story_notebook::WorldPoint;

// The route check's sampling: every leg in steps of at most 25 units, a probe 100 above the route line,
// successive grounds more than 50 apart (a drop or a step up), ground more than 150 from the line.
constexpr float kStep = 25, kProbeAbove = 100, kStepLimit = 50, kLineLimit = 150;

std::set<std::string> route_problems(const GameWorld& world, const std::vector<WorldPoint>& points) {
  std::set<std::string> problems;
  bool have_previous = false;
  float previous = 0;
  for (std::size_t leg = 0; leg + 1 < points.size(); ++leg) {
    const WorldPoint a = points[leg], b = points[leg + 1];
    const float length = std::hypot(b.x - a.x, b.z - a.z);
    const int steps = std::max(1, static_cast<int>(std::ceil(length / kStep)));
    for (int s = (leg == 0 ? 0 : 1); s <= steps; ++s) {
      const float f = static_cast<float>(s) / static_cast<float>(steps);
      const WorldPoint line{a.x + (b.x - a.x) * f, a.y + (b.y - a.y) * f, a.z + (b.z - a.z) * f};
      float ground = 0;
      std::string note;
      if (!world.ground_height({line.x, line.y + kProbeAbove, line.z}, ground, note)) {
        problems.insert("no ground");
        have_previous = false;
        continue;
      }
      if (have_previous && previous - ground > kStepLimit) problems.insert("a drop");
      if (have_previous && ground - previous > kStepLimit) problems.insert("a step up too high");
      if (std::fabs(line.y - ground) > kLineLimit) problems.insert("far from the route's height");
      previous = ground;
      have_previous = true;
    }
  }
  return problems;
}

TEST(Island, ShowsEveryProblemOfARouteCheckAtItsDocumentedPlaces) {
  std::string error;
  auto world = GameWorld::island(Clock::Manual, error);
  ASSERT_TRUE(world) << error;
  struct Case {
    const char* what;
    std::vector<WorldPoint> route;
    std::set<std::string> problems;
  };
  const Case cases[] = {
      {"off the pier end", {{0, 100, -2400}, island::kOpenSeaSouth}, {"no ground"}},
      {"east over the cliff", {{1000, 100, 0}, {2000, 0, 0}}, {"a drop"}},
      {"west up the cliff", {{2000, 0, 0}, {1000, 100, 0}}, {"a step up too high"}},
      {"onto the wall block", {{-1200, 100, 0}, island::kOnTheWall}, {"a step up too high"}},
      {"high above the plateau", {{-300, 400, 300}, {300, 400, 300}}, {"far from the route's height"}},
      {"round the town", {island::kTownSquare, {400, 100, 0}, {400, 100, 400}}, {}},
      {"along the pier", {{0, 100, -1400}, {0, 100, -2550}}, {}},
  };
  for (const Case& c : cases) EXPECT_EQ(route_problems(*world, c.route), c.problems) << c.what;
}

TEST(Island, NamedPlacesStandWhereTheLayoutSays) {
  std::string error;
  auto world = GameWorld::island(Clock::Manual, error);
  ASSERT_TRUE(world) << error;
  struct Place {
    const char* what;
    WorldPoint point;
    bool found;
    float height;
  };
  const Place places[] = {
      {"town square", island::kTownSquare, true, 100},   {"link's spawn", island::kLinkSpawn, true, 100},
      {"cliff edge", island::kCliffEdge, true, 100},     {"below the cliff", island::kBelowCliff, true, 0},
      {"on the wall", island::kOnTheWall, true, 300},    {"west face of the wall", island::kWallFace, true, 100},
      {"pier end", island::kPierEndPoint, true, 100},       {"open sea south", island::kOpenSeaSouth, false, 0},
      {"open sea east", island::kOpenSeaEast, false, 0}, {"between pier and plateau edge", {500, 100, -1600}, false, 0},
  };
  for (const Place& p : places) {
    float height = -1;
    std::string note;
    const WorldPoint probe{p.point.x, p.point.y + 1, p.point.z};
    EXPECT_EQ(world->ground_height(probe, height, note), p.found) << p.what;
    if (p.found) {
      EXPECT_EQ(height, p.height) << p.what;
    }
  }
  EXPECT_EQ(world->link().z, 200.0f);
  const WorldPoint camera = world->camera();
  EXPECT_EQ(camera.y, 300.0f);
  EXPECT_EQ(camera.z, -100.0f);
}

}  // namespace
}  // namespace game
