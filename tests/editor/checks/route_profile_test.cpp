// route_profile: the same samples check_route takes, with distances along the walk, the line's height,
// the ground's (null where none) and check_route's segment numbers; and the same failures.
#include "editor/checks/route_profile.h"

#include <gtest/gtest.h>

#include "tests/support/windfall_fixture.h"

namespace {

using mods::json::Value;
using story_notebook::WorldPoint;
using namespace support;

class RouteProfile : public support::WindfallTest {
 protected:
  RouteProfile() { connect_game(); }
};

TEST_F(RouteProfile, SamplesAreCheckRoutesProbesWithDistancesAlongTheWalk) {
  Value& actor = actor_at(3);  // a model: its walk starts on its first point
  actor["path"] =
      obj({{"points", arr({point(0, 10, 0), point(30, 10, 40), point(30, 20, 65)})}, {"mode", str("once")}});
  game.ground = [](const WorldPoint& probe, float& height) {
    height = probe.x;  // ground rises with x; none beyond z = 60
    return probe.z <= 60;
  };
  EXPECT_ANSWERED(session.run("check_route", params("statue")));
  const std::vector<WorldPoint> checked = game.batch_probes.at(0);
  const auto answer = session.run("route_profile", params("statue"));
  EXPECT_ANSWERED(answer);
  ASSERT_TRUE(answer.ok);
  ASSERT_EQ(game.batch_probes.size(), 2u) << "one ground query per profile";
  EXPECT_EQ(game.batch_probes.at(1).size(), checked.size());

  struct Row {
    double distance, height;
    Value ground;
    double segment;
  };
  const Row rows[] = {
      // segment 1: 50 units, two intervals; segment 2: 25 units, one interval
      {.distance = 0, .height = 10, .ground = num(0), .segment = 1},
      {.distance = 25, .height = 10, .ground = num(15), .segment = 1},
      {.distance = 50, .height = 10, .ground = num(30), .segment = 1},
      {.distance = 50, .height = 10, .ground = num(30), .segment = 2},
      {.distance = 75, .height = 20, .ground = Value(), .segment = 2},
  };
  const Value& samples = answer.result.get("samples");
  ASSERT_EQ(samples.items.size(), std::size(rows));
  for (std::size_t k = 0; k < std::size(rows); ++k) {
    const Value expected = obj({
        {"distance", num(rows[k].distance)},
        {"height", num(rows[k].height)},
        {"ground", rows[k].ground},
        {"segment", num(rows[k].segment)},
    });
    EXPECT_EQ(samples.items[k], expected) << "sample " << k;
    EXPECT_EQ(game.batch_probes.at(1)[k].x, checked[k].x);
  }
  EXPECT_EQ(answer.result.get("length"), num(75));
  EXPECT_EQ(answer.result.get("id"), str("statue"));
}

TEST_F(RouteProfile, FailsAsCheckRouteDoes) {
  const char* const ids[] = {"nobody", "statue"};
  session.live_game = nullptr;
  for (const char* id : ids) {
    const auto checked = session.run("check_route", params(id));
    const auto profiled = session.run("route_profile", params(id));
    EXPECT_FALSE(profiled.ok) << id;
    EXPECT_EQ(profiled.error, checked.error) << id;
  }
}

}  // namespace
