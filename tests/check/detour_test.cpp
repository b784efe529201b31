// suggest_detour and apply_detour on small meshes with known answers, played by the simulated game in
// this process. Every proposed way is judged by the route service's own check_route after it is applied.
#include "check/detour.h"

#include <gtest/gtest.h>

#include "game/game_world.h"
#include "link/local_live_game.h"
#include "tests/support/memory_session.h"

namespace host {

using check::apply_detour;
using check::suggest_detour;

namespace {

using mods::json::Value;
using story_notebook::WorldPoint;
using support::arr;
using support::num;
using support::obj;
using support::point;
using support::str;

constexpr float kHalf = 2000;  // every mesh spans [-kHalf, kHalf] in x and z [world units]

// The memory session, placing each point where the request's "position" says, as the host does.
class PlacingSession : public support::MemorySession {
 public:
  bool where(const Value& params, editor::Place& place, std::string& error) override {
    const Value& at = params.get("position");
    if (!at.get("x").is_number() || !at.get("y").is_number() || !at.get("z").is_number()) {
      error = "no \"position\"";
      return false;
    }
    place.point = {static_cast<float>(at.get("x").number), static_cast<float>(at.get("y").number),
                   static_cast<float>(at.get("z").number)};
    return true;
  }
};

class DetourTest : public ::testing::Test {
 protected:
  // A model walking from `a` to `b` over `mesh`.
  void walk(const game::WorldMesh& mesh, const Value& a, const Value& b) {
    std::string error;
    world_ = game::GameWorld::create(mesh, "test", false, {0, 0, 0}, game::Clock::Manual, error);
    ASSERT_NE(world_, nullptr) << error;
    game_ = std::make_unique<host::link::LocalLiveGame>(*world_);
    session_.live_game = game_.get();
    Value walker = obj({{"id", str("m")}, {"actor", str("cart")}, {"kind", str("mod")}, {"position", a}});
    walker["path"] = obj({{"points", arr({a, b})}, {"mode", str("once")}, {"speed", num(60)}});
    session_.add("windfall", obj({{"actors", arr({walker})}}));
  }

  bool run(const std::string& method, Value& answer, std::string& error) {
    const Value params = obj({{"id", str("m")}, {"from", num(1)}});
    return method == "suggest" ? suggest_detour(session_, params, answer, error)
                               : apply_detour(session_, params, answer, error);
  }

  // Applies the detour and answers its points after check_route passed every segment of the new walk.
  std::vector<Value> applied_and_checked() {
    std::string error;
    Value answer;
    EXPECT_TRUE(run("apply", answer, error)) << error;
    const auto checked = session_.run("check_route", obj({{"id", str("m")}}));
    EXPECT_TRUE(checked.ok) << checked.error;
    for (const Value& segment : checked.result.get("segments").items) EXPECT_TRUE(segment.get("ok").boolean);
    EXPECT_EQ(checked.result.get("segments"), answer.get("check").get("segments"));
    const std::vector<Value>& stored =
        session_.packages["windfall"].document["actors"].items[0]["path"]["points"].items;
    const std::vector<Value>& points = answer.get("points").items;
    EXPECT_EQ(std::vector<Value>(stored.begin() + 1, stored.end() - 1), points) << "inserted as suggested";
    return points;
  }

