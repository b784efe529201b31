// check_route: sampling, the probes the game is asked with, the four problems and their boundaries,
// segment numbering, and which failure wins.
#include "editor/checks/route_check.h"

#include <gtest/gtest.h>

#include <cmath>

#include "tests/support/windfall_fixture.h"

namespace {

using mods::json::Value;
using story_notebook::WorldPoint;
using namespace support;  // the terse value builders and the fixture

class RouteCheck : public support::WindfallTest {
 protected:
  RouteCheck() { connect_game(); }

  // Gives actor `index` of the package a route; returns its id.
  std::string route(std::size_t index, std::vector<Value> points, const std::string& mode = "once") {
    Value& actor = actor_at(index);
    actor["path"] = obj({{"points", arr(std::move(points))}, {"mode", str(mode)}});
    return actor.get("id").str;
  }
  // Ground heights in probe order, one per call.
  void grounds(std::vector<float> heights) {
    auto next = std::make_shared<std::size_t>(0);
    game.ground = [heights, next](const WorldPoint&, float& height) {
      height = heights[(*next)++ % heights.size()];
      return true;
    };
  }
  Value segments(const std::string& id) {
    const auto answer = session.run("check_route", params(id));
    EXPECT_ANSWERED(answer);
    return answer.result.get("segments");
  }
};

TEST_F(RouteCheck, SegmentsAreSampledEvery25UnitsHorizontallyWithBothEnds) {
  struct Case {
    Value to;
    std::size_t samples;
  };
  // clang-format off
  const Case cases[] = {
      {.to = point(60, 0, 0), .samples = 4},
      {.to = point(50, 0, 0), .samples = 3},
      {.to = point(0, 0, 0), .samples = 2},
      {.to = point(30, 1000, 0), .samples = 3},
      {.to = point(30, 0, 40), .samples = 3},
      {.to = point(0, 0, 50.01), .samples = 4},
  };
  // clang-format on
  for (const Case& c : cases) {
    game.batch_probes.clear();
    const std::string id = route(3, {point(0, 0, 0), c.to});  // a model: starts on its first point
    EXPECT_EQ(segments(id).items.size(), 1u);
    ASSERT_EQ(game.batch_probes.size(), 1u);
    EXPECT_EQ(game.batch_probes[0].size(), c.samples) << c.to.get("x").number << "," << c.to.get("z").number;
  }
}

TEST_F(RouteCheck, ProbesStandOneHundredAboveTheRouteLine) {
  route(3, {point(0.5, 10, -3), point(60.5, 13, 27)});
  segments("statue");
  const std::vector<WorldPoint>& probes = game.batch_probes.at(0);
  ASSERT_EQ(probes.size(), 4u);  // hypot(60, 30) = 67.08: three intervals
  for (std::size_t j = 0; j < probes.size(); ++j) {
    const double t = static_cast<double>(j) / 3.0;
    EXPECT_EQ(probes[j].x, static_cast<float>(0.5 + t * 60.0f));
    EXPECT_EQ(probes[j].y, static_cast<float>(10.0 + t * 3.0f) + 100.0f);
    EXPECT_EQ(probes[j].z, static_cast<float>(-3.0 + t * 30.0f));
  }
}

TEST_F(RouteCheck, StepsAndOffsetsAtTheirLimitsPassAndJustBeyondFail) {
  // Grounds below the three samples of a 50-unit segment at height 0; the problem ("" for none) and its x.
  struct Case {
    std::vector<float> grounds;
    const char* problem;
    double at_x;
  };
  // clang-format off
  const Case cases[] = {
      {.grounds = {0, 50, 100}, .problem = "", .at_x = 0},
      {.grounds = {0, 50.5f, 50.5f}, .problem = "a step up too high (a wall)", .at_x = 25},
      {.grounds = {0, -50.5f, 0}, .problem = "a drop", .at_x = 25},
      {.grounds = {150, 150, 150}, .problem = "", .at_x = 0},
      {.grounds = {-150.5f, 0, 0}, .problem = "the ground is far from the route's height", .at_x = 0},
      {.grounds = {100, 160, 160}, .problem = "a step up too high (a wall)", .at_x = 25},
      {.grounds = {100, 140, 150.5f}, .problem = "the ground is far from the route's height", .at_x = 50},
  };
  // clang-format on
  route(3, {point(0, 0, 0), point(50, 0, 0)});
  for (const Case& c : cases) {
    grounds(c.grounds);
    const Value entry = segments("statue").items.at(0);
    Value expected = obj({{"from", num(1)}, {"to", num(2)}, {"ok", Value::of(*c.problem == '\0')}});
    if (*c.problem != '\0') expected["at"] = point(c.at_x, 0, 0), expected["problem"] = str(c.problem);
    EXPECT_EQ(entry, expected);
  }
}

TEST_F(RouteCheck, NoGroundWinsAndEachSegmentStartsAfresh) {
  route(3, {point(0, 0, 0), point(25, 0, 0), point(50, 0, 0)});
  auto calls = std::make_shared<int>(0);
  // Samples: segment 1 at x 0, 25; segment 2 at x 25, 50. The second sample has no ground.
  game.ground = [calls](const WorldPoint&, float& height) {
    const int k = (*calls)++;
    height = k == 2 ? 120.0f : 0.0f;
    return k != 1;
  };
  const Value list = segments("statue");
  EXPECT_EQ(list.items.at(0).get("problem"), str("no ground"));
  EXPECT_EQ(list.items.at(1).get("ok"), Value::of(false));
  EXPECT_EQ(list.items.at(1).get("problem"), str("a drop"))
      << "segment 2 starts at 120 without comparing it with segment 1's ground, then drops to 0";
  EXPECT_EQ(list.items.at(1).get("at"), point(50, 0, 0));
}

TEST_F(RouteCheck, SegmentsAreNumberedAsTheRouteRecordNumbersItsPoints) {
  // Actor 3 is a model (its walk starts on its first point), actor 0 a resident (it starts from point 0,
  // its own position).
  struct Case {
    std::size_t actor;
    std::vector<Value> points;
    const char* mode;
    std::vector<std::pair<int, int>> segments;  // from, to
  };
  // clang-format off
  const std::vector<Case> cases = {
      {.actor = 3, .points = {point(0, 0, 0)}, .mode = "once", .segments = {}},
      {.actor = 0, .points = {point(10, 0, 0)}, .mode = "once", .segments = {{0, 1}}},
      {.actor = 3, .points = {point(0, 0, 0)}, .mode = "loop", .segments = {}},
      {.actor = 3, .points = {point(0, 0, 0), point(10, 0, 0), point(10, 0, 10)}, .mode = "loop", .segments = {{1, 2}, {2, 3}, {3, 1}}},
      {.actor = 0, .points = {point(10, 0, 0), point(10, 0, 10)}, .mode = "loop", .segments = {{0, 1}, {1, 2}, {2, 0}}},
      {.actor = 0, .points = {point(10, 0, 0), point(10, 0, 10)}, .mode = "back_and_forth", .segments = {{0, 1}, {1, 2}}},
  };
  // clang-format on
  for (const Case& c : cases) {
    game.batch_probes.clear();
    const Value list = segments(route(c.actor, c.points, c.mode));
    ASSERT_EQ(list.items.size(), c.segments.size()) << c.mode;
    for (std::size_t s = 0; s < c.segments.size(); ++s) {
      EXPECT_EQ(list.items[s].get("from"), num(c.segments[s].first));
      EXPECT_EQ(list.items[s].get("to"), num(c.segments[s].second));
    }
    EXPECT_EQ(game.batch_probes.size(), 1u) << "the game is asked once, even with no probes";
  }
}

TEST_F(RouteCheck, UnreadablePointsArePassedOverWithoutRenumberingTheRest) {
  actor_at(0).members.erase("position");
  route(0, {point(10, 0, 0), obj({{"x", num(1)}}), point(30, 0, 0)});
  const auto answer = session.run("check_route", params("gate_1"));
  EXPECT_EQ(answer.result.get("skipped"), arr({num(0), num(2)}));
  ASSERT_EQ(answer.result.get("segments").items.size(), 1u);
  EXPECT_EQ(answer.result.get("segments").items[0].get("from"), num(1));
  EXPECT_EQ(answer.result.get("segments").items[0].get("to"), num(3));
  EXPECT_FALSE(session.run("check_route", params("walker")).result.has("skipped"));
}

TEST_F(RouteCheck, FailuresAreReportedPackageFirstThenActorThenGame) {
  session.live_game = nullptr;
  EXPECT_EQ(session.run("check_route", params("nobody")).error, "no placed actor \"nobody\"");
  EXPECT_EQ(session.run("check_route", params("walker")).error, "the game is not running");
  connect_game();
  game.batch_error = "the game did not answer within 2 s";
  const auto failed = session.run("check_route", params("walker"));
  EXPECT_EQ(failed.error, "the game did not answer within 2 s");
  EXPECT_TRUE(failed.result.is_null());
}

TEST_F(RouteCheck, TheLastActorWithTheIdIsChecked) {
  Value twin = actor("statue");
  twin["path"] = obj({{"points", arr({point(0, 0, 0), point(10, 0, 0)})}});
  session.packages["windfall"].document["actors"].items.push_back(twin);
  EXPECT_EQ(segments("statue").items.size(), 1u);
}

TEST_F(RouteCheck, ARouteNeedingMoreThanAMillionSamplesIsRefusedWithoutAskingTheGame) {
  route(3, {point(0, 0, 0), point(24999974, 0, 0)});  // 999,999 intervals: exactly a million samples
  EXPECT_EQ(segments("statue").items.size(), 1u);
  game.batch_probes.clear();
  route(3, {point(0, 0, 0), point(2.5e7, 0, 0), point(2.5e7, 0, 25)});
  const auto answer = session.run("check_route", params("statue"));
  EXPECT_EQ(answer.error, "the route is too long to check: more than 1000000 samples");
  EXPECT_TRUE(game.batch_probes.empty());
}

}  // namespace
