// The dispatcher and the actor-edit wrapper: names, labels, the order of checks and the answer's flags.
#include "editor/session.h"

#include <gtest/gtest.h>

#include "tests/support/windfall_fixture.h"

namespace {

using mods::json::Value;
using support::num;
using support::obj;
using support::point;
using support::str;

class Dispatcher : public support::WindfallTest {};

TEST_F(Dispatcher, NamesThatAreNotExactlyACommandAreNotHandled) {
  for (const char* name : {"Add_route_point", "add_route_point ", "", "check", "route_status\n"}) {
    const auto answer = session.run(name, params("walker"), "earlier text");
    EXPECT_FALSE(answer.handled) << name;
    EXPECT_FALSE(answer.ok) << name;
    EXPECT_EQ(answer.error, "earlier text") << name;
    EXPECT_TRUE(answer.result.is_null()) << name;
  }
  EXPECT_TRUE(session.calls.empty());
}

TEST_F(Dispatcher, EachEditIsRecordedUnderItsLabel) {
  struct Case {
    const char* command;
    Value params;
    const char* label;
  };
  const Case cases[] = {
      {"add_route_point", params("gate_1"), "change Add a route point to gate_1"},
      {"move_route_point", params("walker", {{"point", num(3.9)}, {"position", point(1, 1, 1)}}),
       "change Move route point 3 of walker"},
      {"move_route_point", params("walker", {{"point", num(-1.5)}, {"position", point(1, 1, 1)}}),
       "change Move route point -1 of walker"},
      {"move_route_point", params("walker", {{"point", num(1e12)}, {"position", point(1, 1, 1)}}),
       "change Move route point 2147483647 of walker"},
      {"remove_route_point", params("walker", {{"point", num(2)}}), "change Remove route point 2 of walker"},
      {"remove_route_point", params("walker", {{"point", str("2")}}), "change Remove route point 0 of walker"},
      {"reorder_route_point", params("walker", {{"point", num(1)}, {"to", num(2)}}),
       "change Reorder the route of walker"},
      {"set_route", params("walker"), "change Route settings of walker"},
      {"remove_route", obj({}), "change Remove the route of "},
  };
  for (const Case& c : cases) {
    session.calls.clear();
    session.run(c.command, c.params);
    ASSERT_FALSE(session.calls.empty()) << c.command;
    EXPECT_EQ(session.calls.back(), c.label) << c.command;
  }
}

TEST_F(Dispatcher, SuccessAnswersIdBesideTheEditsMembersAndKeepsTheCallersText) {
  const auto added = session.run("add_route_point", params("gate_1"), "kept");
  EXPECT_ANSWERED(added);
  EXPECT_EQ(added.error, "kept");
  EXPECT_EQ(added.result, obj({{"id", str("gate_1")}, {"point", num(1)}}));

  const auto removed = session.run("remove_route", params("walker"));
  EXPECT_ANSWERED(removed);
  EXPECT_EQ(removed.result, obj({{"id", str("walker")}}));
}

TEST_F(Dispatcher, PlacingFailsBeforeThePackageIsLookedUp) {
  session.where_error = "nowhere to be found";
  const auto answer = session.run("add_route_point", params("nobody", {{"package", str("missing")}}));
  EXPECT_FALSE(answer.ok);
  EXPECT_TRUE(answer.handled);
  EXPECT_EQ(answer.error, "nowhere to be found");
  EXPECT_TRUE(answer.result.is_null());
  EXPECT_EQ(session.calls, std::vector<std::string>{"where"});
}

TEST_F(Dispatcher, MoveWithoutAUsablePlaceSaysWhereBeforeAnythingElse) {
  const Value not_points[] = {obj({{"x", num(1)}, {"y", num(2)}}), support::arr({num(1), num(2), num(3)}),
                              obj({{"x", num(1)}, {"y", str("2")}, {"z", num(3)}}),
                              obj({{"x", num(1)}, {"y", num(1e39)}, {"z", num(3)}})};
  for (const Value& position : not_points) {
    for (const Value& at : {Value(), Value::of("absent")}) {
      Value request = params("nobody", {{"package", str("missing")}, {"position", position}});
      if (at.is_null()) request["at"] = Value();
      const auto answer = session.run("move_route_point", request);
      EXPECT_EQ(answer.error, "say where: \"position\" or \"at\" (link or camera)");
      EXPECT_TRUE(answer.result.is_null());
    }
  }
  EXPECT_TRUE(session.calls.empty());
}

TEST_F(Dispatcher, AMissingPackageStopsEveryCommandWithThePackagesText) {
  connect_game();
  for (const char* command : {"add_route_point", "move_route_point", "remove_route_point", "reorder_route_point",
                              "set_route", "remove_route", "check_route", "route_status"}) {
    const auto answer = session.run(command, params("walker", {{"package", str("elsewhere")},
                                                               {"position", point(0, 0, 0)}}));
    EXPECT_FALSE(answer.ok) << command;
    EXPECT_EQ(answer.error, "no package \"elsewhere\" in the store") << command;
    EXPECT_FALSE(answer.result.has("id")) << command;
  }
}

TEST_F(Dispatcher, ActorsAreFoundByTheirExactTextId) {
  session.packages["windfall"].document["actors"].items.push_back(
      obj({{"id", num(5)}, {"actor", str("resident")}}));
  struct Case {
    Value params;
    const char* error;
  };
  const Case cases[] = {
      {params("5"), "no placed actor \"5\" in windfall"},
      {obj({}), "no placed actor \"\" in windfall"},
      {obj({{"id", num(7)}}), "no placed actor \"\" in windfall"},
      {params("Walker"), "no placed actor \"Walker\" in windfall"},
  };
  for (const Case& c : cases) EXPECT_EQ(session.run("remove_route", c.params).error, c.error);

  for (Value document : {obj({}), obj({{"actors", obj({})}})}) {
    session.packages["windfall"].document = document;
    EXPECT_EQ(session.run("remove_route", params("walker")).error, "no placed actor \"walker\" in windfall");
  }
}

TEST_F(Dispatcher, TheFirstOfTwoActorsWithOneIdIsEdited) {
  Value twin = actor("gate_1");
  twin["marker"] = str("second");
  session.packages["windfall"].document["actors"].items.push_back(twin);
  EXPECT_ANSWERED(session.run("add_route_point", params("gate_1")));
  EXPECT_TRUE(actor("gate_1").has("path"));
  EXPECT_FALSE(session.packages["windfall"].document["actors"].items.back().has("path"));
}

TEST_F(Dispatcher, TheRefusalWinsOverTheCommandsOwnBadParameters) {
  const std::string seated = "this villager is seated and does not walk";
  EXPECT_EQ(session.run("remove_route_point", params("bench_man", {{"point", num(9)}})).error, seated);
  EXPECT_EQ(session.run("remove_route", params("bench_man")).error, seated);
  EXPECT_EQ(session.run("set_route", params("chest", {{"walk", str("run")}})).error,
            "only residents, Bokoblins, Moblins and the mod's own models walk routes");
}

TEST_F(Dispatcher, AChangeServiceRefusalLeavesNoIdButKeepsTheEditsMembers) {
  session.change_refusal = "the disk is full";
  const auto answer = session.run("add_route_point", params("gate_1"));
  EXPECT_FALSE(answer.ok);
  EXPECT_EQ(answer.error, "the disk is full");
  EXPECT_EQ(answer.result, obj({{"point", num(1)}}));
}

}  // namespace
