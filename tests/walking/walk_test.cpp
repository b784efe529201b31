#include <gtest/gtest.h>

#include <cmath>

#include "json_text/json_text.h"
#include "tests/support/json_helpers.h"
#include "walking/package_walk.h"

namespace walking {
namespace {

using mods::json::Value;

using support::parsed;

// The one walker of a document holding only `actor`, planned without ground.
PackageWalk only(const std::string& actor) { return plan_package(parsed(R"({"actors":[)" + actor + "]}")); }

// A model walking 50 a second over three points: east 100, then north 100.
std::string model(const std::string& path_extra) {
  return R"({"id":"m","kind":"mod","path":{"speed":50,"points":[{"x":0,"y":100,"z":0},{"x":100,"y":100,"z":0},)"
         R"({"x":100,"y":100,"z":100}])" +
         path_extra + "}}";
}

// A Moblin placed at (0, 0) patrolling (100, 0) and (100, 100) at 40 a second.
std::string patroller(const std::string& mode) {
  return R"({"id":"p","actor":"moblin","position":{"x":0,"y":100,"z":0},"path":{"mode":")" + mode +
         R"(","points":[{"x":100,"y":100,"z":0},{"x":100,"y":100,"z":100}]}})";
}

// Where a walker stands at a moment: horizontal place (its height stays 100), state, the number of the
// point it heads for, and heading in degrees.
struct Expected {
  double seconds;
  float x, z;
  const char* state;
  int target;
  float heading;
};

