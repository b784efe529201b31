// check_package against the scripted game: every route answers exactly as check_route, the ground of
// the whole package is asked in batches, and without a game the findings still come.
#include "check/package_check.h"

#include <gtest/gtest.h>

#include "tests/support/windfall_fixture.h"

namespace host {

using check::check_package;
using check::kBatchProbes;

namespace {

using mods::json::Value;
using support::arr;
using support::num;
using support::obj;
using support::point;
using support::str;

class PackageCheckTest : public support::WindfallTest {
 protected:
  PackageCheckTest() {
    actor_at(2)["path"] = obj({{"points", arr({point(0, 0, 0), point(0, 0, 300)})}, {"mode", str("loop")}});
    actor_at(3)["path"] = obj({{"points", arr({point(0, 0, 0), point(-80, 0, 0)})}, {"speed", num(60)}});
    // Ground everywhere at 0, but a pit below x from 15 to 25: the walker's route drops into it.
    game.ground = [](const story_notebook::WorldPoint& probe, float& height) {
      height = probe.x > 15 && probe.x < 25 ? -100.0f : 0.0f;
      return true;
    };
  }

  Value check(std::string& error) {
    Value answer;
    EXPECT_TRUE(check_package(session, Value::object(), answer, error)) << error;
    return answer;
  }
};

TEST_F(PackageCheckTest, EveryRouteAnswersAsCheckRouteFromOneGroundQuery) {
  connect_game();
  std::string error;
  const Value answer = check(error);
  // One ground_heights call for every route of the package; the walks the meetings are found on ask theirs after.
  const std::size_t package_calls = game.batch_probes.size();
  ASSERT_GE(package_calls, 1u);
  const Value& routes = answer.get("routes");
  ASSERT_EQ(routes.items.size(), 3u) << "walker, boko and statue; the others have no route or may not walk";
  for (const Value& route : routes.items) {
    const std::string id = route.get("id").str;
    const support::MemorySession::Answer alone = session.run("check_route", params(id));
    ASSERT_TRUE(alone.ok) << alone.error;
    EXPECT_EQ(route.get("segments"), alone.result.get("segments")) << id;
    EXPECT_EQ(route.get("skipped"), alone.result.get("skipped")) << id;
  }
  std::size_t probes = 0;  // asked by check_route, route after route
  for (std::size_t k = package_calls; k < game.batch_probes.size(); ++k) probes += game.batch_probes[k].size();
  EXPECT_EQ(game.batch_probes.front().size(), probes) << "the package's probes are those of its routes";
  EXPECT_FALSE(routes.items[0].get("ok").boolean) << "the walker drops into the pit";
  EXPECT_TRUE(routes.items[1].get("ok").boolean);
  EXPECT_EQ(answer.get("counts"), obj({{"actors", num(7)},
                                       {"routes", num(3)},
                                       {"routes_ok", num(2)},
                                       {"routes_with_problems", num(1)},
                                       {"routes_not_checked", num(0)},
                                       {"errors", num(0)},
                                       {"warnings", answer.get("counts").get("meetings")},
                                       {"meetings", answer.get("counts").get("meetings")}}));
}

TEST_F(PackageCheckTest, ARouteLongerThanOneBatchIsAskedInSeveralCalls) {
  connect_game();
  // 25 units between samples: this segment alone needs more than two batches.
  const double length = 25.0 * static_cast<double>(2 * kBatchProbes + 10);
  actor_at(3)["path"]["points"] = arr({point(0, 0, 0), point(length, 0, 0)});
  std::string error;
  const Value answer = check(error);
  ASSERT_GE(game.batch_probes.size(), 3u);
  for (std::size_t k = 0; k < 3; ++k) EXPECT_LE(game.batch_probes[k].size(), kBatchProbes);
  EXPECT_TRUE(answer.get("routes").items[2].get("ok").boolean);
}

TEST_F(PackageCheckTest, OnlyTheLastActorSharingAnIdIsChecked) {
  connect_game();
  Value twin = actor("walker");
  twin["path"]["points"] = arr({point(100, 0, 0), point(200, 0, 0)});
  session.packages["windfall"].document["actors"].items.push_back(twin);
  std::string error;
  const Value answer = check(error);
  ASSERT_EQ(answer.get("routes").items.size(), 3u);
  EXPECT_TRUE(answer.get("routes").items[2].get("ok").boolean) << "the twin's route avoids the pit";
  const double meetings = answer.get("counts").get("meetings").number;
  EXPECT_EQ(answer.get("findings").items.size(), 1u + static_cast<std::size_t>(meetings));
  EXPECT_EQ(answer.get("counts").get("errors").number, 1);
}

TEST_F(PackageCheckTest, WithoutAGameTheFindingsComeAndNoRouteIsChecked) {
  actor_at(3)["path"].members.erase("speed");
  std::string error;
  const Value answer = check(error);
  EXPECT_FALSE(answer.get("checked").boolean);
  EXPECT_EQ(answer.get("game").str, "the game is not running");
  for (const Value& route : answer.get("routes").items) EXPECT_FALSE(route.get("checked").boolean);
  EXPECT_EQ(answer.get("counts").get("routes_not_checked").number, 3);
  EXPECT_EQ(answer.get("counts").get("warnings").number, 1 + answer.get("counts").get("meetings").number)
      << "the statue's route has no speed";
}

TEST_F(PackageCheckTest, AFailingGameFailsTheCheckWithItsReason) {
  connect_game();
  game.batch_error = "the game went away";
  std::string error;
  Value answer;
  EXPECT_FALSE(check_package(session, Value::object(), answer, error));
  EXPECT_TRUE(answer.is_null());
  EXPECT_EQ(error, "the game went away");
}

// Models A and B walking at each other along x at height 100, 40 units/s, "once".
class MeetingCheckTest : public PackageCheckTest {
 protected:
  MeetingCheckTest() {
    const auto model = [](const char* id, double from, double to) {
      return obj({{"id", str(id)},
                  {"actor", str("cart")},
                  {"kind", str("mod")},
                  {"position", point(from, 100, 0)},
                  {"path", obj({{"points", arr({point(from, 100, 0), point(to, 100, 0)})}, {"speed", num(40)}})}});
    };
    session.packages["windfall"].document["actors"] = arr({model("A", 0, 400), model("B", 400, 0)});
  }

