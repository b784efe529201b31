// `pathwright serve` killed with SIGKILL at random moments while it takes a stream of changes: every
// answered change must survive, nothing unanswered may appear (the one in flight may go either way), the
// package file must always parse, and undo must still work afterwards. Seeded; the seed is printed, and
// PATHWRIGHT_CRASH_SEED replays a run.
#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <optional>
#include <random>
#include <sstream>
#include <thread>

#include "host/cli/temp_folder.h"
#include "host/json_text/json_text.h"
#include "tests/host/cli/pathwright_process.h"

namespace host::testing {
namespace {

using mods::json::Value;

constexpr int kRounds = 8;                 // server lives, each ended by SIGKILL
constexpr int kMaxChangesPerRound = 25;
constexpr int kInFlightKillMaxMicros = 3000;   // µs after sending the last request: usually mid-request
constexpr int kIdleKillMaxMillis = 1200;       // ms: long enough to land while the journal is folded
constexpr int kPauseMaxMillis = 120;           // ms between some changes, so folding happens mid-stream

// Actors of the demo store that have a route, so both kinds of change apply to them.
const char* const kWalkers[] = {"gate_guard", "baker_ub3",     "bar_worker_uw1", "well_dressed_uo3",
                                "young_woman_uw2", "bar_sailor_sa1", "dock_sailor_sa3", "beach_bokoblin",
                                "cliff_moblin", "ferry_cart",    "kite_runner",    "lantern_porter"};

struct Change {
  std::string method;  // add_route_point or move_route_point
  Value params;
};

// Applies `change` to `document` the way the route service does (integral coordinates round to
// themselves, and no game snaps them).
void apply(Value& document, const Change& change) {
  for (Value& actor : document["actors"].items) {
    if (actor.get("id") != change.params.get("id")) continue;
    std::vector<Value>& points = actor["path"]["points"].items;
    if (change.method == "add_route_point") {
      points.push_back(change.params.get("position"));
    } else {
      points[0] = change.params.get("position");
    }
    return;
  }
}

Change random_change(std::mt19937& random) {
  std::uniform_int_distribution<int> pick(0, std::size(kWalkers) - 1), coordinate(-1400, 1400), coin(0, 1);
  Change change;
  change.method = coin(random) != 0 ? "add_route_point" : "move_route_point";
  change.params = Value::object();
  change.params["id"] = Value::of(kWalkers[pick(random)]);
  Value& position = change.params["position"];
  position["x"] = Value::of(static_cast<double>(coordinate(random)));
  position["y"] = Value::of(100.0);
  position["z"] = Value::of(static_cast<double>(coordinate(random)));
  if (change.method == "move_route_point") change.params["point"] = Value::of(1.0);
  return change;
}

std::string request_line(const Change& change, int id) {
  Value request = Value::object();
  request["jsonrpc"] = Value::of("2.0");
  request["id"] = Value::of(static_cast<double>(id));
  request["method"] = Value::of(change.method);
  request["params"] = change.params;
  return compact(request);
}

bool file_parses(const std::string& path, std::string& error) {
  std::ifstream in(path, std::ios::binary);
  std::stringstream text;
  text << in.rdbuf();
  Value document;
  JsonTextError parse_error;
  if (parse_json(text.str(), document, parse_error) && document.is_object()) return true;
  error = parse_error.message();
  return false;
}

TEST(ServeCrash, AnsweredChangesSurviveSigkillAndUndoStillWorks) {
  unsigned seed = std::random_device{}();
  if (const char* given = std::getenv("PATHWRIGHT_CRASH_SEED")) seed = static_cast<unsigned>(std::strtoul(given, nullptr, 10));
  std::cout << "crash test seed " << seed << " (PATHWRIGHT_CRASH_SEED replays it)" << std::endl;
  RecordProperty("seed", std::to_string(seed));
  std::mt19937 random(seed);

  std::string error;
  auto store = TempFolder::copy_of(std::string(PATHWRIGHT_EXAMPLES_DIR) + "/windfall", error);
  ASSERT_NE(store, nullptr) << error;
  const std::string package_file = store->path() + "/windfall.json";
  const std::vector<std::string> args{"--store", store->path()};
  const std::string log = store->path() + "/serve.log";

  std::optional<Change> in_flight;  // sent, then killed before its answer came
  Value model;                      // the document as every change known to be applied left it
  std::vector<Value> before;        // the document before each applied change, for the undo check
  {
    ServeProcess first(args, log);
    model = first.result("document", Value::object()).get("document");
  }

  // The restarted server's document: the model, or the model plus the change that was in flight.
  auto recover = [&](ServeProcess& server) {
    const Value document = server.result("document", Value::object()).get("document");
    if (in_flight) {
      Value with = model;
      apply(with, *in_flight);
      if (document == with) {
        before.push_back(model);
        model = with;
      }
      in_flight.reset();
    }
    return document == model;
  };

  int id = 1;
  for (int round = 0; round < kRounds; ++round) {
    SCOPED_TRACE("round " + std::to_string(round));
    ServeProcess server(args, log);
    ASSERT_TRUE(recover(server)) << "the package lost an answered change or holds an unanswered one";

    const int changes = std::uniform_int_distribution<int>(1, kMaxChangesPerRound)(random);
    for (int k = 0; k < changes; ++k) {
      const Change change = random_change(random);
      ASSERT_TRUE(server.send(request_line(change, id++)));
      if (k + 1 < changes) {
        std::string line;
        ASSERT_TRUE(server.read_line(line));
        ASSERT_TRUE(parse(line).has("result")) << line;
        before.push_back(model);
        apply(model, change);
        if (std::uniform_int_distribution<int>(0, 7)(random) == 0) {
          std::this_thread::sleep_for(std::chrono::milliseconds(
              std::uniform_int_distribution<int>(0, kPauseMaxMillis)(random)));
        }
        continue;
      }
      // The last change: kill the server soon after sending it, or after it has gone quiet.
      if (std::uniform_int_distribution<int>(0, 2)(random) != 0) {
        std::this_thread::sleep_for(std::chrono::microseconds(
            std::uniform_int_distribution<int>(0, kInFlightKillMaxMicros)(random)));
      } else {
        std::this_thread::sleep_for(std::chrono::milliseconds(
            std::uniform_int_distribution<int>(0, kIdleKillMaxMillis)(random)));
      }
      server.kill_now();
      std::string line;
      if (server.read_line(line, 0)) {  // answered before it died: it must be there
        ASSERT_TRUE(parse(line).has("result")) << line;
        before.push_back(model);
        apply(model, change);
      } else {
        in_flight = change;
      }
    }
    ASSERT_TRUE(file_parses(package_file, error)) << "after the kill: " << error;
  }

  ServeProcess last(args, log);
  ASSERT_TRUE(recover(last)) << "the package lost an answered change or holds an unanswered one";
  ASSERT_FALSE(before.empty());
  EXPECT_TRUE(last.result("undo", Value::object()).has("undone"));
  EXPECT_TRUE(last.result("document", Value::object()).get("document") == before.back())
      << "undo did not take back the last change";
  EXPECT_EQ(last.finish(), 0);
}

}  // namespace
}  // namespace host::testing
