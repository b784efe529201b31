#include "game/island.h"

#include <gtest/gtest.h>

#include "tests/game/game_test_helpers.h"

namespace game {
namespace {

using story_notebook::WorldPoint;
using Island = OnTheIsland;

TEST_F(Island, NamedPlacesStandWhereTheLayoutSays) {
  struct Place {
    const char* what;
    WorldPoint point;
    bool found;
    float height;
  };
  // clang-format off
  const Place places[] = {
      {.what = "link's spawn", .point = island::kLinkSpawn, .found = true, .height = 100},
      {.what = "cliff edge", .point = island::kCliffEdge, .found = true, .height = 100},
      {.what = "below the cliff", .point = island::kBelowCliff, .found = true, .height = 0},
      {.what = "west face of the wall", .point = island::kWallFace, .found = true, .height = 100},
      {.what = "pier end", .point = island::kPierEndPoint, .found = true, .height = 100},
      {.what = "open sea east", .point = island::kOpenSeaEast, .found = false, .height = 0},
      {.what = "between pier and plateau edge", .point = {500, 100, -1600}, .found = false, .height = 0},
  };
  // clang-format on
  for (const Place& p : places) {
    float height = -1;
    std::string note;
    EXPECT_EQ(world_->ground_height({p.point.x, p.point.y + 1, p.point.z}, height, note), p.found) << p.what;
    EXPECT_EQ(height, p.found ? p.height : -1) << p.what;
  }
}

}  // namespace
}  // namespace game
