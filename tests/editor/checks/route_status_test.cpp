// route_status hands back whatever the game walks, and reports missing pieces in order.
#include "editor/checks/route_status.h"

#include <gtest/gtest.h>

#include "tests/support/windfall_fixture.h"

namespace {

using mods::json::Value;
using namespace support;  // the terse value builders and the fixture

class RouteStatus : public support::WindfallTest {};

TEST_F(RouteStatus, AnyNonNullAnswerOfTheGameIsTheResult) {
  connect_game();
  for (const Value& live : {obj({{"state", str("walking")}}), arr({num(1)}), str("x"), num(0), Value::of(false)}) {
    game.live = live;
    const auto answer = session.run("route_status", params("anyone"));
    EXPECT_ANSWERED(answer);
    EXPECT_EQ(answer.result, live);
  }
  EXPECT_EQ(game.live_asks.back(), "windfall/anyone");
}

TEST_F(RouteStatus, FailuresAreReportedPackageFirstThenGameThenRoute) {
  EXPECT_EQ(session.run("route_status", params("walker", {{"package", str("x")}})).error,
            "no package \"x\" in the store");
  EXPECT_EQ(session.run("route_status", params("walker")).error, "the game is not running");
  connect_game();
  const auto answer = session.run("route_status", obj({}));
  EXPECT_EQ(answer.error, "no live route for \"\"");
  EXPECT_TRUE(answer.result.is_null());
  EXPECT_EQ(game.live_asks, std::vector<std::string>{"windfall/"});
}

}  // namespace
