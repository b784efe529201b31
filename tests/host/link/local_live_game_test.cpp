#include "host/link/local_live_game.h"

#include <gtest/gtest.h>

#include "tests/game/game_test_helpers.h"

namespace game {
namespace {

using LocalLiveGameTest = OnTheIsland;

// Batched ground queries through this link are exercised by the island's route check test.
TEST_F(LocalLiveGameTest, AnswersTheEditorFromTheWorldInTheSameProcess) {
  host::LocalLiveGame live(*world_);
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

}  // namespace
}  // namespace game