  PlacingSession session_;
  std::unique_ptr<game::GameWorld> world_;
  std::unique_ptr<host::link::LocalLiveGame> game_;
};

TEST_F(DetourTest, ABlockOnFlatGroundIsWalkedAroundInOneChange) {
  game::WorldMesh mesh;
  mesh.add_floor(-kHalf, kHalf, -kHalf, kHalf, 0);
  mesh.add_floor(-100, 100, -100, 100, 80);  // the block's top: a step up too high, below the probes
  walk(mesh, point(-500, 0, 0), point(500, 0, 0));
  const auto straight = session_.run("check_route", obj({{"id", str("m")}}));
  ASSERT_EQ(straight.result.get("segments").items.at(0).get("problem").str, "a step up too high (a wall)");
  const std::vector<Value> points = applied_and_checked();
  EXPECT_FALSE(points.empty());
  const std::vector<std::string> changes(session_.calls.begin(), session_.calls.end());
  EXPECT_EQ(std::count(changes.begin(), changes.end(), "change Walk around the problem after point 1 of m"), 1);
  EXPECT_EQ(session_.packages["windfall"].document.get("actors").items[0].get("path").get("points").items.size(),
            points.size() + 2);
}

TEST_F(DetourTest, AWallWithARampAtOneEndIsCrossedOverTheRamp) {
  game::WorldMesh mesh;
  mesh.add_floor(-kHalf, 0, -kHalf, kHalf, 0);                                  // low ground
  mesh.add_floor(0, kHalf, -kHalf, kHalf, 300);                                 // high ground behind the wall at x = 0
  mesh.add_quad({-600, 0, 400}, {-600, 0, 600}, {0, 300, 600}, {0, 300, 400});  // the ramp, facing up
  walk(mesh, point(-300, 0, 0), point(300, 300, 0));
  bool on_ramp = false;
  for (const Value& p : applied_and_checked()) {
    on_ramp = on_ramp || (p.get("z").number >= 400 && p.get("z").number <= 600 && p.get("x").number < 0);
  }
  EXPECT_TRUE(on_ramp) << "the way goes over the ramp";
}

TEST_F(DetourTest, ACliffWithNoWayDownWithinTheBoundIsAClearError) {
  game::WorldMesh mesh;
  mesh.add_floor(-kHalf, 0, -kHalf, kHalf, 300);
  mesh.add_floor(0, kHalf, -kHalf, kHalf, 0);
  walk(mesh, point(-300, 300, 0), point(300, 0, 0));
  const Value before = session_.packages["windfall"].document;
  std::string error;
  Value answer;
  EXPECT_FALSE(run("apply", answer, error));
  EXPECT_TRUE(answer.is_null());
  EXPECT_EQ(error, "no walkable way from point 1 to point 2 within 1000 units");
  EXPECT_EQ(session_.packages["windfall"].document, before) << "nothing changed";
}

// A segment that passes needs no points, even beside a wall too high for the check's probes; applying a
// detour to it changes nothing and says so (it once recorded an empty change).
TEST_F(DetourTest, ASegmentThatPassesNeedsNoPointsEvenBesideAWallTooHighForTheChecksProbes) {
  game::WorldMesh mesh;
  mesh.add_floor(-kHalf, kHalf, -kHalf, kHalf, 0);
  mesh.add_floor(-100, 100, -100, 100, 500);  // above the check's probes: the check does not see it
  walk(mesh, point(-500, 0, 0), point(500, 0, 0));
  std::string error;
  Value answer;
  ASSERT_TRUE(run("suggest", answer, error)) << error;
  EXPECT_EQ(answer.get("points"), Value::array());
  EXPECT_EQ(answer.get("ratio").number, 1);

  const Value before = session_.packages["windfall"].document;
  Value applied;
  ASSERT_TRUE(run("apply", applied, error)) << error;
  EXPECT_EQ(applied.get("note").str, "the segment from point 1 to point 2 already passes: nothing was changed");
  EXPECT_EQ(session_.packages["windfall"].document, before);
  for (const std::string& call : session_.calls) EXPECT_EQ(call.rfind("change", 0), std::string::npos) << call;
}

TEST_F(DetourTest, RefusesWhatItCannotSearch) {
  const std::string from_range_needed = "suggest_detour needs \"from\", a whole number from 0 to 9007199254740992";
  const std::string from_range = "suggest_detour: \"from\" is a whole number from 0 to 9007199254740992";
  game::WorldMesh mesh;
  mesh.add_floor(-kHalf, kHalf, -kHalf, kHalf, 0);
  walk(mesh, point(-500, 0, 0), point(500, 0, 0));
  const struct {
    const char* name;
    Value params;
    std::string error;
    // clang-format off
  } cases[] = {
      {.name = "no such actor", .params = obj({{"id", str("x")}, {"from", num(1)}}), .error = "no placed actor \"x\""},
      {.name = "no such segment", .params = obj({{"id", str("m")}, {"from", num(2)}}), .error = "no segment of m's walk starts at point 2"},
      {.name = "from missing", .params = obj({{"id", str("m")}}), .error = from_range_needed},
      {.name = "from null", .params = obj({{"id", str("m")}, {"from", Value()}}), .error = from_range_needed},
      {.name = "from as text", .params = obj({{"id", str("m")}, {"from", str("1")}}), .error = from_range},
      {.name = "from not whole", .params = obj({{"id", str("m")}, {"from", num(1.5)}}), .error = from_range},
      {.name = "from negative", .params = obj({{"id", str("m")}, {"from", num(-1)}}), .error = from_range},
      {.name = "from beyond a count", .params = obj({{"id", str("m")}, {"from", num(1e30)}}), .error = from_range},
      {.name = "no route",
       .params = obj({{"id", str("still")}, {"from", num(0)}}),
       .error = "still has no route yet: add_route_point adds its first point"},
      {.name = "may not walk",
       .params = obj({{"id", str("barrel")}, {"from", num(0)}}),
       .error = "barrel may not walk: only residents, Bokoblins, Moblins and the mod's own models walk routes"},
  };
  // clang-format on
  Value& placed = session_.packages["windfall"].document["actors"];
  placed.items.push_back(obj({{"id", str("still")}, {"actor", str("cart")}, {"kind", str("mod")}}));
  placed.items.push_back(obj({{"id", str("barrel")},
                              {"actor", str("barrel")},
                              {"kind", str("object")},
                              {"path", obj({{"points", arr({})}})}}));
  for (const auto& c : cases) {
    std::string error;
    Value answer;
    EXPECT_FALSE(suggest_detour(session_, c.params, answer, error)) << c.name;
    EXPECT_EQ(error, c.error) << c.name;
  }
  Value& actors = session_.packages["windfall"].document["actors"];
  actors.items.resize(1);
  actors.items.push_back(actors.items[0]);
  std::string error;
  Value answer;
  EXPECT_FALSE(run("apply", answer, error));
  EXPECT_EQ(error, "2 actors share the id \"m\": give each its own before applying a detour");
  session_.live_game = nullptr;
  EXPECT_FALSE(run("suggest", answer, error));
  EXPECT_EQ(error, "the game is not running");
}

}  // namespace
}  // namespace host
