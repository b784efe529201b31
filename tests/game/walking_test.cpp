#include "game/walking.h"

#include <gtest/gtest.h>

#include <cmath>

#include "tests/game/game_test_helpers.h"

namespace game {
namespace {

using mods::json::Value;

// A model walking 50 a second over three points of the island's flat town ground: east 100, then north 100.
std::string model(const std::string& path_extra) {
  return R"({"id":"m","kind":"mod","path":{"speed":50,"points":[{"x":0,"y":100,"z":0},{"x":100,"y":100,"z":0},)"
         R"({"x":100,"y":100,"z":100}])" + path_extra + "}}";
}

// Where a walker stands at a moment: horizontal place (its height is the town's 100), state, the number of
// the point it heads for, and heading in degrees.
struct Expected {
  double seconds;
  float x, z;
  const char* state;
  int target;
  float heading;
};

using Walking = OnTheIsland;

TEST_F(Walking, EveryModeFollowsItsRouteOverTime) {
  struct WalkCase {
    const char* what;
    std::string actor;
    std::vector<Expected> moments;
  };
  const float diagonal = 100 - 25 / std::sqrt(2.0f);  // 25 along the way back from (100, 100) to (0, 0)
  const WalkCase cases[] = {
      {.what = "once arrives and stops",
       .actor = model(R"(,"mode":"once")"),
       .moments = {
           {.seconds = 1, .x = 50, .z = 0, .state = "walking", .target = 2, .heading = 90},
           {.seconds = 3, .x = 100, .z = 50, .state = "walking", .target = 3, .heading = 0},
           {.seconds = 4, .x = 100, .z = 100, .state = "arrived", .target = 3, .heading = 0},
           {.seconds = 60, .x = 100, .z = 100, .state = "arrived", .target = 3, .heading = 0},
       }},
      {.what = "loop goes round to point 1",
       .actor = model(R"(,"mode":"loop")"),
       .moments = {
           {.seconds = 4.5, .x = diagonal, .z = diagonal, .state = "walking", .target = 1, .heading = 225},
           {.seconds = (200 + 100 * std::sqrt(2.0)) / 50 + 1,
            .x = 50,
            .z = 0,
            .state = "walking",
            .target = 2,
            .heading = 90},
       }},
      {.what = "back and forth turns at the ends",
       .actor = model(R"(,"mode":"back_and_forth")"),
       .moments = {
           {.seconds = 5, .x = 100, .z = 50, .state = "walking", .target = 2, .heading = 180},
           {.seconds = 7, .x = 50, .z = 0, .state = "walking", .target = 1, .heading = 270},
           {.seconds = 9, .x = 50, .z = 0, .state = "walking", .target = 2, .heading = 90},
       }},
      {.what = "a numeric pause stands that long at each point",
       .actor = model(R"(,"mode":"once","pauses":1.5)"),
       .moments = {
           {.seconds = 2.5, .x = 100, .z = 0, .state = "pausing", .target = 3, .heading = 90},
           {.seconds = 4, .x = 100, .z = 25, .state = "walking", .target = 3, .heading = 0},
           {.seconds = 6, .x = 100, .z = 100, .state = "arrived", .target = 3, .heading = 0},
       }},
      {.what = "pauses true stands the default time",
       .actor = model(R"(,"mode":"once","pauses":true)"),
       .moments = {
           {.seconds = 3.9, .x = 100, .z = 0, .state = "pausing", .target = 3, .heading = 90},
           {.seconds = 4.5, .x = 100, .z = 25, .state = "walking", .target = 3, .heading = 0},
       }},
      {.what = "pauses false walks on",
       .actor = model(R"(,"mode":"once","pauses":false)"),
       .moments = {
           {.seconds = 2.5, .x = 100, .z = 25, .state = "walking", .target = 3, .heading = 0},
       }},
      {.what = "a model without a speed walks at 60",
       .actor = R"({"id":"m","kind":"mod","path":{"points":[{"x":0,"y":100,"z":0},{"x":0,"y":100,"z":600}]}})",
       .moments = {
           {.seconds = 5, .x = 0, .z = 300, .state = "walking", .target = 2, .heading = 0},
       }},
      {.what = "a patroller walks back and forth at patrol pace whatever the mode",
       .actor = R"({"id":"b","actor":"bokoblin","position":{"x":0,"y":100,"z":0},
           "path":{"mode":"once","points":[{"x":0,"y":100,"z":0},{"x":80,"y":100,"z":0}]}})",
       .moments = {
           {.seconds = 1, .x = 40, .z = 0, .state = "walking", .target = 2, .heading = 90},
           {.seconds = 3, .x = 40, .z = 0, .state = "walking", .target = 1, .heading = 270},
           {.seconds = 5, .x = 40, .z = 0, .state = "walking", .target = 2, .heading = 90},
       }},
      // um2 walks at its type's own pace, 72 a second, not the default 50.
      {.what = "a resident walks from its position first at its type's pace",
       .actor = R"({"id":"r","actor":"resident","parameters":{"resident":"um2"},"position":{"x":-144,"y":100,"z":0},
           "path":{"points":[{"x":0,"y":100,"z":0},{"x":0,"y":100,"z":720}]}})",
       .moments = {
           {.seconds = 1, .x = -72, .z = 0, .state = "walking", .target = 1, .heading = 90},
           {.seconds = 3, .x = 0, .z = 72, .state = "walking", .target = 2, .heading = 0},
           {.seconds = 20, .x = 0, .z = 720, .state = "arrived", .target = 2, .heading = 0},
       }},
  };
  const auto near = [](float a, float b) { return std::abs(a - b) < 1e-3f; };
  for (const WalkCase& c : cases) {
    std::optional<Walk> walk = Walk::plan(parsed(c.actor), world_->ground());
    ASSERT_TRUE(walk) << c.what;
    for (const Expected& e : c.moments) {
      const WalkerPose p = walk->pose(e.seconds, world_->ground());
      EXPECT_TRUE(near(p.position.x, e.x) && near(p.position.z, e.z) && near(p.heading, e.heading) &&
                  p.position.y == 100.0f && p.target == e.target && walk_state_name(p.state) == std::string(e.state))
          << c.what << " at " << e.seconds << " s: (" << p.position.x << ", " << p.position.y << ", "
          << p.position.z << ") " << walk_state_name(p.state) << " to " << p.target << " heading " << p.heading;
    }
  }
}

