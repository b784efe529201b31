// The route service's own cost per command on large packages, through the in-memory session (edits in
// place, so no document copy is measured). Each command is measured beside a baseline from the same
// run: the plain scan for the actor by id that any edit must make, and for check_route the scripted
// game answering the same probes on its own.
#include <benchmark/benchmark.h>

#include <string>

#include "editor/live_game.h"
#include "tests/support/builders.h"
#include "tests/support/memory_session.h"

namespace {

using mods::json::Value;
using support::arr;
using support::num;
using support::obj;
using support::point;
using support::str;

constexpr int kRoutePoints = 100;  // points of the route that check_route walks

// A package of `count` actors; the edited and checked actor "target" stands last, the worst case for
// the scan by id.
support::MemorySession& session_with(int count) {
  static std::map<int, support::MemorySession> sessions;
  auto found = sessions.find(count);
  if (found != sessions.end()) return found->second;
  support::MemorySession& session = sessions[count];
  session.edits = support::MemorySession::Edits::InPlace;
  Value actors = Value::array();
  actors.items.reserve(static_cast<std::size_t>(count));
  for (int i = 0; i + 1 < count; ++i) {
    actors.items.push_back(obj({{"id", str("villager_" + std::to_string(i))},
                                {"actor", str("resident")},
                                {"parameters", obj({{"resident", str("ub3")}})},
                                {"position", point(i % 500, 100, i / 500)}}));
  }
  std::vector<Value> route;
  for (int k = 0; k < kRoutePoints; ++k) route.push_back(point(k * 40.0, 100, (k % 2) * 30.0));
  actors.items.push_back(obj({{"id", str("target")},
                              {"actor", str("resident")},
                              {"position", point(0, 100, 0)},
                              {"path", obj({{"points", arr(route)}, {"mode", str("loop")}})}}));
  session.add("windfall", obj({{"actors", std::move(actors)}}));
  return session;
}

void BM_BaselineFindActor(benchmark::State& state) {
  const Value& document = session_with(static_cast<int>(state.range(0))).packages["windfall"].document;
  for (auto _ : state) {
    const Value* hit = nullptr;
    for (const Value& actor : document.get("actors").items) {
      const Value& id = actor.get("id");
      if (id.kind == Value::Kind::String && id.str == "target") {
        hit = &actor;
        break;
      }
    }
    benchmark::DoNotOptimize(hit);
  }
}

void BM_AddRoutePoint(benchmark::State& state) {
  support::MemorySession& session = session_with(static_cast<int>(state.range(0)));
  const Value params = obj({{"id", str("target")}, {"after", num(0)}});
  const Value remove = obj({{"id", str("target")}, {"point", num(1)}});
  for (auto _ : state) {
    auto answer = session.run("add_route_point", params);
    benchmark::DoNotOptimize(answer);
    state.PauseTiming();
    session.run("remove_route_point", remove);  // keeps the route at its size
    session.calls.clear();
    state.ResumeTiming();
  }
}

void BM_MoveRoutePoint(benchmark::State& state) {
  support::MemorySession& session = session_with(static_cast<int>(state.range(0)));
  const Value params = obj({{"id", str("target")}, {"point", num(50)}, {"position", point(1000, 100, 15)}});
  for (auto _ : state) {
    auto answer = session.run("move_route_point", params);
    benchmark::DoNotOptimize(answer);
    session.calls.clear();
  }
}

void BM_CheckRoute(benchmark::State& state) {
  support::MemorySession& session = session_with(static_cast<int>(state.range(0)));
  support::ScriptedGame game;
  session.live_game = &game;
  const Value params = obj({{"id", str("target")}});
  for (auto _ : state) {
    auto answer = session.run("check_route", params);
    benchmark::DoNotOptimize(answer);
    game.batch_probes.clear();
    session.calls.clear();
  }
  session.live_game = nullptr;
}

// The game's share of check_route: answering the same number of probes, without the route service.
void BM_BaselineGroundAnswers(benchmark::State& state) {
  support::MemorySession& session = session_with(static_cast<int>(state.range(0)));
  support::ScriptedGame game;
  session.live_game = &game;
  session.run("check_route", obj({{"id", str("target")}}));
  const std::vector<story_notebook::WorldPoint> probes = game.batch_probes.at(0);
  session.live_game = nullptr;
  for (auto _ : state) {
    std::vector<float> heights;
    std::vector<bool> found;
    std::string error;
    game.ground_heights(probes, heights, found, error);
    game.batch_probes.clear();
    benchmark::DoNotOptimize(heights);
  }
  state.counters["probes"] = static_cast<double>(probes.size());
}

BENCHMARK(BM_BaselineFindActor)->Arg(1000)->Arg(50000)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_AddRoutePoint)->Arg(1000)->Arg(50000)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_MoveRoutePoint)->Arg(1000)->Arg(50000)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_BaselineGroundAnswers)->Arg(1000)->Arg(50000)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_CheckRoute)->Arg(1000)->Arg(50000)->Unit(benchmark::kMicrosecond);

}  // namespace

BENCHMARK_MAIN();
