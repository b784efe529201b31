// bridge-check's readers of answers: every shape the document allows is taken, and each way a bridge
// can get it wrong is named; the distance that decides whether a walker is on its route.
#include "bridge_check/answer_checks.h"

#include <gtest/gtest.h>

#include "json_text/json_text.h"
#include "tests/support/json_helpers.h"

namespace host::bridge_check {
namespace {

using mods::json::Value;

using support::parsed;

TEST(BridgeCheckAnswers, GreetingsAreTakenOrNamedWrong) {
  struct Row {
    const char* answer;
    const char* expected;  // "" when taken
  };
  // clang-format off
  const Row rows[] = {
      {.answer = R"({"protocol":1,"world":"toy"})", .expected = ""},
      {.answer = R"({"protocol":1,"world":"toy","bounds":{"low":{"x":-1,"y":0,"z":-1},"high":{"x":1,"y":0,"z":1}}})", .expected = ""},
      {.answer = R"({"protocol":2,"world":"toy"})", .expected = "\"protocol\": 1"},
      {.answer = R"({"world":"toy"})", .expected = "\"protocol\": 1"},
      {.answer = R"({"protocol":1,"world":""})", .expected = "a non-empty string \"world\""},
      {.answer = R"({"protocol":1,"world":7})", .expected = "a non-empty string \"world\""},
      {.answer = R"({"protocol":1,"world":"toy","bounds":null})", .expected = "\"bounds\" with points \"low\" and \"high\""},
      {.answer = R"({"protocol":1,"world":"toy","bounds":{"low":{"x":-1,"y":0,"z":-1}}})", .expected = "\"bounds\" with points \"low\" and \"high\""},
      {.answer = R"({"protocol":1,"world":"toy","bounds":{"low":{"x":2,"y":0,"z":-1},"high":{"x":1,"y":0,"z":1}}})", .expected = "\"bounds\" whose \"low\" is nowhere above \"high\""},
  };
  // clang-format on
  for (const Row& row : rows) {
    Greeting greeting;
    std::string error;
    EXPECT_EQ(read_greeting(parsed(row.answer), greeting, error), *row.expected == '\0') << row.answer;
    EXPECT_EQ(error, row.expected) << row.answer;
  }
}

TEST(BridgeCheckAnswers, HeightsNeedOneEntryPerProbeAndZeroWhereNotFound) {
  struct Row {
    const char* answer;
    std::size_t count;
    bool taken;
  };
  // clang-format off
  const Row rows[] = {
      {.answer = R"({"heights":[],"found":[]})", .count = 0, .taken = true},
      {.answer = R"({"heights":[100,0],"found":[1,0]})", .count = 2, .taken = true},
      {.answer = R"({"heights":[100,0],"found":[true,false]})", .count = 2, .taken = true},
      {.answer = R"({"heights":[100],"found":[1]})", .count = 2, .taken = false},
      {.answer = R"({"heights":[100,0],"found":[1]})", .count = 2, .taken = false},
      {.answer = R"({"heights":[100,5],"found":[1,0]})", .count = 2, .taken = false},
      {.answer = R"({"heights":[100,0],"found":[1,2]})", .count = 2, .taken = false},
      {.answer = R"({"heights":[100,0],"found":[1,0.5]})", .count = 2, .taken = false},
      {.answer = R"({"heights":["100",0],"found":[1,0]})", .count = 2, .taken = false},
      {.answer = R"({"found":[1,0]})", .count = 2, .taken = false},
  };
  // clang-format on
  for (const Row& row : rows) {
    std::vector<float> heights;
    std::vector<bool> found;
    std::string error;
    EXPECT_EQ(read_heights(parsed(row.answer), row.count, heights, found, error), row.taken) << row.answer;
    if (row.taken) { EXPECT_EQ(heights.size(), row.count); }
  }
}

TEST(BridgeCheckAnswers, LiveRoutesKeepTheSentXAndZAndNameEachMemberWrong) {
  const SentRoute sent{.actor = "w", .points = {{0, 0, 0}, {300, 0, 0}}};
  const std::string good_tail =
      R"("mode":"once","speed":48,"position":{"x":10,"y":0,"z":0},"heading":90,"target":2,"state":"walking"})";
  struct Row {
    std::string route;
    bool taken;
  };
  // clang-format off
  const Row rows[] = {
      {.route = R"({"points":[{"x":0,"y":5,"z":0},{"x":300,"y":0,"z":0}],)" + good_tail, .taken = true},
      {.route = R"({"points":[{"x":0,"y":0,"z":0}],)" + good_tail, .taken = false},
      {.route = R"({"points":[{"x":0,"y":0,"z":1},{"x":300,"y":0,"z":0}],)" + good_tail, .taken = false},
      {.route = R"({"points":[{"x":0,"y":0,"z":0},{"x":300,"y":0,"z":0}],"mode":"circle","speed":48,"position":{"x":10,"y":0,"z":0},"heading":90,"target":2,"state":"walking"})", .taken = false},
      {.route = R"({"points":[{"x":0,"y":0,"z":0},{"x":300,"y":0,"z":0}],"mode":"once","speed":0,"position":{"x":10,"y":0,"z":0},"heading":90,"target":2,"state":"walking"})", .taken = false},
      {.route = R"({"points":[{"x":0,"y":0,"z":0},{"x":300,"y":0,"z":0}],"mode":"once","speed":48,"position":{"x":10,"y":0,"z":0},"heading":360,"target":2,"state":"walking"})", .taken = false},
      {.route = R"({"points":[{"x":0,"y":0,"z":0},{"x":300,"y":0,"z":0}],"mode":"once","speed":48,"position":{"x":10,"y":0,"z":0},"heading":90,"target":0,"state":"walking"})", .taken = false},
      {.route = R"({"points":[{"x":0,"y":0,"z":0},{"x":300,"y":0,"z":0}],"mode":"once","speed":48,"position":{"x":10,"y":0,"z":0},"heading":90,"target":3,"state":"walking"})", .taken = false},
      {.route = R"({"points":[{"x":0,"y":0,"z":0},{"x":300,"y":0,"z":0}],"mode":"once","speed":48,"heading":90,"target":2,"state":"sleeping"})", .taken = false},
      {.route = "null", .taken = false},
  };
  // clang-format on
  for (const Row& row : rows) {
    std::vector<WorldPoint> points;
    WorldPoint position;
    std::string error;
    EXPECT_EQ(read_live_route(parsed(row.route), sent, points, position, error), row.taken) << row.route;
  }
}

TEST(BridgeCheckAnswers, LiveActorsListOnlyWalkersWithPointsNumberedFromOne) {
  const SentRoute sent{.actor = "w", .points = {{0, 0, 0}, {300, 0, 0}}};
  struct Row {
    const char* answer;
    bool taken;
  };
  // clang-format off
  const Row rows[] = {
      {.answer = R"({"time":1.5,"actors":[{"id":"w","position":{"x":1,"y":0,"z":0},"point":2}]})", .taken = true},
      {.answer = R"({"time":1.5,"actors":[{"id":"w","position":{"x":1,"y":0,"z":0},"point":0}]})", .taken = false},
      {.answer = R"({"time":1.5,"actors":[{"id":"w","position":{"x":1,"y":0,"z":0},"point":1.5}]})", .taken = false},
      {.answer = R"({"time":1.5,"actors":[{"id":"still","position":{"x":1,"y":0,"z":0},"point":1}]})", .taken = false},
      {.answer = R"({"time":1.5,"actors":[]})", .taken = false},
      {.answer = R"({"actors":[{"id":"w","position":{"x":1,"y":0,"z":0},"point":1}]})", .taken = false},
  };
  // clang-format on
  for (const Row& row : rows) {
    WorldPoint position;
    double time = 0;
    std::string error;
    EXPECT_EQ(read_live_actors(parsed(row.answer), {"w"}, sent, position, time, error), row.taken) << row.answer;
  }
}

TEST(BridgeCheckAnswers, DistanceFromRouteIsHorizontalAndIncludesTheWayBack) {
  const std::vector<WorldPoint> corner = {{0, 0, 0}, {300, 0, 0}, {300, 0, 300}};
  struct Row {
    WorldPoint position;
    double distance;
  };
  // clang-format off
  const Row rows[] = {
      {.position = {150, 0, 0}, .distance = 0},
      {.position = {150, 80, 0}, .distance = 0},     // height is the ground rule's business
      {.position = {150, 0, -10}, .distance = 10},
      {.position = {310, 0, 150}, .distance = 10},
      {.position = {150, 0, 150}, .distance = 0},    // the leg from the last point back to the first
      {.position = {-30, 0, -40}, .distance = 50},   // beyond the first point
  };
  // clang-format on
  for (const Row& row : rows) {
    EXPECT_NEAR(distance_from_route(row.position, corner), row.distance, 1e-4)
        << row.position.x << ", " << row.position.z;
  }
}

}  // namespace
}  // namespace host::bridge_check
