// Placing new points: where the session puts them, the probe the game is asked with, and the note
// when there is no ground.
#include "editor/points/place_and_snap.h"

#include <gtest/gtest.h>

#include "tests/support/windfall_fixture.h"

namespace {

using mods::json::Value;
using namespace support;  // the terse value builders and the fixture

class Placing : public WindfallTest {
 protected:
  Placing() {
    session.where_point = {12.34f, -0.05f, 7.25f};
    game.ground = [](const story_notebook::WorldPoint&, float& height) { return height = 3.26f, true; };
  }
  Value first_point(const char* id) { return actor(id).get("path").get("points").items.at(0); }
};

TEST_F(Placing, ThePointIsSnappedFiftyAboveUnlessNoGameRunsOrSnapIsTheBooleanFalse) {
  const Value unsnapped = point(12.3, -0.1, 7.3);
  const Value snapped = point(12.3, 3.3, 7.3);
  struct Case {
    bool game;
    Value snap;  // null: no "snap" member
    std::size_t probes;
    Value stored;
  };
  // Only the boolean false turns snapping off: a "snap" of another kind, even "no" or 0, is not read as one.
  // clang-format off
  const Case cases[] = {
      {.game = false, .snap = Value(), .probes = 0, .stored = unsnapped},
      {.game = true, .snap = Value(), .probes = 1, .stored = snapped},
      {.game = true, .snap = Value::of(false), .probes = 0, .stored = unsnapped},
      {.game = true, .snap = str("no"), .probes = 1, .stored = snapped},
      {.game = true, .snap = num(0), .probes = 1, .stored = snapped},
      {.game = true, .snap = Value::of(true), .probes = 1, .stored = snapped},
  };
  // clang-format on
  for (const Case& c : cases) {
    session.live_game = c.game ? &game : nullptr;
    game.single_probes.clear();
    session.run("remove_route", params("gate_1"));
    Value request = params("gate_1");
    if (!c.snap.is_null()) request["snap"] = c.snap;
    EXPECT_EQ(session.run("add_route_point", request).result, obj({{"id", str("gate_1")}, {"point", num(1)}}));
    EXPECT_EQ(first_point("gate_1"), c.stored);
    ASSERT_EQ(game.single_probes.size(), c.probes);
    if (c.probes == 0) continue;
    EXPECT_EQ(game.single_probes[0].x, 12.34f);
    EXPECT_EQ(game.single_probes[0].y, -0.05f + 50.0f);
    EXPECT_EQ(game.single_probes[0].z, 7.25f);
  }
}

TEST_F(Placing, NoGroundKeepsThePointAndExplainsWhyInTheResult) {
  connect_game();
  game.ground = [](const story_notebook::WorldPoint&, float&) { return false; };
  const auto answer = session.run("add_route_point", params("gate_1"));
  EXPECT_EQ(answer.result.get("snap_note"), str("not on the ground: open sea below"));
  EXPECT_EQ(first_point("gate_1"), point(12.3, -0.1, 7.3));
  const auto failed = session.run("add_route_point", params("nobody"));
  EXPECT_FALSE(failed.ok);
  EXPECT_EQ(failed.result, obj({{"snap_note", str("not on the ground: open sea below")}}));
}

TEST_F(Placing, MoveUsesAReadablePositionUnsnappedAndOtherwiseAsksWhere) {
  connect_game();
  EXPECT_ANSWERED(session.run(
      "move_route_point", params("walker", {{"point", num(1)}, {"position", point(5, 6, 7)}, {"at", str("link")}})));
  EXPECT_TRUE(game.single_probes.empty());
  EXPECT_EQ(first_point("walker"), point(5, 6, 7));
  EXPECT_ANSWERED(session.run("move_route_point", params("walker", {{"point", num(1)}, {"at", str("link")}})));
  EXPECT_EQ(game.single_probes.size(), 1u);
  EXPECT_EQ(first_point("walker"), point(12.3, 3.3, 7.3));
}

}  // namespace
