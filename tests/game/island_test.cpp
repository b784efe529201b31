#include "game/island.h"

#include <gtest/gtest.h>

#include "tests/game/game_test_helpers.h"

namespace game {
namespace {

using story_notebook::WorldPoint;
using Island = OnTheIsland;

TEST_F(Island, NamedPlacesStandWhereTheLayoutSays) {
  struct Place { const char* what; WorldPoint point; bool found; float height; };
  const Place places[] = {
      {"town square", island::kTownSquare, true, 100},   {"link's spawn", island::kLinkSpawn, true, 100},
      {"cliff edge", island::kCliffEdge, true, 100},     {"below the cliff", island::kBelowCliff, true, 0},
      {"on the wall", island::kOnTheWall, true, 300},    {"west face of the wall", island::kWallFace, true, 100},
      {"pier end", island::kPierEndPoint, true, 100},    {"open sea south", island::kOpenSeaSouth, false, 0},
      {"open sea east", island::kOpenSeaEast, false, 0}, {"between pier and plateau edge", {500, 100, -1600}, false, 0},
  };
  for (const Place& p : places) {
    float height = -1;
    std::string note;
    EXPECT_EQ(world_->ground_height({p.point.x, p.point.y + 1, p.point.z}, height, note), p.found) << p.what;
    EXPECT_EQ(height, p.found ? p.height : -1) << p.what;
  }
}

}  // namespace
}  // namespace game