TEST(Walk, EveryModeWalksTheRouteChecksWalk) {
  struct WalkCase {
    const char* what;
    std::string actor;
    std::vector<Expected> moments;
  };
  const float diagonal = 100 - 25 / std::sqrt(2.0f);  // 25 along the way back from (100, 100) to (0, 0)
  const double round_trip = (200 + 100 * std::sqrt(2.0)) / 50;
  // clang-format off
  const WalkCase cases[] = {
      {.what = "once arrives and stops",
       .actor = model(R"(,"mode":"once")"),
       .moments = {
           {.seconds = 1, .x = 50, .z = 0, .state = "walking", .target = 2, .heading = 90},
           {.seconds = 3, .x = 100, .z = 50, .state = "walking", .target = 3, .heading = 0},
           {.seconds = 4, .x = 100, .z = 100, .state = "arrived", .target = 3, .heading = 0},
           {.seconds = 60, .x = 100, .z = 100, .state = "arrived", .target = 3, .heading = 0},
       }},
      {.what = "a model's loop closes from its last point to point 1",
       .actor = model(R"(,"mode":"loop")"),
       .moments = {
           {.seconds = 4.5, .x = diagonal, .z = diagonal, .state = "walking", .target = 1, .heading = 225},
           {.seconds = round_trip + 1, .x = 50, .z = 0, .state = "walking", .target = 2, .heading = 90},
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
      // um2 walks at its type's own pace, 72 a second, not the default 50.
      {.what = "a resident walks from its position first at its type's pace",
       .actor = R"({"id":"r","actor":"resident","parameters":{"resident":"um2"},"position":{"x":-144,"y":100,"z":0},
           "path":{"points":[{"x":0,"y":100,"z":0},{"x":0,"y":100,"z":720}]}})",
       .moments = {
           {.seconds = 1, .x = -72, .z = 0, .state = "walking", .target = 1, .heading = 90},
           {.seconds = 3, .x = 0, .z = 72, .state = "walking", .target = 2, .heading = 0},
           {.seconds = 20, .x = 0, .z = 720, .state = "arrived", .target = 2, .heading = 0},
       }},
      // uo3 walks 60 a second.
      {.what = "a looping resident closes back to its own position, pausing there too",
       .actor = R"({"id":"r","actor":"resident","parameters":{"resident":"uo3"},"position":{"x":0,"y":100,"z":0},
           "path":{"mode":"loop","pauses":1,"points":[{"x":120,"y":100,"z":0},{"x":120,"y":100,"z":120}]}})",
       .moments = {
           {.seconds = 1, .x = 60, .z = 0, .state = "walking", .target = 1, .heading = 90},
           {.seconds = 2.5, .x = 120, .z = 0, .state = "pausing", .target = 2, .heading = 90},
           {.seconds = 5.5, .x = 120, .z = 120, .state = "pausing", .target = 0, .heading = 0},
           {.seconds = 5 + 2 * std::sqrt(2.0), .x = 60 / std::sqrt(2.0f), .z = 60 / std::sqrt(2.0f),
            .state = "walking", .target = 0, .heading = 225},
           {.seconds = 6.5 + 2 * std::sqrt(2.0), .x = 0, .z = 0, .state = "pausing", .target = 1, .heading = 225},
           {.seconds = 8 + 2 * std::sqrt(2.0), .x = 60, .z = 0, .state = "walking", .target = 1, .heading = 90},
       }},
      {.what = "a patroller walks its mode as written: once",
       .actor = patroller("once"),
       .moments = {
           {.seconds = 1, .x = 40, .z = 0, .state = "walking", .target = 1, .heading = 90},
           {.seconds = 3, .x = 100, .z = 20, .state = "walking", .target = 2, .heading = 0},
           {.seconds = 10, .x = 100, .z = 100, .state = "arrived", .target = 2, .heading = 0},
       }},
      {.what = "a patroller walks its mode as written: loop, back to its position",
       .actor = patroller("loop"),
       .moments = {
           {.seconds = 5.5, .x = 100 - 20 / std::sqrt(2.0f), .z = 100 - 20 / std::sqrt(2.0f), .state = "walking",
            .target = 0, .heading = 225},
       }},
      {.what = "a patroller walks its mode as written: back and forth from its position",
       .actor = patroller("back_and_forth"),
       .moments = {
           {.seconds = 5.5, .x = 100, .z = 80, .state = "walking", .target = 1, .heading = 180},
           {.seconds = 8, .x = 80, .z = 0, .state = "walking", .target = 0, .heading = 270},
           {.seconds = 10.5, .x = 20, .z = 0, .state = "walking", .target = 1, .heading = 90},
       }},
      {.what = "a loop whose places all stand on one spot arrives there",
       .actor = R"({"id":"r","actor":"resident","position":{"x":5,"y":100,"z":5},"path":{"mode":"loop","pauses":1,
           "points":[{"x":5,"y":100,"z":5}]}})",
       .moments = {
           {.seconds = 0.5, .x = 5, .z = 5, .state = "arrived", .target = 1, .heading = 0},
           {.seconds = 100, .x = 5, .z = 5, .state = "arrived", .target = 1, .heading = 0},
       }},
  };
  // clang-format on
  const auto near = [](float a, float b) { return std::abs(a - b) < 1e-3f; };
  for (const WalkCase& c : cases) {
    const PackageWalk planned = only(c.actor);
    ASSERT_EQ(planned.walkers.size(), 1u) << c.what;
    for (const Expected& e : c.moments) {
      const WalkerPose p = planned.walkers[0].walk.pose(e.seconds);
      EXPECT_TRUE(near(p.position.x, e.x) && near(p.position.z, e.z) && near(p.heading, e.heading) &&
                  p.position.y == 100.0f && p.target == e.target && motion_name(p.state) == std::string(e.state))
          << c.what << " at " << e.seconds << " s: (" << p.position.x << ", " << p.position.y << ", " << p.position.z
          << ") " << motion_name(p.state) << " to " << p.target << " heading " << p.heading;
    }
  }
}

TEST(Walk, APackageSplitsIntoWalkersAndStandingActorsInDocumentOrder) {
  const Value document = parsed(R"({"actors":[
      {"id":"seated","actor":"resident","parameters":{"resident":"ym1"},"position":{"x":1,"y":2,"z":3},
       "path":{"points":[{"x":0,"y":100,"z":0}]}},
      {"id":"walker","kind":"mod","path":{"points":[{"x":0,"y":100,"z":0},{"x":100,"y":100,"z":0}]}},
      {"id":"chest","actor":"chest","position":{"x":4,"y":5,"z":6}},
      {"id":"nowhere","actor":"sign"},
      {"id":"broken","kind":"mod","position":{"x":7,"y":8,"z":9},"path":{"points":[{"x":"a","y":100,"z":0}]}},
      {"actor":"resident","position":{"x":0,"y":0,"z":0},"path":{"points":[{"x":0,"y":100,"z":0}]}},
      {"id":"second","actor":"resident","position":{"x":0,"y":100,"z":0},"path":{"points":[{"x":9,"y":100,"z":0}]}}]})");
  const PackageWalk planned = plan_package(document);
  ASSERT_EQ(planned.walkers.size(), 2u);
  EXPECT_EQ(planned.walkers[0].id, "walker");
  EXPECT_EQ(planned.walkers[0].actor, 1u);
  EXPECT_EQ(planned.walkers[1].id, "second");
  EXPECT_EQ(planned.walkers[1].actor, 6u);
  const std::vector<StandingActor> standing = standing_actors(document);
  ASSERT_EQ(standing.size(), 3u);
  EXPECT_EQ(standing[0].id, "seated");
  EXPECT_EQ(standing[0].z, 3);
  EXPECT_EQ(standing[1].id, "chest");
  EXPECT_EQ(standing[2].id, "broken") << "a model whose route the game cannot walk still stands at its position";
}

