// set_route: what each walker class may set, and the refusals in their order.
#include "editor/routes/route_settings.h"

#include <gtest/gtest.h>

#include "tests/support/windfall_fixture.h"

namespace {

using mods::json::Value;
using namespace support;  // the terse value builders and the fixture

const char* const kNoRoute = "the actor has no route yet: add_route_point adds its first point";
const char* const kPatrols =
    "a Bokoblin or Moblin patrols at its own pace, without pauses: only the mode (loop or back_and_forth)";
const char* const kModelSpeed = "a model's route needs a speed";
const char* const kOwnAnimations = "a resident walks with its own walk and stands with its own idle";

class RouteSettings : public support::WindfallTest {
 protected:
  RouteSettings() {
    for (const char* id : {"gate_1", "boko", "statue"}) EXPECT_ANSWERED(session.run("add_route_point", params(id)));
  }
};

TEST_F(RouteSettings, EachWalkerSetsWhatItsWalkAllows) {
  // The settings asked for, the refusal ("" when accepted) and the record's settings afterwards.
  using Members = std::vector<std::pair<std::string, Value>>;
  struct Case {
    const char* id;
    Members settings;
    const char* error;
    Members expected;
  };
  // Speed, mode and pauses are stored as given, whatever their kind or range: the game decides what it
  // makes of them, and readers here take a mode that is not a string as "once". So a mode of 7 and
  // pauses of 0 are kept on purpose; only the boolean false removes "pauses", and only null a resident's
  // "speed". An animation name that is not a non-empty text removes the animation.
  // clang-format off
  const std::vector<Case> cases = {
      {.id = "gate_1", .settings = {{"speed", num(30)}}, .error = "", .expected = {{"mode", str("once")}, {"speed", num(30)}}},
      {.id = "gate_1", .settings = {{"speed", Value()}}, .error = "", .expected = {{"mode", str("once")}}},
      {.id = "gate_1",
       .settings = {{"pauses", Value::of(true)}},
       .error = "",
       .expected = {{"mode", str("once")}, {"pauses", Value::of(true)}}},
      {.id = "gate_1", .settings = {{"pauses", num(0)}}, .error = "", .expected = {{"mode", str("once")}, {"pauses", num(0)}}},
      {.id = "gate_1", .settings = {{"pauses", Value::of(false)}}, .error = "", .expected = {{"mode", str("once")}}},
      {.id = "gate_1", .settings = {{"mode", num(7)}}, .error = "", .expected = {{"mode", num(7)}}},
      {.id = "gate_1", .settings = {}, .error = "", .expected = {{"mode", str("once")}}},
      {.id = "gate_1", .settings = {{"mode", str("loop")}, {"walk", str("run")}}, .error = kOwnAnimations, .expected = {}},
      {.id = "boko", .settings = {{"mode", str("loop")}}, .error = "", .expected = {{"mode", str("loop")}}},
      {.id = "boko", .settings = {{"speed", Value()}}, .error = kPatrols, .expected = {}},
      {.id = "boko", .settings = {{"pauses", Value::of(false)}}, .error = kPatrols, .expected = {}},
      {.id = "boko", .settings = {{"idle", str("sleep")}}, .error = kOwnAnimations, .expected = {}},
      {.id = "statue", .settings = {{"speed", Value()}}, .error = kModelSpeed, .expected = {}},
      {.id = "statue",
       .settings = {{"speed", str("fast")}, {"walk", str("march")}, {"idle", str("")}},
       .error = "",
       .expected = {{"mode", str("once")}, {"speed", str("fast")}, {"walk", str("march")}}},
      {.id = "statue", .settings = {{"walk", num(3)}}, .error = "", .expected = {{"mode", str("once")}, {"speed", num(60)}}},
      {.id = "statue", .settings = {{"walk", Value()}}, .error = "", .expected = {{"mode", str("once")}, {"speed", num(60)}}},
  };
  // clang-format on
  for (const Case& c : cases) {
    SCOPED_TRACE(std::string(c.id) + " " + (c.settings.empty() ? "" : c.settings[0].first));
    const Value before = actor(c.id).get("path");
    const auto answer = session.run("set_route", params(c.id, c.settings));
    if (*c.error != '\0') {
      EXPECT_EQ(answer.error, c.error);
      EXPECT_EQ(actor(c.id).get("path"), before);
      continue;
    }
    EXPECT_ANSWERED(answer);
    Value expected = obj(c.expected);
    expected["points"] = before.get("points");
    EXPECT_EQ(actor(c.id).get("path"), expected);
    // Back to the record as created, for the next case.
    session.run("remove_route", params(c.id));
    session.run("add_route_point", params(c.id));
  }
}

TEST_F(RouteSettings, AnActorWithoutARouteIsRefused) {
  EXPECT_EQ(session.run("set_route", params("walker", {{"mode", str("loop")}})).error, "");
  actor_at(2)["path"] = arr({point(1, 2, 3)});
  EXPECT_EQ(session.run("set_route", params("boko", {{"mode", str("loop")}})).error, kNoRoute);
  EXPECT_EQ(session.run("set_route", params("bench_man", {{"mode", str("loop")}})).error,
            "this villager is seated and does not walk");
  session.run("remove_route", params("gate_1"));
  EXPECT_EQ(session.run("set_route", params("gate_1", {{"mode", str("loop")}})).error, kNoRoute);
}

TEST_F(RouteSettings, SettingsWrittenBeforeALateRefusalStayOnlyWhenEditingInPlace) {
  session.edits = support::MemorySession::Edits::InPlace;
  EXPECT_EQ(session.run("set_route", params("gate_1", {{"mode", str("loop")}, {"idle", str("sit")}})).error,
            kOwnAnimations);
  EXPECT_EQ(actor("gate_1").get("path").get("mode"), str("loop"));
}

}  // namespace
