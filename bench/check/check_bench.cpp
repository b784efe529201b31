// check_package of 1,000 walkers over the built-in island (goal: under 100 ms), beside the same routes
// checked one check_route at a time in the same run; the meeting search over those walkers' tracks for
// 600 s on the island's ground (goal: under 250 ms), beside the same baseline; and suggest_detour around a block on
// flat ground for segments of 200 and 1,000 units (goal: under 200 ms), with the probes it used, beside the game
// answering that many probes on its own.
#include <benchmark/benchmark.h>

#include "check/detour.h"
#include "check/meetings.h"
#include "check/package_check.h"
#include "game/game_world.h"
#include "link/local_live_game.h"
#include "tests/support/builders.h"
#include "tests/support/memory_session.h"
#include "walking/package_walk.h"

namespace {

using mods::json::Value;
using support::arr;
using support::num;
using support::obj;
using support::point;
using support::str;

constexpr int kWalkers = 1000;
constexpr int kRoutePoints = 4;  // points of each walker's route, after its own position
// Resident types of several paces (36, 60, 72 and 34 units/s), so that neighbours fall out of step and meet.
const char* const kResidentTypes[] = {"ub3", "uo3", "um2", "uw1"};

struct IslandPackage {
  std::unique_ptr<game::GameWorld> world;
  std::unique_ptr<host::link::LocalLiveGame> live;
  support::MemorySession session;

  IslandPackage() {
    std::string error;
    world = game::GameWorld::island(game::Clock::Manual, error);
    live = std::make_unique<host::link::LocalLiveGame>(*world);
    session.live_game = live.get();
    Value actors = Value::array();
    for (int i = 0; i < kWalkers; ++i) {
      // Small loops spread over the town plateau, west of the wall and east of it.
      const double x = -1900 + (i % 40) * 80.0 + (i % 2 == 0 ? 0 : 1100), z = -1400 + (i / 40) * 100.0;
      std::vector<Value> points;
      for (int k = 0; k < kRoutePoints; ++k) points.push_back(point(x + (k % 2) * 60.0, 100, z + (k / 2) * 60.0));
      actors.items.push_back(obj({{"id", str("walker_" + std::to_string(i))},
                                  {"actor", str("resident")},
                                  {"parameters", obj({{"resident", str(kResidentTypes[(i / 2) % 4])}})},
                                  {"position", point(x, 100, z)},
                                  {"path", obj({{"points", arr(points)}, {"mode", str("loop")}})}}));
    }
    session.add("windfall", obj({{"actors", std::move(actors)}}));
  }
};

IslandPackage& island() {
  static IslandPackage package;
  return package;
}

void BM_CheckPackage1000Walkers(benchmark::State& state) {
  IslandPackage& package = island();
  for (auto _ : state) {
    std::string error;
    Value answer;
    if (!host::check::check_package(package.session, Value::object(), answer, error))
      state.SkipWithError(error.c_str());
    benchmark::DoNotOptimize(answer);
  }
}

void BM_BaselineCheckRouteOneAtATime(benchmark::State& state) {
  IslandPackage& package = island();
  std::vector<Value> requests;
  for (int i = 0; i < kWalkers; ++i) requests.push_back(obj({{"id", str("walker_" + std::to_string(i))}}));
  for (auto _ : state) {
    for (const Value& request : requests) {
      std::string error;
      bool ok = false, handled = false;
      Value answer = package.session.dispatch_route("check_route", request, error, ok, handled);
      if (!ok) state.SkipWithError(error.c_str());
      benchmark::DoNotOptimize(answer);
    }
  }
}

void BM_Meetings1000Walkers600s(benchmark::State& state) {
  IslandPackage& package = island();
  constexpr double kHorizon = 600;  // [game seconds]
  const walking::GroundBelow ground = [&package](const std::vector<story_notebook::WorldPoint>& probes,
                                                 std::vector<float>& heights, std::vector<bool>& found,
                                                 std::string& error) {
    return package.live->ground_heights(probes, heights, found, error);
  };
  std::string error;
  walking::PackageWalk walk;
  std::vector<walking::WalkerTrack> tracks;
  const Value& document = package.session.packages["windfall"].document;
  if (!walking::plan_package(document, ground, walk, error) ||
      !walking::tracks(walk, kHorizon, ground, tracks, error)) {
    state.SkipWithError(error.c_str());
    return;
  }
  std::size_t found = 0, keys = 0;
  for (const walking::WalkerTrack& track : tracks) keys += track.keys.size();
  for (auto _ : state) {
    const std::vector<host::check::Meeting> meetings = host::check::find_meetings(tracks, walk.standing, kHorizon);
    found = meetings.size();
    benchmark::DoNotOptimize(meetings);
  }
  state.counters["meetings"] = static_cast<double>(found);
  state.counters["keys"] = static_cast<double>(keys);
}

// A model walking straight across a 100 by 100 block, 80 high (a step the check refuses), on flat ground.
struct BlockWalk {
  std::unique_ptr<game::GameWorld> world;
  std::unique_ptr<host::link::LocalLiveGame> live;
  support::MemorySession session;

