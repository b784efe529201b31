#include "game/island.h"

#include <gtest/gtest.h>

#include "game/local_live_game.h"
#include "tests/game/game_test_helpers.h"
#include "tests/support/memory_session.h"

namespace game {
namespace {

using mods::json::Value;
using story_notebook::WorldPoint;
using Island = OnTheIsland;

// The routes the island's guide gives for each problem, run through the editor's own route check over
// the in-process link: one problem per segment, "" for a fine one.
TEST_F(Island, ShowsEveryProblemOfARouteCheckOnTheRoutesItsGuideGives) {
  LocalLiveGame live(*world_);
  support::MemorySession session;
  session.live_game = &live;
  struct Case {
    const char* what;
    std::vector<WorldPoint> route;
    std::vector<std::string> problems;
  };
  const Case cases[] = {
      {.what = "off the pier end", .route = {{0, 100, -2400}, island::kOpenSeaSouth}, .problems = {"no ground"}},
      {.what = "east over the cliff", .route = {{1000, 100, 0}, {2000, 0, 0}}, .problems = {"a drop"}},
      {.what = "west up the cliff",
       .route = {{2000, 0, 0}, {1000, 100, 0}},
       .problems = {"a step up too high (a wall)"}},
      {.what = "onto the wall block",
       .route = {{-1200, 100, 0}, island::kOnTheWall},
       .problems = {"a step up too high (a wall)"}},
      {.what = "through the wall block at walking height",
       .route = {{-1200, 100, 0}, {-700, 100, 0}},
       .problems = {""}},
      {.what = "high above the plateau",
       .route = {{-300, 400, 300}, {300, 400, 300}},
       .problems = {"the ground is far from the route's height"}},
      {.what = "round the town", .route = {island::kTownSquare, {400, 100, 0}, {400, 100, 400}}, .problems = {"", ""}},
      {.what = "along the pier", .route = {{0, 100, -1400}, {0, 100, -2550}}, .problems = {""}},
  };
  // Checking a route reads the package only, so one actor serves every case.
  Value& actor = session.add("windfall", parsed(R"({"actors":[{"id":"m","kind":"mod"}]})")).document["actors"].items[0];
  for (const Case& c : cases) {
    actor["path"] = parsed(R"({"points":[]})");
    for (const WorldPoint& p : c.route) actor["path"]["points"].items.push_back(support::point(p.x, p.y, p.z));
    const auto answer = session.run("check_route", support::obj({{"id", support::str("m")}}));
    ASSERT_TRUE(answer.ok) << c.what << ": " << answer.error;
    std::vector<std::string> problems;
    for (const Value& leg : answer.result.get("segments").items) problems.push_back(leg.get("problem").string(""));
    EXPECT_EQ(problems, c.problems) << c.what;
  }
}

TEST_F(Island, NamedPlacesStandWhereTheLayoutSays) {
  struct Place {
    const char* what;
    WorldPoint point;
    bool found;
    float height;
  };
  const Place places[] = {
      {.what = "town square", .point = island::kTownSquare, .found = true, .height = 100},
      {.what = "link's spawn", .point = island::kLinkSpawn, .found = true, .height = 100},
      {.what = "cliff edge", .point = island::kCliffEdge, .found = true, .height = 100},
      {.what = "below the cliff", .point = island::kBelowCliff, .found = true, .height = 0},
      {.what = "on the wall", .point = island::kOnTheWall, .found = true, .height = 300},
      {.what = "west face of the wall", .point = island::kWallFace, .found = true, .height = 100},
      {.what = "pier end", .point = island::kPierEndPoint, .found = true, .height = 100},
      {.what = "open sea south", .point = island::kOpenSeaSouth, .found = false, .height = 0},
      {.what = "open sea east", .point = island::kOpenSeaEast, .found = false, .height = 0},
      {.what = "between pier and plateau edge", .point = {500, 100, -1600}, .found = false, .height = 0},
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