TEST_F(Walking, PointsStandOnTheGroundBelowThemWhereThereIsGround) {
  const Value actor = parsed(R"({"id":"m","kind":"mod","path":{"points":[
      {"x":0,"y":400,"z":0},{"x":-950,"y":250,"z":0},{"x":0,"y":100,"z":-3000}]}})");
  std::optional<Walk> walk = Walk::plan(actor, world_->ground());
  ASSERT_TRUE(walk);
  std::vector<float> heights;
  for (const story_notebook::WorldPoint& point : walk->points()) heights.push_back(point.y);
  // High above the square: the plateau; just below the wall's top: its top; over open sea: kept.
  EXPECT_EQ(heights, (std::vector<float>{100, 300, 100}));
}

// Regression: a point at x = 1e20 aborted the game inside the ray caster while the route was planned.
TEST_F(Walking, RoutesFarOutsideTheWorldWalkWithoutGround) {
  const Value actor = parsed(R"({"id":"m","kind":"mod","path":{"mode":"loop","points":[
      {"x":0,"y":400,"z":0},{"x":1e20,"y":100,"z":0},{"x":-3e38,"y":3e38,"z":3e38}]}})");
  std::optional<Walk> walk = Walk::plan(actor, world_->ground());
  ASSERT_TRUE(walk);
  EXPECT_EQ(walk->points()[1].y, 100.0f) << "outside the world a point keeps its height";
  for (double seconds : {0.0, 1e6, 2e18, 1e30}) {
    const WalkerPose p = walk->pose(seconds, world_->ground());
    EXPECT_TRUE(std::isfinite(p.position.x) && std::isfinite(p.position.z)) << "at " << seconds << " s";
    EXPECT_TRUE(walk->live_route(seconds, world_->ground()).is_object());
  }
}

TEST_F(Walking, TheWorldWalksOnlyActorsThatMayWalkARouteAndOnlyOnTheManualClock) {
  const Value document = parsed(R"({"actors":[
      {"id":"walker","kind":"mod","path":{"points":[{"x":0,"y":100,"z":0},{"x":100,"y":100,"z":0}]}},
      {"id":"seated","actor":"resident","parameters":{"resident":"ym1"},"path":{"points":[{"x":0,"y":100,"z":0}]}},
      {"id":"barrel","actor":"barrel","path":{"points":[{"x":0,"y":100,"z":0}]}},
      {"id":"still","kind":"mod"},
      {"id":"broken","kind":"mod","path":{"points":[{"x":"a","y":100,"z":0}]}}]})");
  int walking = -1;
  std::string error;
  ASSERT_TRUE(world_->load("pkg", document, walking, error)) << error;
  EXPECT_EQ(walking, 1);
  for (const char* id : {"seated", "barrel", "still", "broken", "nobody"})
    EXPECT_TRUE(world_->live_route("pkg", id).is_null()) << id;
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
