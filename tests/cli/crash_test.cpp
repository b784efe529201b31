// `pathwright serve` killed with SIGKILL at random moments while it takes a stream of changes: every
// answered change must survive, nothing unanswered may appear (the one in flight may go either way), the
// package file must always parse, and undo must still work afterwards. Seeded; the seed is printed, and
// PATHWRIGHT_SEED replays a run; PATHWRIGHT_CRASH_ROUNDS raises the number of kills for a long run
// outside CI. After every kill, the next open must leave no temporary of a cut-short save in the store.
#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <optional>
#include <random>
#include <thread>

#include "tests/cli/pathwright_process.h"
#include "tests/support/seeded_random.h"

namespace host::testing {
namespace {

using namespace std::chrono_literals;

constexpr int kRounds = 8;  // server lives, each ended by SIGKILL, unless PATHWRIGHT_CRASH_ROUNDS says otherwise
constexpr int kMaxChangesPerRound = 25;
constexpr int kInFlightKillMaxMicros = 3000;  // µs after sending the last request: usually mid-request
constexpr int kIdleKillMaxMillis = 1200;      // ms: long enough to land while the journal is folded
constexpr int kPauseMaxMillis = 120;          // ms between some changes, so folding happens mid-stream

// Actors of the demo store that have a route, so both kinds of change apply to them.
const char* const kWalkers[] = {
    "gate_guard",      "baker_ub3",      "bar_worker_uw1", "well_dressed_uo3", "young_woman_uw2", "bar_sailor_sa1",
    "dock_sailor_sa3", "beach_bokoblin", "cliff_moblin",   "ferry_cart",       "kite_runner",     "lantern_porter",
};

struct Change {
  bool add;  // add_route_point, or move_route_point on point 1
  Value params;
};

// Names in the store or its journal folder that a save's temporary would have (NAME.tmp-XXXXXX).
std::vector<std::string> temporaries_in(const std::string& store) {
  std::vector<std::string> found;
  for (const std::string& folder : {store, store + "/.pathwright"}) {
    if (!std::filesystem::is_directory(folder)) continue;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
      if (entry.path().filename().string().find(".tmp-") != std::string::npos) found.push_back(entry.path());
    }
  }
  return found;
}

// Applies `change` to `document` the way the route service does (integral coordinates round to
// themselves, and no game snaps them).
void apply(Value& document, const Change& change) {
  for (Value& actor : document["actors"].items) {
    if (actor.get("id") != change.params.get("id")) continue;
    std::vector<Value>& points = actor["path"]["points"].items;
    (change.add ? points.emplace_back() : points[0]) = change.params.get("position");
    return;
  }
}

TEST(ServeCrash, AnsweredChangesSurviveSigkillAndUndoStillWorks) {
  std::mt19937 random = test_support::seeded_random();
  auto roll = [&](int low, int high) { return std::uniform_int_distribution<int>(low, high)(random); };

  auto store = demo_store();
  ASSERT_NE(store, nullptr);
  const std::string package_file = store->path() + "/windfall.json";
  const std::vector<std::string> args{"serve", "--store", store->path()};
  const std::string log = store->path() + "/serve.log";

  Value model = parse(file_text(package_file));  // the document as every change known to be applied left it
  Value before;                                  // the document before the last applied change
  std::optional<Change> in_flight;               // sent, then killed before its answer came
  auto applied = [&](const Change& change) {
    before = model;
    apply(model, change);
  };
  // The restarted server's document must be the model, or the model plus the change that was in flight.
  auto recovered = [&](Child& server) {
    const Value document = server.call("document").get("result").get("document");
    if (in_flight) {
      Value with = model;
      apply(with, *in_flight);
      if (document == with) applied(*in_flight);
      in_flight.reset();
    }
    return document == model;
  };

  const char* rounds_given = std::getenv("PATHWRIGHT_CRASH_ROUNDS");
  const int rounds = rounds_given ? std::atoi(rounds_given) : kRounds;
  for (int round = 0; round < rounds; ++round) {
    SCOPED_TRACE("round " + std::to_string(round));
    Child server(PATHWRIGHT_BINARY, args, log);
    ASSERT_TRUE(recovered(server)) << "the package lost an answered change or holds an unanswered one";
    ASSERT_EQ(temporaries_in(store->path()), std::vector<std::string>{}) << "a cut-short save left litter";
    for (int k = roll(1, kMaxChangesPerRound); k > 0; --k) {
      Change change{roll(0, 1) != 0, parse(R"({"position":{"y":100}})")};
      change.params["id"] = Value::of(kWalkers[roll(0, std::size(kWalkers) - 1)]);
      for (const char* axis : {"x", "z"}) change.params["position"][axis] = Value::of(double(roll(-1400, 1400)));
      if (!change.add) change.params["point"] = Value::of(1.0);
      ASSERT_TRUE(server.request(change.add ? "add_route_point" : "move_route_point", change.params));
      // The last change: kill the server soon after sending it, or after it has gone quiet.
      const bool last = k == 1;
      if (last) {
        std::this_thread::sleep_for(roll(0, 2) != 0 ? roll(0, kInFlightKillMaxMicros) * 1us
                                                    : roll(0, kIdleKillMaxMillis) * 1ms);
        server.kill_now();
      }
      std::string line;
      // Answered (even if it died since): the change must be there.
      if (server.read_line(line, last ? 0 : kAnswerWaitMs)) {
        ASSERT_TRUE(parse(line).has("result")) << line;
        applied(change);
      } else {
        ASSERT_TRUE(last) << "no answer";
        in_flight = change;
      }
      if (!last && roll(0, 7) == 0) std::this_thread::sleep_for(roll(0, kPauseMaxMillis) * 1ms);
    }
    ASSERT_TRUE(parse(file_text(package_file)).is_object()) << "after the kill";
  }

  Child last(PATHWRIGHT_BINARY, args, log);
  ASSERT_TRUE(recovered(last)) << "the package lost an answered change or holds an unanswered one";
  EXPECT_TRUE(last.call("undo").get("result").has("undone"));
  EXPECT_TRUE(last.call("document").get("result").get("document") == before)
      << "undo did not take back the last change";
  EXPECT_EQ(last.finish(), 0);
}

}  // namespace
}  // namespace host::testing
