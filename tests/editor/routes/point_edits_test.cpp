// Creating, growing, changing and removing routes point by point.
#include "editor/routes/point_edits.h"

#include <gtest/gtest.h>

#include <cmath>

#include "tests/support/windfall_fixture.h"

namespace {

using mods::json::Value;
using namespace support;  // the terse value builders and the fixture

class PointEdits : public support::WindfallTest {
 protected:
  PointEdits() { session.where_point = {40.0f, 0.0f, 0.0f}; }
  Value points_of(const std::string& id) { return actor(id).get("path").get("points"); }
};

TEST_F(PointEdits, ANewRouteStartsTheWayItsWalkerWalks) {
  struct Case {
    const char* id;
    Value after;
    Value path;
    double point;
  };
  // clang-format off
  const Case cases[] = {
      {.id = "gate_1", .after = Value(), .path = obj({{"points", arr({point(40, 0, 0)})}, {"mode", str("once")}}), .point = 1},
      {.id = "boko", .after = Value(), .path = obj({{"points", arr({point(40, 0, 0)})}, {"mode", str("back_and_forth")}}), .point = 1},
      {.id = "statue",
       .after = Value(),
       .path = obj({{"points", arr({point(1.3, -1.3, 0), point(40, 0, 0)})},
                    {"mode", str("once")},
                    {"speed", num(60)}}),
       .point = 2},
      {.id = "statue",
       .after = num(0),
       .path = obj({{"points", arr({point(40, 0, 0), point(1.3, -1.3, 0)})},
                    {"mode", str("once")},
                    {"speed", num(60)}}),
       .point = 1},
  };
  // clang-format on
  for (const Case& c : cases) {
    session.run("remove_route", params(c.id));
    const auto answer = session.run("add_route_point", params(c.id, {{"after", c.after}}));
    EXPECT_EQ(answer.result, obj({{"id", str(c.id)}, {"point", num(c.point)}}));
    EXPECT_EQ(actor(c.id).get("path"), c.path) << c.id;
  }
}

TEST_F(PointEdits, AModelWithoutPositionGetsNoRouteWhateverTheChangeService) {
  for (auto edits : {support::MemorySession::Edits::OnCopy, support::MemorySession::Edits::InPlace}) {
    session.edits = edits;
    const auto answer = session.run("add_route_point", params("ghost"));
    EXPECT_EQ(answer.error, "the actor has no position");
    EXPECT_TRUE(answer.result.is_null());
  }
  // Editing in place keeps the half-made record: only a copying change service keeps the invariant.
  EXPECT_EQ(actor("ghost").get("path"), obj({{"points", arr({})}, {"mode", str("once")}}));
}

TEST_F(PointEdits, AfterPlacesTheNewPointOrIsRefusedWithTheRange) {
  const char* kRange = "\"after\" is a point number from 0 to 3";
  // "after" that is not a number (a text, or null) is taken as absent: the point goes last.
  const struct {
    Value after;
    double number;
    // clang-format off
  } accepted[] = {
      {.after = num(0), .number = 1},
      {.after = num(2), .number = 3},
      {.after = num(3), .number = 4},
      {.after = str("1"), .number = 4},
      {.after = Value(), .number = 4},
  };
  // clang-format on
  const Value before = actor("walker");
  for (const auto& [after, number] : accepted) {
    actor_at(1) = before;
    const auto answer = session.run("add_route_point", params("walker", {{"after", after}}));
    EXPECT_EQ(answer.result.get("point"), num(number));
    EXPECT_EQ(points_of("walker").items.at(static_cast<std::size_t>(number) - 1), point(40, 0, 0));
  }
  for (const Value& after : {num(1.5), num(-1), num(4), num(NAN)}) {
    actor_at(1) = before;
    EXPECT_EQ(session.run("add_route_point", params("walker", {{"after", after}})).error, kRange);
  }
}

TEST_F(PointEdits, PointNumbersAreCheckedAgainstTheRouteBeforeTheEdit) {
  const char* kOf3 = "\"point\" is a point number from 1 to 3";
  const char* kOf0 = "\"point\" is a point number from 1 to 0";
  const struct {
    const char* command;
    const char* id;
    Value point;  // null: no "point" member
    const char* error;
    // clang-format off
  } cases[] = {
      {.command = "move_route_point", .id = "walker", .point = num(4), .error = kOf3},
      {.command = "move_route_point", .id = "walker", .point = num(0), .error = kOf3},
      {.command = "move_route_point", .id = "walker", .point = num(1.5), .error = kOf3},
      {.command = "remove_route_point", .id = "walker", .point = num(-1), .error = kOf3},
      {.command = "remove_route_point", .id = "walker", .point = str("2"), .error = kOf3},
      {.command = "remove_route_point", .id = "walker", .point = Value::of(true), .error = kOf3},
      {.command = "remove_route_point", .id = "walker", .point = Value(), .error = kOf3},
      {.command = "move_route_point", .id = "gate_1", .point = num(1), .error = kOf0},
  };
  // clang-format on
  for (const auto& c : cases) {
    Value request = params(c.id, {{"position", point(0, 0, 0)}});
    if (!c.point.is_null()) request["point"] = c.point;
    EXPECT_EQ(session.run(c.command, request).error, c.error) << c.command;
  }
  EXPECT_FALSE(actor("gate_1").has("path")) << "a refused number must not create a record";
}

TEST_F(PointEdits, RemovingBelowTheWalkersMinimumRemovesTheRoute) {
  const auto longer = session.run("remove_route_point", params("walker", {{"point", num(1)}}));
  EXPECT_EQ(longer.result, obj({{"id", str("walker")}}));
  EXPECT_EQ(points_of("walker"), arr({point(20, 0, 0), point(30, 0, 0)}));
  for (const auto& [id, last] : {std::pair{"boko", 1}, std::pair{"statue", 2}}) {
    session.run("add_route_point", params(id));
    const auto answer = session.run("remove_route_point", params(id, {{"point", num(last)}}));
    EXPECT_EQ(answer.result, obj({{"id", str(id)}, {"route_removed", Value::of(true)}}));
    EXPECT_FALSE(actor(id).has("path"));
  }
}

TEST_F(PointEdits, ReorderMovesOnePointToItsNewNumber) {
  const struct {
    double point, to;
    const char* order;  // the points A, B, C, D afterwards
    // clang-format off
  } cases[] = {
      {.point = 1, .to = 3, .order = "BCAD"},
      {.point = 4, .to = 1, .order = "DABC"},
      {.point = 2, .to = 2, .order = "ABCD"},
      {.point = 3, .to = 4, .order = "ABDC"},
  };
  // clang-format on
  for (const auto& c : cases) {
    actor_at(1)["path"]["points"] = arr({point(1, 0, 0), point(2, 0, 0), point(3, 0, 0), point(4, 0, 0)});
    EXPECT_ANSWERED(session.run("reorder_route_point", params("walker", {{"point", num(c.point)}, {"to", num(c.to)}})));
    std::string order;
    for (const Value& p : points_of("walker").items) order += static_cast<char>('A' - 1 + p.get("x").number);
    EXPECT_EQ(order, c.order);
  }
  EXPECT_EQ(session.run("reorder_route_point", params("walker", {{"point", num(5)}, {"to", num(9)}})).error,
            "\"point\" is a point number from 1 to 4");
  EXPECT_EQ(session.run("reorder_route_point", params("walker", {{"point", num(1)}, {"to", num(9)}})).error,
            "\"to\" is a point number from 1 to 4");
}

TEST_F(PointEdits, RemoveRouteSucceedsWithOrWithoutARoute) {
  for (const char* id : {"gate_1", "walker"}) EXPECT_ANSWERED(session.run("remove_route", params(id)));
  EXPECT_FALSE(actor("walker").has("path"));
}

TEST_F(PointEdits, AHandMadeRecordWithoutPointsArrayGrowsFromEmpty) {
  actor_at(0)["path"] = obj({{"points", str("none")}});
  EXPECT_EQ(session.run("move_route_point", params("gate_1", {{"point", num(1)}, {"position", point(0, 0, 0)}})).error,
            "\"point\" is a point number from 1 to 0");
  EXPECT_EQ(session.run("add_route_point", params("gate_1")).result.get("point"), num(1));
  EXPECT_EQ(points_of("gate_1"), arr({point(40, 0, 0)}));
}

}  // namespace
