// What the map costs: one 256 x 256 ground tile made from the in-process game and through the TCP link
// on loopback (goals 50 ms and 100 ms), each beside the same number of single-ray ground probes in the
// same run; and the server's CPU while a page watches 1,000 walking actors at 10 live events a second
// (goal: under a tenth of one core), beside the same server with nobody watching.
#include <benchmark/benchmark.h>
#include <httplib.h>
#include <time.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <memory>
#include <stdexcept>
#include <thread>

#include "game/game_world.h"
#include "game/link_server.h"
#include "map/ground_tiles.h"
#include "map/map_server.h"
#include "server/shared_workbench.h"
#include "server/workbench.h"

namespace {

using Clock = std::chrono::steady_clock;
using mods::json::Value;

constexpr int kTileProbes = host::map::TileHeights::kSide * host::map::TileHeights::kSide;
constexpr int kCrowd = 1000;           // walking actors in the live-event benchmark
constexpr double kWatchSeconds = 2.0;  // s of wall time each CPU measurement covers
constexpr const char* kToken = "0123456789abcdef0123456789abcdef";

double cpu_seconds() {
  timespec now{};
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

// Seconds for kTileProbes single-ray probes over the same tile's ground, one ray at a time.
double single_rays(const game::GameWorld& world) {
  const auto start = Clock::now();
  float height = 0;
  std::string note;
  int found = 0;
  for (int j = 0; j < host::map::TileHeights::kSide; ++j)
    for (int i = 0; i < host::map::TileHeights::kSide; ++i)
      found += world.ground_height({-2048.0f + i * 8.0f, 301.0f, -2048.0f + j * 8.0f}, height, note) ? 1 : 0;
  benchmark::DoNotOptimize(found);
  return std::chrono::duration<double>(Clock::now() - start).count();
}

std::unique_ptr<host::server::Workbench> open_bench(const host::server::WorkbenchOptions& options) {
  std::string error;
  auto bench = host::server::Workbench::open(options, error);
  if (!bench) throw std::runtime_error(error);
  return bench;
}

// One tile at zoom -3 over the town (8 world units a pixel), made afresh every iteration.
void make_tiles(benchmark::State& state, host::server::SharedWorkbench& shared, const game::GameWorld& world) {
  host::map::GroundTiles tiles;
  const double baseline = single_rays(world);
  std::string png, error;
  int status = 0;
  const auto start = Clock::now();
  for (auto _ : state) {
    tiles.forget();
    if (!tiles.tile(shared, {.zoom = -3, .x = -1, .y = -1}, png, status, error)) {
      state.SkipWithError(error.c_str());
      return;
    }
    benchmark::DoNotOptimize(png.data());
  }
  const double per_tile =
      std::chrono::duration<double>(Clock::now() - start).count() / static_cast<double>(state.iterations());
  state.counters["ms_per_tile"] = per_tile * 1e3;
  state.counters["x_single_rays"] = per_tile / baseline;
}

void BM_TileFromTheInProcessGame(benchmark::State& state) {
  host::server::WorkbenchOptions options;
  options.demo = true;
  options.manual_clock = true;
  options.examples_dir = PATHWRIGHT_EXAMPLES_DIR;
  auto bench = open_bench(options);
  host::server::SharedWorkbench shared(*bench);
  std::string error;
  auto world = game::GameWorld::island(game::Clock::Manual, error);
  make_tiles(state, shared, *world);
}
BENCHMARK(BM_TileFromTheInProcessGame)->Unit(benchmark::kMillisecond);

void BM_TileThroughTheLink(benchmark::State& state) {
  std::string error;
  auto world = game::GameWorld::island(game::Clock::Manual, error);
  game::LinkServer server(*world);
  if (!server.listen(0, error)) throw std::runtime_error(error);
  std::thread serving([&] { server.run(); });
  {
    host::server::WorkbenchOptions options;
    options.store_dir = std::string(PATHWRIGHT_EXAMPLES_DIR) + "/windfall";  // read only: no command changes it
    options.use_game = true;
    options.game.port = server.port();
    auto bench = open_bench(options);
    host::server::SharedWorkbench shared(*bench);
    make_tiles(state, shared, *world);
  }
  server.stop();
  serving.join();
}
BENCHMARK(BM_TileThroughTheLink)->Unit(benchmark::kMillisecond);

// A store holding one package of kCrowd residents walking back and forth across the town.
std::string crowd_store() {
  const auto dir = std::filesystem::temp_directory_path() / ("pathwright-crowd-" + std::to_string(::getpid()));
  std::filesystem::create_directories(dir);
  std::ofstream out(dir / "crowd.json");
  out << R"({"actors":[)";
  for (int k = 0; k < kCrowd; ++k) {
    const int x = -1800 + (k % 40) * 80, z = -1400 + (k / 40) * 100;
    out << (k ? "," : "") << R"({"actor":"resident","id":"walker_)" << k
        << R"(","parameters":{"resident":"ub4"},"position":{"x":)" << x << R"(,"y":100,"z":)" << z
        << R"(},"path":{"mode":"back_and_forth","points":[{"x":)" << x << R"(,"y":100,"z":)" << z << R"(},{"x":)"
        << x + 60 << R"(,"y":100,"z":)" << z << "}]}}";
  }
  out << "]}\n";
  return dir.string();
}

// Process CPU over kWatchSeconds of wall time, as a fraction of one core.
double cpu_share_over_a_while() {
  const double cpu = cpu_seconds();
  std::this_thread::sleep_for(std::chrono::duration<double>(kWatchSeconds));
  return (cpu_seconds() - cpu) / kWatchSeconds;
}

void BM_LiveEventsForACrowd(benchmark::State& state) {
  const std::string store = crowd_store();
  host::server::WorkbenchOptions options;
  options.store_dir = store;
  options.demo = true;
  options.examples_dir = PATHWRIGHT_EXAMPLES_DIR;
  auto bench = open_bench(options);
  host::server::SharedWorkbench shared(*bench);
  host::map::MapServer server(shared, {.port = 0, .token = kToken, .web_dir = store});
  std::string error;
  if (!server.start(error)) throw std::runtime_error(error);
  for (auto _ : state) {
    const double idle = cpu_share_over_a_while();
    std::atomic<std::size_t> received{0};
    std::atomic<bool> done{false};
    httplib::Client page("127.0.0.1", server.port());
    std::thread watching([&] {
      page.Get("/events", {{"Authorization", std::string("Bearer ") + kToken}}, [&](const char*, std::size_t size) {
        received += size;
        return !done;
      });
    });
    const double watched = cpu_share_over_a_while();
    const std::uint64_t events_before_stop = server.events().last_id();
    done = true;
    page.stop();
    watching.join();
    state.counters["cpu_share_watched"] = watched;
    state.counters["cpu_share_idle"] = idle;
    state.counters["x_idle"] = idle > 0 ? watched / idle : 0;
    state.counters["kB_per_s"] = static_cast<double>(received) / kWatchSeconds / 1e3;
    state.counters["events"] = static_cast<double>(events_before_stop);
  }
  server.stop();
  std::filesystem::remove_all(store);
}
BENCHMARK(BM_LiveEventsForACrowd)->Iterations(1)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