  static Value meeting_at(double y) {
    return obj({{"level", str("warning")},
                {"id", str("A")},
                {"point", num(2)},
                {"other", str("B")},
                {"seconds", num(4.4)},
                {"at", point(200, y, 0)},
                {"times", num(1)},
                {"text", str("meets \"B\" at (200, " + std::to_string(static_cast<int>(y)) + ", 0) after 4.4 s")}});
  }

  bool check_within(const Value& params, Value& answer, std::string& error) {
    return check_package(session, params, answer, error);
  }
};

TEST_F(MeetingCheckTest, TheyMeetOnTheGroundOrWithoutAGameOnTheWrittenHeights) {
  for (const bool game : {false, true}) {
    if (game) connect_game();
    std::string error;
    const Value answer = check(error);
    EXPECT_EQ(answer.get("findings"), arr({meeting_at(game ? 0 : 100)})) << "the ground is at 0 where they meet";
    EXPECT_EQ(answer.get("counts").get("meetings").number, 1);
    EXPECT_EQ(answer.get("counts").get("warnings").number, 1);
  }
}

TEST_F(MeetingCheckTest, TheHorizonIsTheSecondsAsked) {
  const struct {
    Value seconds;
    std::size_t findings;
    const char* error;
    // clang-format off
  } rows[] = {
      {.seconds = num(4.3), .findings = 0, .error = ""},
      {.seconds = num(4.4), .findings = 1, .error = ""},
      {.seconds = num(1), .findings = 0, .error = ""},
      {.seconds = num(3600), .findings = 1, .error = ""},
      {.seconds = num(0.5), .findings = 0, .error = "check_package: \"seconds\" is a number from 1 to 3600"},
      {.seconds = num(3601), .findings = 0, .error = "check_package: \"seconds\" is a number from 1 to 3600"},
      {.seconds = str("600"), .findings = 0, .error = "check_package: \"seconds\" is a number from 1 to 3600"},
  };
  // clang-format on
  for (const auto& row : rows) {
    std::string error;
    Value answer;
    const bool ok = check_within(obj({{"seconds", row.seconds}}), answer, error);
    EXPECT_EQ(error, row.error) << row.seconds.number;
    EXPECT_EQ(ok, error.empty());
    if (ok) { EXPECT_EQ(answer.get("findings").items.size(), row.findings) << row.seconds.number; }
  }
}

}  // namespace
}  // namespace host
