#include "game/island.h"

#include <gtest/gtest.h>

#include "host/link/local_live_game.h"
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
  host::LocalLiveGame live(*world_);
  support::MemorySession session;
  session.live_game = &live;
  struct Case { const char* what; std::vector<WorldPoint> route; std::vector<std::string> problems; };
  const Case cases[] = {
      {"off the pier end", {{0, 100, -2400}, island::kOpenSeaSouth}, {"no ground"}},
      {"east over the cliff", {{1000, 100, 0}, {2000, 0, 0}}, {"a drop"}},
      {"west up the cliff", {{2000, 0, 0}, {1000, 100, 0}}, {"a step up too high (a wall)"}},
      {"onto the wall block", {{-1200, 100, 0}, island::kOnTheWall}, {"a step up too high (a wall)"}},
      {"through the wall block at walking height", {{-1200, 100, 0}, {-700, 100, 0}}, {""}},
      {"high above the plateau", {{-300, 400, 300}, {300, 400, 300}}, {"the ground is far from the route's height"}},
      {"round the town", {island::kTownSquare, {400, 100, 0}, {400, 100, 400}}, {"", ""}},
      {"along the pier", {{0, 100, -1400}, {0, 100, -2550}}, {""}},
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
