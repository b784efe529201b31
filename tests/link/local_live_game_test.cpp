#include "link/local_live_game.h"

#include <gtest/gtest.h>

#include "game/island.h"
#include "tests/game/game_test_helpers.h"
#include "tests/support/memory_session.h"

namespace game {
namespace {

using mods::json::Value;
using story_notebook::WorldPoint;
using LocalLiveGameTest = OnTheIsland;
using Island = OnTheIsland;

// Batched ground queries through this link are exercised by the island's route check test.
TEST_F(LocalLiveGameTest, AnswersTheEditorFromTheWorldInTheSameProcess) {
  host::link::LocalLiveGame live(*world_);
  editor::LiveGame& game = live;
  std::string error, note;
  float height = 0;
  EXPECT_FALSE(game.ground_height({0, 200, -3000}, height, note));
  EXPECT_EQ(note, "open sea below (0, -3000)");

  world_->teleport({10, 100, 20});
  story_notebook::WorldPoint camera, link;
  ASSERT_TRUE(game.camera_position(camera, error) && game.link_position(link, error)) << error;
  EXPECT_TRUE(camera.z == 20.0f - kCameraBehind && link.x == 10.0f) << camera.z << " " << link.x;

  editor::Session::Package package{"walks", parsed(R"({"actors":[{"id":"m","kind":"mod","path":{"points":[
      {"x":0,"y":100,"z":0},{"x":0,"y":100,"z":120}]}}]})")};
  EXPECT_TRUE(game.live_route(package, "m").is_null()) << "not handed over yet";
  ASSERT_TRUE(game.load_package(package, error)) << error;
  double time = 0;
  ASSERT_TRUE(world_->advance(1, time, error));
  EXPECT_EQ(game.live_route(package, "m").get("position").get("z").number, 60);
  package.document = mods::json::Value::of(3.0);
  EXPECT_FALSE(game.load_package(package, error));
  EXPECT_EQ(error, "the document of \"walks\" is not an object");
}

// The routes the island's guide gives for each problem, run through the editor's own route check over
// the in-process link: one problem per segment, "" for a fine one.
TEST_F(Island, ShowsEveryProblemOfARouteCheckOnTheRoutesItsGuideGives) {
  host::link::LocalLiveGame live(*world_);
  support::MemorySession session;
  session.live_game = &live;
  struct Case {
    const char* what;
    std::vector<WorldPoint> route;
    std::vector<std::string> problems;
  };
  // clang-format off
  const Case cases[] = {
      {.what = "off the pier end", .route = {{0, 100, -2400}, island::kOpenSeaSouth}, .problems = {"no ground"}},
      {.what = "east over the cliff", .route = {{1000, 100, 0}, {2000, 0, 0}}, .problems = {"a drop"}},
      {.what = "west up the cliff", .route = {{2000, 0, 0}, {1000, 100, 0}}, .problems = {"a step up too high (a wall)"}},
      {.what = "onto the wall block", .route = {{-1200, 100, 0}, island::kOnTheWall}, .problems = {"a step up too high (a wall)"}},
      {.what = "through the wall block at walking height", .route = {{-1200, 100, 0}, {-700, 100, 0}}, .problems = {""}},
      {.what = "high above the plateau", .route = {{-300, 400, 300}, {300, 400, 300}}, .problems = {"the ground is far from the route's height"}},
      {.what = "round the town", .route = {island::kTownSquare, {400, 100, 0}, {400, 100, 400}}, .problems = {"", ""}},
      {.what = "along the pier", .route = {{0, 100, -1400}, {0, 100, -2550}}, .problems = {""}},
  };
  // clang-format on
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

}  // namespace
}  // namespace game
