// The prediction against the game: walkers_at must answer what the simulated game's live_actors shows at
// the same moment, and package_timeline's keys must be the walks as the game walks them.
#include "check/timeline.h"

#include <gtest/gtest.h>

#include <cmath>
#include <fstream>
#include <sstream>

#include "json_text/json_text.h"
#include "link/local_live_game.h"
#include "tests/support/json_helpers.h"
#include "tests/support/windfall_fixture.h"

namespace host {

using check::package_timeline;
using check::walkers_at;
using link::LocalLiveGame;

namespace {

using mods::json::Value;

using support::parsed;

Value demo_document() {
  std::ifstream file(std::string(PATHWRIGHT_EXAMPLES_DIR) + "/windfall/windfall.json");
  std::stringstream text;
  text << file.rdbuf();
  return parsed(text.str());
}

Value package_at(double seconds) {
  Value params = Value::object();
  params["package"] = Value::of("windfall");
  params["seconds"] = Value::of(seconds);
  return params;
}

TEST(WalkersAt, AnswersWhatTheSimulatedGameWalksAtEveryMoment) {
  std::string error;
  std::unique_ptr<LocalLiveGame> game = LocalLiveGame::open("", true, error);
  ASSERT_TRUE(game) << error;
  support::MemorySession session;
  editor::Session::Package& package = session.add("windfall", demo_document());
  session.live_game = game.get();
  ASSERT_TRUE(game->load_package(package, error)) << error;

  // Moments inside walks, pauses and turns, round loops, and long after the "once" walkers arrived.
  std::vector<double> moments;
  for (double t = 0; t < 400; t += 0.37) moments.push_back(t);
  for (double t : {401.5, 777.77, 1234.5, 3599.9}) moments.push_back(t);
  std::size_t compared = 0;
  for (double moment : moments) {
    double now = game->time();
    ASSERT_TRUE(game->advance(moment - now, now, error)) << error;
    Value predicted;
    ASSERT_TRUE(walkers_at(session, package_at(now), predicted, error)) << error;
    const Value live = game->live_actors("windfall");
    const std::vector<Value>& mine = predicted.get("actors").items;
    const std::vector<Value>& theirs = live.get("actors").items;
    ASSERT_EQ(mine.size(), theirs.size()) << "at " << now << " s";
    for (std::size_t k = 0; k < mine.size(); ++k) {
      const Value& a = mine[k].get("position");
      const Value& b = theirs[k].get("position");
      const double apart = std::hypot(a.get("x").number - b.get("x").number, a.get("y").number - b.get("y").number,
                                      a.get("z").number - b.get("z").number);
      EXPECT_TRUE(mine[k].get("id") == theirs[k].get("id") && apart < 0.5 &&
                  mine[k].get("point") == theirs[k].get("point"))
          << theirs[k].get("id").str << " at " << now << " s: predicted " << a.get("x").number << ", "
          << a.get("y").number << ", " << a.get("z").number << " to " << mine[k].get("point").number << "; game "
          << b.get("x").number << ", " << b.get("y").number << ", " << b.get("z").number << " to "
          << theirs[k].get("point").number;
      ++compared;
    }
  }
  EXPECT_GT(compared, 10000u);
}

TEST(WalkersAt, RefusesABadSecondsNamingIt) {
  support::MemorySession session;
  session.add("windfall", demo_document());
  for (const char* seconds : {R"("10")", "-1", "null"}) {
    Value params = package_at(0);
    params["seconds"] = parsed(seconds);
    std::string error;
    Value answer;
    EXPECT_FALSE(walkers_at(session, params, answer, error)) << seconds;
    EXPECT_EQ(error, "walkers_at: \"seconds\" is a number of at least 0") << seconds;
  }
}

class PackageTimelineTest : public support::WindfallTest {
 protected:
  bool timeline(const std::string& params_text, Value& answer, std::string& error) {
    return package_timeline(session, parsed(params_text), answer, error);
  }
};

// The ridge's top and feet become keys where the ground leaves the straight line under a leg.
TEST_F(PackageTimelineTest, KeysFollowTheWalkAndTheGroundIsAskedInBatches) {
  session.add("walks", parsed(R"({"actors":[
      {"id":"m","kind":"mod","path":{"speed":50,"mode":"loop","pauses":1,
       "points":[{"x":0,"y":7,"z":0},{"x":100,"y":7,"z":0},{"x":100,"y":7,"z":100}]}},
      {"id":"sign","actor":"sign","position":{"x":3.04,"y":0,"z":-2.25}}]})"));
  connect_game();
  game.ground = [](const story_notebook::WorldPoint& probe, float& height) {
    height = probe.x > 40 && probe.x < 60 ? 60.0f : 10.0f;  // a ridge across both legs through x = 50
    return true;
  };
  std::string error;
  Value answer;
  ASSERT_TRUE(timeline(R"({"package":"walks","seconds":7.5})", answer, error)) << error;
  EXPECT_EQ(game.batch_probes.size(), 3u)
      << "the walks' points, the ground along their legs, the places at the horizon";
  const Value expected = parsed(R"({"seconds":7.5,"walkers":[{"id":"m","keys":[
      [0,0,10,0,2,"walking"],[0.5,25,10,0,2,"walking"],[1,50,60,0,2,"walking"],[1.5,75,10,0,2,"walking"],
      [2,100,10,0,3,"pausing"],[3,100,10,0,3,"walking"],[5,100,10,100,1,"pausing"],[6,100,10,100,1,"walking"],
      [6.943,66.7,10,66.7,1,"walking"],[7.414,50,60,50,1,"walking"],[7.5,47,60,47,1,"walking"]]}],
      "standing":[{"id":"sign","position":{"x":3,"y":0,"z":-2.3}}]})");
  EXPECT_EQ(answer, expected);
}

TEST_F(PackageTimelineTest, RefusesAHorizonOutsideItsRange) {
  for (const char* params : {R"({"seconds":0.5})", R"({"seconds":3601})", R"({"seconds":"600"})"}) {
    std::string error;
    Value answer;
    EXPECT_FALSE(timeline(params, answer, error)) << params;
    EXPECT_EQ(error, "package_timeline: \"seconds\" is a number from 1 to 3600") << params;
  }
}

}  // namespace
}  // namespace host
