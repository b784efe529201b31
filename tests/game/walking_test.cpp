#include <gtest/gtest.h>

#include <cmath>

#include "tests/game/game_test_helpers.h"
#include "walking/package_walk.h"

namespace game {
namespace {

using mods::json::Value;

// The one walker of a document holding only `actor`, planned on the island's ground.
walking::PackageWalk only(const GameWorld& world, const Value& actor) {
  Value document = Value::object();
  document["actors"] = Value::array();
  document["actors"].items.push_back(actor);
  walking::PackageWalk planned;
  std::string error;
  EXPECT_TRUE(walking::plan_package(document, world.ground_below(), planned, error)) << error;
  EXPECT_EQ(planned.walkers.size(), 1u);
  return planned;
}

using Walking = OnTheIsland;

TEST_F(Walking, PointsStandOnTheGroundBelowThemWhereThereIsGround) {
  const Value actor = parsed(R"({"id":"m","kind":"mod","path":{"points":[
      {"x":0,"y":400,"z":0},{"x":-950,"y":250,"z":0},{"x":0,"y":100,"z":-3000}]}})");
  const walking::PackageWalk planned = only(*world_, actor);
  ASSERT_EQ(planned.walkers.size(), 1u);
  std::vector<float> heights;
  for (const walking::WalkEntry& entry : planned.walkers[0].walk.entries()) heights.push_back(entry.point.y);
  // High above the square: the plateau; just below the wall's top: its top; over open sea: kept.
  EXPECT_EQ(heights, (std::vector<float>{100, 300, 100}));
}

// Regression: a point at x = 1e20 aborted the game inside the ray caster while the route was planned.
TEST_F(Walking, RoutesFarOutsideTheWorldWalkWithoutGround) {
  const Value actor = parsed(R"({"id":"m","kind":"mod","path":{"mode":"loop","points":[
      {"x":0,"y":400,"z":0},{"x":1e20,"y":100,"z":0},{"x":-3e38,"y":3e38,"z":3e38}]}})");
  const walking::PackageWalk planned = only(*world_, actor);
  ASSERT_EQ(planned.walkers.size(), 1u);
  EXPECT_EQ(planned.walkers[0].walk.entries()[1].point.y, 100.0f) << "outside the world a point keeps its height";
  for (double seconds : {0.0, 1e6, 2e18, 1e30}) {
    std::vector<walking::WalkerPose> poses;
    std::string error;
    ASSERT_TRUE(walking::poses_at(planned, seconds, world_->ground_below(), poses, error)) << error;
    EXPECT_TRUE(std::isfinite(poses[0].position.x) && std::isfinite(poses[0].position.z)) << "at " << seconds << " s";
    EXPECT_TRUE(planned.walkers[0].walk.live_route(poses[0]).is_object());
  }
}

// Which actors may walk is settled by walking::plan_package (tests/walking/walk_test.cpp); here the world
// walks what it plans.
TEST_F(Walking, TheWorldWalksOnlyActorsThatMayWalkARouteAndOnlyOnTheManualClock) {
  const Value document = parsed(R"({"actors":[
      {"id":"walker","kind":"mod","path":{"points":[{"x":0,"y":100,"z":0},{"x":100,"y":100,"z":0}]}},
      {"id":"seated","actor":"resident","parameters":{"resident":"ym1"},"path":{"points":[{"x":0,"y":100,"z":0}]}}]})");
  int walking = -1;
  std::string error;
  ASSERT_TRUE(world_->load("pkg", document, walking, error)) << error;
  EXPECT_EQ(walking, 1);
  for (const char* id : {"seated", "nobody"}) EXPECT_TRUE(world_->live_route("pkg", id).is_null()) << id;
  EXPECT_TRUE(world_->live_route("other", "walker").is_null());

  double time = 0;
  ASSERT_TRUE(world_->advance(1, time, error));
  EXPECT_EQ(world_->live_route("pkg", "walker").get("position").get("x").number, 60);
  ASSERT_TRUE(world_->load("pkg", document, walking, error));
  EXPECT_EQ(world_->live_route("pkg", "walker").get("position").get("x").number, 0) << "reloading restarts";

  EXPECT_FALSE(world_->load("pkg", parsed(R"({"actors":{}})"), walking, error));
  EXPECT_EQ(error, "the \"actors\" of \"pkg\" is not an array");
  auto real = GameWorld::island(Clock::Real, error);
  ASSERT_TRUE(real) << error;
  EXPECT_FALSE(real->advance(1, time, error));
  EXPECT_EQ(error, "\"advance\" needs the manual clock; this game runs on the real clock");
}

}  // namespace
}  // namespace game