  explicit BlockWalk(double length) {
    game::WorldMesh mesh;
    mesh.add_floor(-3000, 3000, -3000, 3000, 0);
    mesh.add_floor(-50, 50, -50, 50, 80);
    std::string error;
    world = game::GameWorld::create(mesh, "block", false, {0, 0, 0}, game::Clock::Manual, error);
    live = std::make_unique<host::link::LocalLiveGame>(*world);
    session.live_game = live.get();
    const Value a = point(-length / 2, 0, 0), b = point(length / 2, 0, 0);
    session.add("windfall",
                obj({{"actors", arr({obj({{"id", str("m")},
                                          {"actor", str("cart")},
                                          {"kind", str("mod")},
                                          {"position", a},
                                          {"path", obj({{"points", arr({a, b})}, {"speed", num(60)}})}})})}}));
  }
};

void BM_SuggestDetourAroundBlock(benchmark::State& state) {
  BlockWalk walk(static_cast<double>(state.range(0)));
  const Value params = obj({{"id", str("m")}, {"from", num(1)}});
  double probes = 0;
  for (auto _ : state) {
    std::string error;
    Value answer;
    if (!host::check::suggest_detour(walk.session, params, answer, error)) state.SkipWithError(error.c_str());
    probes = answer.get("probes").number;
    benchmark::DoNotOptimize(answer);
  }
  state.counters["probes"] = probes;
}

void BM_BaselineGameAnswersAsManyProbes(benchmark::State& state) {
  BlockWalk walk(static_cast<double>(state.range(0)));
  std::string error;
  Value answer;
  if (!host::check::suggest_detour(walk.session, obj({{"id", str("m")}, {"from", num(1)}}), answer, error)) {
    state.SkipWithError(error.c_str());
    return;
  }
  const std::size_t count = static_cast<std::size_t>(answer.get("probes").number);
  std::vector<story_notebook::WorldPoint> probes;
  for (std::size_t k = 0; k < count; ++k) {
    probes.push_back({static_cast<float>(-1500.0 + static_cast<double>(k % 120) * 25.0), 1000.0f,
                      static_cast<float>(-1500.0 + static_cast<double>(k / 120) * 25.0)});
  }
  for (auto _ : state) {
    std::vector<float> heights;
    std::vector<bool> found;
    walk.live->ground_heights(probes, heights, found, error);
    benchmark::DoNotOptimize(heights);
  }
  state.counters["probes"] = static_cast<double>(count);
}

}  // namespace

BENCHMARK(BM_CheckPackage1000Walkers)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_BaselineCheckRouteOneAtATime)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Meetings1000Walkers600s)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_SuggestDetourAroundBlock)->Arg(200)->Arg(1000)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_BaselineGameAnswersAsManyProbes)->Arg(200)->Arg(1000)->Unit(benchmark::kMillisecond);

BENCHMARK_MAIN();
