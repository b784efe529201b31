// check_route end to end in one process: the route service samples a 1,000-point route over the
// built-in island and the simulated game answers the ground below every sample. The goal is to stay well
// inside one 60 Hz frame (16.7 ms); the baseline from the same run is the game answering the same probes
// on its own, so the ratio shows what the route service adds around the ground query.
#include <benchmark/benchmark.h>

#include "game/game_world.h"
#include "link/local_live_game.h"
#include "tests/support/builders.h"
#include "tests/support/memory_session.h"

namespace {

using mods::json::Value;

constexpr int kRoutePoints = 1000;
constexpr int kPointsPerRow = 50;  // the route zigzags over the town plateau in rows of this many points

struct IslandCheck {
  std::unique_ptr<game::GameWorld> world;
  std::unique_ptr<host::link::LocalLiveGame> live;
  support::MemorySession session;

  IslandCheck() {
    std::string error;
    world = game::GameWorld::island(game::Clock::Manual, error);
    live = std::make_unique<host::link::LocalLiveGame>(*world);
    session.live_game = live.get();
    std::vector<Value> points;
    for (int k = 0; k < kRoutePoints; ++k) {
      points.push_back(support::point(-1500 + (k % kPointsPerRow) * 60.0, 100, -1400 + (k / kPointsPerRow) * 140.0));
    }
    Value actor = support::obj({{"id", support::str("walker")},
                                {"actor", support::str("resident")},
                                {"position", support::point(-1500, 100, -1450)},
                                {"path", support::obj({{"points", support::arr(points)}})}});
    session.add("windfall", support::obj({{"actors", support::arr({actor})}}));
  }
};

IslandCheck& island() {
  static IslandCheck check;
  return check;
}

void BM_CheckRoute1000Points(benchmark::State& state) {
  IslandCheck& check = island();
  const Value params = support::obj({{"id", support::str("walker")}});
  for (auto _ : state) {
    std::string error;
    bool ok = false;
    bool handled = false;
    Value answer = check.session.dispatch_route("check_route", params, error, ok, handled);
    if (!ok) state.SkipWithError(error.c_str());
    benchmark::DoNotOptimize(answer);
  }
}

void BM_BaselineGameAnswersTheSameProbes(benchmark::State& state) {
  IslandCheck& check = island();
  support::ScriptedGame recorder;
  check.session.live_game = &recorder;
  check.session.run("check_route", support::obj({{"id", support::str("walker")}}));
  check.session.live_game = check.live.get();
  const std::vector<story_notebook::WorldPoint> probes = recorder.batch_probes.at(0);
  for (auto _ : state) {
    std::vector<float> heights;
    std::vector<bool> found;
    std::string error;
    check.live->ground_heights(probes, heights, found, error);
    benchmark::DoNotOptimize(heights);
  }
  state.counters["probes"] = static_cast<double>(probes.size());
}

BENCHMARK(BM_BaselineGameAnswersTheSameProbes)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_CheckRoute1000Points)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
