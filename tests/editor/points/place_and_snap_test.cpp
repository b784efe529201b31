// Placing new points: where the session puts them, the probe the game is asked with, and the note
// when there is no ground.
#include "editor/points/place_and_snap.h"

#include <gtest/gtest.h>

#include "tests/support/windfall_fixture.h"

namespace {

using mods::json::Value;
using namespace support;  // the terse value builders and the fixture

class Placing : public support::WindfallTest {
 protected:
  Placing() {
    session.where_point = {12.34f, -0.05f, 7.25f};
    game.ground = [](const story_notebook::WorldPoint&, float& height) {
      height = 3.26f;
      return true;
    };
  }
};

TEST_F(Placing, WithoutAGameThePointStaysWhereTheSessionPutItRounded) {
  const auto answer = session.run("add_route_point", params("gate_1"));
  EXPECT_EQ(answer.result, obj({{"id", str("gate_1")}, {"point", num(1)}}));
  EXPECT_EQ(actor("gate_1").get("path").get("points"), arr({point(12.3, -0.1, 7.3)}));
}

TEST_F(Placing, TheGameIsProbedFiftyAboveAndThePointTakesTheGroundsHeight) {
  connect_game();
  EXPECT_ANSWERED(session.run("add_route_point", params("gate_1")));
  ASSERT_EQ(game.single_probes.size(), 1u);
  const story_notebook::WorldPoint probe = game.single_probes[0];
  EXPECT_EQ(probe.x, 12.34f);
  EXPECT_EQ(probe.y, -0.05f + 50.0f);
  EXPECT_EQ(probe.z, 7.25f);
  EXPECT_EQ(actor("gate_1").get("path").get("points"), arr({point(12.3, 3.3, 7.3)}));
}

TEST_F(Placing, OnlyTheBooleanFalseTurnsSnappingOff) {
  connect_game();
  struct Case { Value snap; std::size_t probes; };
  const Case cases[] = {{Value::of(false), 0}, {str("no"), 1}, {num(0), 1}, {Value::of(true), 1}};
  for (const Case& c : cases) {
    game.single_probes.clear();
    EXPECT_ANSWERED(session.run("add_route_point", params("gate_1", {{"snap", c.snap}})));
    EXPECT_EQ(game.single_probes.size(), c.probes);
  }
}

TEST_F(Placing, NoGroundKeepsThePointAndExplainsWhyInTheResult) {
  connect_game();
  game.ground = [](const story_notebook::WorldPoint&, float&) { return false; };
  const auto answer = session.run("add_route_point", params("gate_1"));
  EXPECT_ANSWERED(answer);
  EXPECT_EQ(answer.result.get("snap_note"), str("not on the ground: open sea below"));
  EXPECT_EQ(actor("gate_1").get("path").get("points"), arr({point(12.3, -0.1, 7.3)}));

  const auto failed = session.run("add_route_point", params("nobody"));
  EXPECT_FALSE(failed.ok);
  EXPECT_EQ(failed.result, obj({{"snap_note", str("not on the ground: open sea below")}}));
}

TEST_F(Placing, MoveUsesAReadablePositionUnsnappedAndOtherwiseAsksWhere) {
  connect_game();
  const auto given = session.run("move_route_point",
                                 params("walker", {{"point", num(1)}, {"position", point(5, 6, 7)}, {"at", str("link")}}));
  EXPECT_ANSWERED(given);
  EXPECT_TRUE(game.single_probes.empty());
  EXPECT_EQ(actor("walker").get("path").get("points").items[0], point(5, 6, 7));

  const auto at = session.run("move_route_point", params("walker", {{"point", num(1)}, {"at", str("link")}}));
  EXPECT_ANSWERED(at);
  EXPECT_EQ(game.single_probes.size(), 1u);
  EXPECT_EQ(actor("walker").get("path").get("points").items[0], point(12.3, 3.3, 7.3));
}

}  // namespace
