// The dispatcher and the actor-edit wrapper: names, labels, the order of checks and the answer's flags.
#include "editor/session.h"

#include <gtest/gtest.h>

#include "tests/support/windfall_fixture.h"

namespace {

using mods::json::Value;
using namespace support;  // the terse value builders and the fixture

class Dispatcher : public support::WindfallTest {};

TEST_F(Dispatcher, NamesThatAreNotExactlyACommandAreNotHandled) {
  for (const char* name : {"Add_route_point", "add_route_point ", "", "check", "route_status\n"}) {
    const auto answer = session.run(name, params("walker"), "earlier text");
    EXPECT_FALSE(answer.handled || answer.ok) << name;
    EXPECT_EQ(answer.error, "earlier text") << name;
    EXPECT_TRUE(answer.result.is_null()) << name;
  }
  EXPECT_TRUE(session.calls.empty());
}

TEST_F(Dispatcher, EachEditIsRecordedUnderItsLabel) {
  const Value here = point(1, 1, 1);
  struct Case {
    const char* command;
    Value params;
    const char* label;
  };
  // A label is made from the request before the edit judges it: "point" truncated toward zero, saturated
  // to 32 bits, 0 when it is not a number, and an absent id as empty. The odd rows pin that rule, not
  // point numbers an edit would accept.
  // clang-format off
  const Case table[] = {
      {.command = "add_route_point", .params = params("gate_1"), .label = "Add a route point to gate_1"},
      {.command = "move_route_point",
       .params = params("walker", {{"point", num(3.9)}, {"position", here}}),
       .label = "Move route point 3 of walker"},
      {.command = "move_route_point",
       .params = params("walker", {{"point", num(-1.5)}, {"position", here}}),
       .label = "Move route point -1 of walker"},
      {.command = "move_route_point",
       .params = params("walker", {{"point", num(1e12)}, {"position", here}}),
       .label = "Move route point 2147483647 of walker"},
      {.command = "remove_route_point", .params = params("walker", {{"point", num(2)}}), .label = "Remove route point 2 of walker"},
      {.command = "remove_route_point", .params = params("walker", {{"point", str("2")}}), .label = "Remove route point 0 of walker"},
      {.command = "reorder_route_point",
       .params = params("walker", {{"point", num(1)}, {"to", num(2)}}),
       .label = "Reorder the route of walker"},
      {.command = "set_route", .params = params("walker"), .label = "Route settings of walker"},
      {.command = "remove_route", .params = obj({}), .label = "Remove the route of "},
  };
  // clang-format on
  for (const Case& c : table) {
    session.calls.clear();
    session.run(c.command, c.params);
    EXPECT_EQ(session.calls.back(), std::string("change ") + c.label) << c.command;
  }
}

TEST_F(Dispatcher, SuccessAnswersIdBesideTheEditsMembersAndKeepsTheCallersText) {
  const auto added = session.run("add_route_point", params("gate_1"), "kept");
  EXPECT_ANSWERED(added);
  EXPECT_EQ(added.error, "kept");
  EXPECT_EQ(added.result, obj({{"id", str("gate_1")}, {"point", num(1)}}));
  EXPECT_EQ(session.run("remove_route", params("walker")).result, obj({{"id", str("walker")}}));
}

TEST_F(Dispatcher, PlacingAndTheSayWhereTextWinOverAMissingPackageAndActor) {
  const Value nowhere = params("nobody", {{"package", str("missing")}});
  session.where_error = "nowhere to be found";
  const auto placing = session.run("add_route_point", nowhere);
  EXPECT_EQ(placing.error, "nowhere to be found");
  EXPECT_TRUE(placing.handled && placing.result.is_null());
  EXPECT_EQ(session.calls, std::vector<std::string>{"where"});

  session.calls.clear();
  // Not points: a missing coordinate, an array, a text coordinate, one too large for a float.
  const Value not_points[] = {
      obj({{"x", num(1)}, {"y", num(2)}}),
      arr({num(1), num(2), num(3)}),
      obj({{"x", num(1)}, {"y", str("2")}, {"z", num(3)}}),
      point(1, 1e39, 3),
  };
  for (const Value& position : not_points) {
    for (const bool null_at : {false, true}) {
      Value request = nowhere;
      request["position"] = position;
      if (null_at) request["at"] = Value();
      const auto answer = session.run("move_route_point", request);
      EXPECT_EQ(answer.error, "say where: \"position\" or \"at\" (link or camera)");
      EXPECT_TRUE(answer.result.is_null());
    }
  }
  EXPECT_TRUE(session.calls.empty());
}

TEST_F(Dispatcher, AMissingPackageStopsEveryCommandWithThePackagesText) {
  connect_game();
  const char* const commands[] = {
      "add_route_point", "move_route_point", "remove_route_point", "reorder_route_point",
      "set_route",       "remove_route",     "check_route",        "route_status",
  };
  for (const char* command : commands) {
    const auto answer =
        session.run(command, params("walker", {{"package", str("elsewhere")}, {"position", point(0, 0, 0)}}));
    EXPECT_FALSE(answer.ok) << command;
    EXPECT_EQ(answer.error, "no package \"elsewhere\" in the store") << command;
    EXPECT_FALSE(answer.result.has("id")) << command;
  }
}

TEST_F(Dispatcher, ActorsAreFoundByTheFirstExactTextId) {
  Value twin = actor("gate_1");
  twin["path"] = str("second");
  session.packages["windfall"].document["actors"].items.push_back(twin);
  session.packages["windfall"].document["actors"].items.push_back(obj({{"id", num(5)}, {"actor", str("resident")}}));
  // An "id" that is not a text is read as the empty id, which no actor has: the numeric id 7 is not
  // looked up as "7", and the actor whose "id" is the number 5 is not found by the text "5".
  const struct {
    Value request;
    const char* error;
    // clang-format off
  } cases[] = {
      {.request = params("5"), .error = "no placed actor \"5\" in windfall"},
      {.request = obj({}), .error = "no placed actor \"\" in windfall"},
      {.request = obj({{"id", num(7)}}), .error = "no placed actor \"\" in windfall"},
      {.request = params("Walker"), .error = "no placed actor \"Walker\" in windfall"},
  };
  // clang-format on
  for (const auto& [request, error] : cases) EXPECT_EQ(session.run("remove_route", request).error, error);
  EXPECT_ANSWERED(session.run("add_route_point", params("gate_1")));
  EXPECT_TRUE(actor("gate_1").get("path").is_object());
  EXPECT_EQ(session.packages["windfall"].document["actors"].items[7].get("path"), str("second"));

  for (const Value& document : {obj({}), obj({{"actors", obj({})}})}) {
    session.packages["windfall"].document = document;
    EXPECT_EQ(session.run("remove_route", params("walker")).error, "no placed actor \"walker\" in windfall");
  }
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
