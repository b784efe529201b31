#include "cli/tour.h"

#include <cmath>
#include <functional>
#include <vector>

#include "json_text/json_text.h"
#include "server/json_rpc.h"
#include "server/workbench.h"

namespace host::cli {

using server::CallOutcome;
using server::JsonRpcServer;
using server::Workbench;
using server::WorkbenchOptions;
namespace rpc_code = server::rpc_code;

namespace {

using mods::json::Value;

// How long the tour lets the simulated game walk before it asks where a resident is (s). The baker needs
// about 2.8 s from her doorstep to her first point, so after this she is on the way.
constexpr double kWalkSeconds = 2.0;

// The time the timeline step asks about (s after the walks start): every walker is under way by then.
constexpr double kTimelineSeconds = 10.0;

// "" when `answer` is as the step expects, else what differs.
using Check = std::function<std::string(const Value& answer, Workbench& bench)>;

struct Step {
  const char* explanation;
  const char* method;
  const char* params;  // JSON object text
  Check check;
  double advance_first = 0;  // seconds to let the game walk before the request
};

using json_text::compact;

// A check on a successful answer's result: `test` answers "" or what is wrong.
Check result(std::function<std::string(const Value&)> test) {
  return [test](const Value& answer, Workbench&) -> std::string {
    if (!answer.has("result")) return "expected a result, got " + compact(answer.get("error"));
    return test(answer.get("result"));
  };
}

Check failure(int code, std::string message) {
  return [code, message](const Value& answer, Workbench&) -> std::string {
    const Value& error = answer.get("error");
    if (!error.is_object()) return "expected an error, got a result";
    if (error.get("code").number != code || error.get("message").string("") != message) {
      return "expected error " + std::to_string(code) + " \"" + message + "\"";
    }
    return "";
  };
}

std::string expect_equal(const Value& actual, const Value& wanted, const std::string& what) {
  return actual == wanted ? "" : what + " is " + compact(actual) + ", expected " + compact(wanted);
}

Value point(double x, double y, double z) {
  Value p = Value::object();
  p["x"] = Value::of(x);
  p["y"] = Value::of(y);
  p["z"] = Value::of(z);
  return p;
}

// The stored route points of actor `id`, read through the host's "document" command.
Value route_points(Workbench& bench, const std::string& id) {
  Value params = Value::object();
  params["package"] = Value::of("windfall");
  CallOutcome outcome = bench.run("document", params);
  for (const Value& actor : outcome.result.get("document").get("actors").items) {
    if (actor.get("id").string("") == id) return actor.get("path").get("points");
  }
  return Value();
}

// The check_route segment that goes from point `from`, or null.
const Value* segment_from(const Value& result, double from) {
  for (const Value& segment : result.get("segments").items) {
    if (segment.get("from").number == from) return &segment;
  }
  return nullptr;
}

// Placed where Link stands, the baker's fifth point is stored on the ground below him.
std::string placed_where_link_stands(const Value& answer, Workbench& bench) {
  if (!answer.has("result")) return "expected a result";
  std::string problem = expect_equal(answer.get("result").get("point"), Value::of(5.0), "the new point");
  if (!problem.empty()) return problem;
  const Value& points = route_points(bench, "baker_ub3");
  if (points.items.size() != 5) return "the baker's route does not hold 5 points";
  return expect_equal(points.items[4], point(0, 100, 200), "the stored point");
}

// The young man's draft route: a drop, a fine segment, a wall, then floating; each problem with its "at".
std::string cliff_route_problems(const Value& r) {
  const std::pair<double, const char*> wanted[] = {
      {0, "a drop"}, {1, ""}, {2, "a step up too high (a wall)"}, {3, "the ground is far from the route's height"}};
  for (const auto& [from, problem] : wanted) {
    const Value* segment = segment_from(r, from);
    if (segment == nullptr) return "no segment from point " + std::to_string(static_cast<int>(from));
    const bool fine = *problem == '\0';
    std::string wrong = expect_equal(segment->get("problem"), fine ? Value() : Value::of(problem),
                                     "the problem after point " + std::to_string(static_cast<int>(from)));
    if (!wrong.empty()) return wrong;
    if (!fine && !segment->get("at").is_object()) return "no \"at\" for a problem";
  }
  return std::string();
}

// The baker walks from her door towards point 1 and is part of the way there.
std::string baker_on_her_way(const Value& r) {
  const Value& route = r.get("route").is_object() ? r.get("route") : r;
  std::string problem = expect_equal(route.get("state"), Value::of("walking"), "her state");
  if (problem.empty()) problem = expect_equal(route.get("target"), Value::of(1.0), "her target");
  const double x = route.get("position").get("x").number;
  if (problem.empty() && !(x > 200 && x < 300)) problem = "she is not between her door and point 1";
  return problem;
}

// A check that a successful answer's `member` equals `wanted`.
Check result_member(const char* member, Value wanted, const char* what) {
  return result([member, wanted, what](const Value& r) { return expect_equal(r.get(member), wanted, what); });
}

// A check that a successful answer's array `member` holds `count` items.
Check result_count(const char* member, double count, const char* what) {
  return result([member, count, what](const Value& r) {
    return expect_equal(Value::of(static_cast<double>(r.get(member).items.size())), Value::of(count), what);
  });
}

// The first part of the tour: listing the package and editing routes, with undo and redo.
std::vector<Step> editing_steps() {
  return {
      {"Pathwright runs on a copy of the demo store, with the simulated game of the island in-process.", "status", "{}",
       result([](const Value& r) {
         return expect_equal(r.get("game").get("world"), Value::of("island"), "the game's world");
       })},
      {"The package places 30 actors; each says whether it may walk a route.", "actors", R"({"package":"windfall"})",
       result_count("actors", 32, "the number of actors")},
      {"Add a third point to the gate guard's patrol, a little east of her second one.", "add_route_point",
       R"({"package":"windfall","id":"gate_guard","position":{"x":-150,"y":100,"z":1100}})",
       result_member("point", Value::of(3.0), "the new point")},
      {"Move that point 200 units north.", "move_route_point",
       R"({"package":"windfall","id":"gate_guard","point":3,"position":{"x":-150,"y":100,"z":1300}})",
       result_member("id", Value::of("gate_guard"), "the actor")},
      {"Make it her first point instead of her last.", "reorder_route_point",
       R"({"package":"windfall","id":"gate_guard","point":3,"to":1})",
       result_member("id", Value::of("gate_guard"), "the actor")},
      {"On second thought, remove it again.", "remove_route_point",
       R"({"package":"windfall","id":"gate_guard","point":1})",
       result_member("route_removed", Value(), "\"route_removed\"")},
      {"Let her walk round in a loop, pausing 2 seconds at each point.", "set_route",
       R"({"package":"windfall","id":"gate_guard","mode":"loop","pauses":2})",
       result_member("id", Value::of("gate_guard"), "the actor")},
      {"The ferry cart is one of the mod's own models: give it more speed and its own walk animation.", "set_route",
       R"({"package":"windfall","id":"ferry_cart","speed":120,"walk":"gallop"})",
       result_member("id", Value::of("ferry_cart"), "the actor")},
      {"The seated man by the harbour does not walk, and Pathwright says so.", "add_route_point",
       R"({"package":"windfall","id":"harbour_seated_ym1","position":{"x":150,"y":100,"z":-1300}})",
       failure(rpc_code::kCommandFailed, "this villager is seated and does not walk")},
      {"Undo the last change.", "undo", R"({"package":"windfall"})",
       result_member("undone", Value::of("Route settings of ferry_cart"), "the undone change")},
      {"And redo it.", "redo", R"({"package":"windfall"})",
       result_member("redone", Value::of("Route settings of ferry_cart"), "the redone change")},
      {"Every change is in the package's history, which survives restarts.", "history", R"({"package":"windfall"})",
       result_count("changes", 6, "the number of changes")},
  };
}

// The second part: what the game adds, the ground below points and routes and what residents walk.
std::vector<Step> game_steps() {
  return {
      {"With the game running, a point can be placed where Link stands; it lands on the ground.", "add_route_point",
       R"({"package":"windfall","id":"baker_ub3","at":"link"})", placed_where_link_stands},
      {"A point over the open sea keeps its height, with a note saying why it is not on the ground.", "add_route_point",
       R"({"package":"windfall","id":"pier_sailor_sa4","position":{"x":0,"y":100,"z":-3000}})",
       result_member("snap_note", Value::of("not on the ground: open sea below (0, -3000)"), "the snap note")},
      {"The young man's draft route jumps off the cliff, climbs it back and floats above the town.", "check_route",
       R"({"package":"windfall","id":"young_man_um2"})", result(cliff_route_problems)},
      {"The game walks what was just edited: two seconds later the baker is on her way to point 1.", "route_status",
       R"({"package":"windfall","id":"baker_ub3"})", result(baker_on_her_way), kWalkSeconds},
      {"Remove the pier sailor's route; the game stops walking him at once.", "remove_route",
       R"({"package":"windfall","id":"pier_sailor_sa4"})",
       result_member("id", Value::of("pier_sailor_sa4"), "the actor")},
      {"Asked about him, the game says it walks nothing for him.", "route_status",
       R"({"package":"windfall","id":"pier_sailor_sa4"})",
       failure(rpc_code::kCommandFailed, "no live route for \"pier_sailor_sa4\"")},
  };
}

// The map's timeline bar shows the package as the game will walk it: every walker placed at a time.
std::string walkers_after_ten_seconds(const Value& r) {
  std::string problem = expect_equal(r.get("seconds"), Value::of(kTimelineSeconds), "the time");
  if (!problem.empty()) return problem;
  if (r.get("actors").items.empty()) return "no walker is placed";
  for (const Value& actor : r.get("actors").items) {
    if (actor.get("id").string("") == "baker_ub3") {
      return actor.get("point").number >= 1 ? "" : "the baker is not walking to one of her points";
    }
  }
  return "the baker is not among the walkers";
}

// The third part: the package over time, as the map's timeline bar plays it.
std::vector<Step> timeline_steps() {
  return {
      {"The map's timeline bar (Space plays it) predicts the whole package without asking the game: "
       "where every walker is 10 s after the walks start.",
       "walkers_at", R"({"package":"windfall","seconds":10})", result(walkers_after_ten_seconds)},
  };
}

std::vector<Step> steps() {
  std::vector<Step> tour = editing_steps();
  for (Step& step : game_steps()) tour.push_back(std::move(step));
  for (Step& step : timeline_steps()) tour.push_back(std::move(step));
  return tour;
}

}  // namespace

bool run_tour(const std::string& examples_dir, std::ostream& out) {
  WorkbenchOptions options;
  options.demo = true;
  options.manual_clock = true;  // the tour decides when time passes, so its answers are the same each run
  options.examples_dir = examples_dir;
  std::string error;
  std::unique_ptr<Workbench> bench = Workbench::open(options, error);
  if (!bench) {
    out << "the tour cannot start: " << error << "\n";
    return false;
  }
  std::vector<std::string> notes;
  bench->on_note = [&notes](const std::string& text) { notes.push_back(text); };
  JsonRpcServer server([&bench](const std::string& method, const Value& params) { return bench->run(method, params); });

  const std::vector<Step> tour = steps();
  int failed = 0;
  for (std::size_t k = 0; k < tour.size(); ++k) {
    const Step& step = tour[k];
    out << "\n[" << k + 1 << "/" << tour.size() << "] " << step.explanation << "\n";
    if (step.advance_first > 0) {
      out << "    (the game walks for " << step.advance_first << " s)\n";
      if (!bench->advance_game(step.advance_first, error)) {
        out << "    !! the game's clock did not move on: " << error << "\n";
        ++failed;
        continue;
      }
    }
    const std::string request = std::string(R"({"jsonrpc":"2.0","id":)") + std::to_string(k + 1) + R"(,"method":")" +
                                step.method + R"(","params":)" + step.params + "}";
    out << "    -> " << request << "\n";
    const std::string answer_text = server.answer_line(request);
    out << "    <- " << answer_text << "\n";
    Value answer;
    json_text::JsonTextError parse_error;
    std::string problem = json_text::parse_json(answer_text, answer, parse_error)
                              ? step.check(answer, *bench)
                              : "the answer is not JSON: " + parse_error.message();
    if (!problem.empty()) {
      out << "    !! not as expected: " << problem << "\n";
      ++failed;
    }
  }
  for (const std::string& note : notes) out << "note: " << note << "\n";
  if (!bench->flush(error)) {
    out << "the tour's store could not be saved: " << error << "\n";
    ++failed;
  }
  out << "\n"
      << (failed == 0 ? "Every step answered as expected."
                      : std::to_string(failed) + " step(s) did not answer as expected.")
      << "\n";
  return failed == 0;
}

}  // namespace host::cli
