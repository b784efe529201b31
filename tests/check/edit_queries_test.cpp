// route_fields and ground_point: what the map asks before it edits. Every refusal route_fields gives must
// be exactly set_route's own answer for the same setting, and an allowed field must really be settable.
#include "check/edit_queries.h"

#include <gtest/gtest.h>

#include "tests/support/memory_session.h"

namespace host {

using check::ground_point;
using check::route_fields;

namespace {

using mods::json::Value;
using support::arr;
using support::num;
using support::obj;
using support::point;
using support::str;

Value placed(const std::string& id, std::vector<std::pair<std::string, Value>> members) {
  members.emplace_back("id", str(id));
  members.emplace_back("position", point(10, 20, 30));
  return obj(std::move(members));
}

class EditQueries : public ::testing::Test {
 protected:
  void SetUp() override {
    const Value route =
        obj({{"mode", str("once")}, {"speed", num(60)}, {"points", arr({point(0, 0, 0), point(1, 0, 1)})}});
    session_.add(
        "windfall",
        obj({{"actors",
              arr({
                  placed("villager", {{"actor", str("resident")}}),
                  placed("guard", {{"actor", str("bokoblin")}}),
                  placed("cart", {{"actor", str("cart")}, {"kind", str("mod")}, {"path", route}}),
                  placed("bench_man", {{"actor", str("resident")}, {"parameters", obj({{"resident", str("ym1")}})}}),
                  placed("barrel", {{"actor", str("barrel")}}),
              })}}));
  }

  Value fields(const std::string& id) {
    std::string error;
    Value answer;
    EXPECT_TRUE(route_fields(session_, obj({{"id", str(id)}}), answer, error)) << error;
    return answer;
  }

  support::MemorySession session_;
};

TEST_F(EditQueries, EachFieldIsRefusedExactlyAsSetRouteRefusesIt) {
  struct Case {
    const char* id;
    const char* settable;  // the fields allowed, in the order mode speed pauses walk idle
  };
  // clang-format off
  const Case cases[] = {
      {.id = "villager", .settable = "mode speed pauses"},
      {.id = "guard", .settable = "mode"},
      {.id = "cart", .settable = "mode speed pauses walk idle"},
      {.id = "bench_man", .settable = ""},
      {.id = "barrel", .settable = ""},
  };
  // clang-format on
  const std::pair<const char*, Value> trials[] = {
      {"mode", str("loop")}, {"speed", num(60)}, {"pauses", num(1)}, {"walk", str("walk")}, {"idle", str("idle")},
  };
  for (const Case& c : cases) {
    const Value answer = fields(c.id);
    std::string settable;
    for (const auto& [field, value] : trials) {
      const Value& shown = answer.get("fields").get(field);
      if (shown.get("may_set").boolean) settable += std::string(settable.empty() ? "" : " ") + field;
      // Only an actor with a route can be asked; the trial runs on a copy that leaves the store alone.
      support::MemorySession copy = session_;
      Value& actor = *std::find_if(copy.packages["windfall"].document["actors"].items.begin(),
                                   copy.packages["windfall"].document["actors"].items.end(),
                                   [&](const Value& a) { return a.get("id").string("") == c.id; });
      if (!actor.get("path").is_object()) actor["path"] = obj({{"mode", str("once")}, {"points", arr({})}});
      const auto set = copy.run("set_route", obj({{"id", str(c.id)}, {field, value}}));
      EXPECT_EQ(set.ok, shown.get("may_set").boolean) << c.id << " " << field;
      EXPECT_EQ(set.error, shown.get("refusal").string("")) << c.id << " " << field;
    }
    EXPECT_EQ(settable, c.settable) << c.id;
    EXPECT_EQ(answer.has("refusal"), std::string(c.settable).empty()) << c.id;
  }
  EXPECT_FALSE(session_.packages["windfall"].document["actors"].items[0].has("path")) << "the store was changed";
}

TEST_F(EditQueries, UnknownActorsAndPackagesAreRefused) {
  // clang-format off
  const std::pair<Value, const char*> cases[] = {
      {obj({{"id", str("nobody")}}), "no placed actor \"nobody\" in windfall"},
      {obj({}), "no placed actor \"\" in windfall"},
      {obj({{"package", str("elsewhere")}, {"id", str("cart")}}), "no package \"elsewhere\" in the store"},
  };
  // clang-format on
  for (const auto& [params, text] : cases) {
    std::string error;
    Value answer;
    EXPECT_FALSE(route_fields(session_, params, answer, error));
    EXPECT_EQ(error, text);
  }
}

TEST_F(EditQueries, GroundPointSnapsLikeAddingAPointOrSaysWhyNot) {
  support::ScriptedGame game;
  game.ground = [](const story_notebook::WorldPoint& probe, float& height) {
    height = 120.0f;
    return probe.x >= 0;  // no ground west of x = 0
  };
  struct Case {
    bool with_game;
    double x;
    double y_after;
    const char* note;
  };
  // clang-format off
  const Case cases[] = {
      {.with_game = true, .x = 5, .y_after = 120, .note = ""},
      {.with_game = true, .x = -5, .y_after = 900, .note = "not on the ground: "},
      {.with_game = false, .x = 5, .y_after = 900, .note = "the game is not running: the point keeps its height"},
  };
  // clang-format on
  for (const Case& c : cases) {
    session_.live_game = c.with_game ? &game : nullptr;
    std::string error;
    Value answer;
    ASSERT_TRUE(ground_point(session_, obj({{"position", point(c.x, 900, 7)}}), answer, error)) << error;
    EXPECT_EQ(answer.get("position"), point(c.x, c.y_after, 7)) << c.x;
    EXPECT_EQ(answer.get("snap_note").string("").rfind(c.note, 0), 0u) << answer.get("snap_note").string("");
    EXPECT_EQ(answer.has("snap_note"), c.note[0] != '\0');
  }
  EXPECT_EQ(game.single_probes.back().y, 950.0f) << "probed from 50 above the position";

  std::string error;
  Value answer;
  EXPECT_FALSE(ground_point(session_, obj({{"position", obj({{"x", num(1)}})}}), answer, error));
  EXPECT_EQ(error, "ground_point needs \"position\": an object with finite numbers \"x\", \"y\" and \"z\"");
}

}  // namespace
}  // namespace host