TEST(Walk, ATrackEndsOnArrivalOrAtTheHorizon) {
  struct TrackCase {
    const char* what;
    std::string actor;
    double horizon;
    std::vector<TrackKey> keys;
  };
  // clang-format off
  const TrackCase cases[] = {
      {.what = "once: keys at the walk's places, the last on arrival",
       .actor = model(R"(,"mode":"once","pauses":1)"),
       .horizon = 60,
       .keys = {{.seconds = 0, .x = 0, .y = 100, .z = 0, .point = 2, .motion = Motion::Walking},
                {.seconds = 2, .x = 100, .y = 100, .z = 0, .point = 3, .motion = Motion::Pausing},
                {.seconds = 3, .x = 100, .y = 100, .z = 0, .point = 3, .motion = Motion::Walking},
                {.seconds = 5, .x = 100, .y = 100, .z = 100, .point = 3, .motion = Motion::Arrived}}},
      {.what = "still on its way: the last key where it is at the horizon",
       .actor = model(R"(,"mode":"back_and_forth")"),
       .horizon = 5,
       .keys = {{.seconds = 0, .x = 0, .y = 100, .z = 0, .point = 2, .motion = Motion::Walking},
                {.seconds = 2, .x = 100, .y = 100, .z = 0, .point = 3, .motion = Motion::Walking},
                {.seconds = 4, .x = 100, .y = 100, .z = 100, .point = 2, .motion = Motion::Walking},
                {.seconds = 5, .x = 100, .y = 100, .z = 50, .point = 2, .motion = Motion::Walking}}},
  };
  // clang-format on
  for (const TrackCase& c : cases) {
    std::vector<WalkerTrack> tracks;
    std::string error;
    ASSERT_TRUE(walking::tracks(parsed(R"({"actors":[)" + c.actor + "]}"), GroundBelow(), c.horizon, tracks, error))
        << error;
    ASSERT_EQ(tracks.size(), 1u) << c.what;
    ASSERT_EQ(tracks[0].keys.size(), c.keys.size()) << c.what;
    for (std::size_t k = 0; k < c.keys.size(); ++k) {
      const TrackKey& got = tracks[0].keys[k];
      const TrackKey& want = c.keys[k];
      EXPECT_TRUE(std::abs(got.seconds - want.seconds) < 1e-9 && got.x == want.x && got.y == want.y &&
                  got.z == want.z && got.point == want.point && got.motion == want.motion)
          << c.what << ", key " << k << ": " << got.seconds << " s (" << got.x << ", " << got.y << ", " << got.z << ") "
          << got.point << " " << motion_name(got.motion);
    }
  }
}

// A loop round points a tenth of a unit apart needs a key every two milliseconds.
TEST(Walk, TracksNeedingTooManyKeysAreRefused) {
  const std::string tiny = R"({"id":"t","kind":"mod","path":{"mode":"loop","speed":50,
      "points":[{"x":0,"y":0,"z":0},{"x":0.1,"y":0,"z":0}]}})";
  std::vector<WalkerTrack> tracks;
  std::string error;
  EXPECT_TRUE(walking::tracks(parsed(R"({"actors":[)" + tiny + "]}"), GroundBelow(), 1000, tracks, error)) << error;
  EXPECT_FALSE(walking::tracks(parsed(R"({"actors":[)" + tiny + "]}"), GroundBelow(), 10001, tracks, error));
  EXPECT_EQ(error, "the walks need more than 5000000 keys within 10001 s");
}

}  // namespace
}  // namespace walking
