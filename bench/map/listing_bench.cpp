// What the map's listing costs on a package of 50,000 actors: placed_actors through the Workbench and
// printed as the server sends it, for a page of 10,000 positions, the region of a zoomed-in view, and
// the one actor the page selects; each beside the whole `document` answer (what a page without the
// listing would fetch) in the same run.
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <memory>
#include <stdexcept>

#include "bench/json_text/mod_package_generator.h"
#include "json_text/json_text.h"
#include "server/workbench.h"

namespace {

using Clock = std::chrono::steady_clock;
using mods::json::Value;

constexpr std::size_t kActors = 50000;
constexpr int kBaselineRuns = 3;  // `document` answers timed for the baseline

struct Crowd {
  std::string dir;
  std::unique_ptr<host::server::Workbench> bench;
  Crowd() = default;
  Crowd(Crowd&&) = default;
  ~Crowd() {
    bench.reset();
    if (!dir.empty()) std::filesystem::remove_all(dir);
  }
};

Crowd make_crowd() {
  Crowd made;
  made.dir = (std::filesystem::temp_directory_path() / ("pathwright-listing-" + std::to_string(::getpid()))).string();
  std::filesystem::create_directories(made.dir);
  std::ofstream(made.dir + "/crowd.json") << bench_json_text::generate_mod_package(kActors);
  host::server::WorkbenchOptions options;
  options.store_dir = made.dir;
  std::string error;
  made.bench = host::server::Workbench::open(options, error);
  if (!made.bench) throw std::runtime_error(error);
  return made;
}

Crowd& crowd() {
  static Crowd c = make_crowd();
  return c;
}

// Runs `method` and prints its answer as the server does; the bytes printed.
std::size_t answer(const std::string& method, const std::string& params_text) {
  Value params;
  json_text::JsonTextError parse_error;
  if (!json_text::parse_json(params_text, params, parse_error)) throw std::runtime_error(parse_error.message());
  const host::server::CallOutcome outcome = crowd().bench->run(method, params);
  if (!outcome.ok) throw std::runtime_error(method + ": " + outcome.error);
  std::string text, error;
  if (!json_text::print_json(outcome.result, json_text::JsonLayout::Compact, text, error))
    throw std::runtime_error(error);
  return text.size();
}

double document_seconds() {
  static const double seconds = [] {
    const auto start = Clock::now();
    for (int i = 0; i < kBaselineRuns; ++i) answer("document", "{}");
    return std::chrono::duration<double>(Clock::now() - start).count() / kBaselineRuns;
  }();
  return seconds;
}

void listing(benchmark::State& state, const std::string& params) {
  const double baseline = document_seconds();
  std::size_t bytes = 0;
  const auto start = Clock::now();
  for (auto _ : state) bytes = answer("placed_actors", params);
  const double each =
      std::chrono::duration<double>(Clock::now() - start).count() / static_cast<double>(state.iterations());
  state.counters["ms"] = each * 1e3;
  state.counters["kB"] = static_cast<double>(bytes) / 1e3;
  state.counters["x_document"] = each / baseline;
  state.counters["document_ms"] = baseline * 1e3;
}

// The page's listing: one of five pages of positions without routes.
void BM_PageOfTenThousandPositions(benchmark::State& state) {
  listing(state, R"({"start": 20000, "limit": 10000, "routes": false})");
}
BENCHMARK(BM_PageOfTenThousandPositions)->Unit(benchmark::kMillisecond);

// A zoomed-in view of 1,000 x 1,000 world units with routes: about 1,500 of the package's actors.
void BM_RegionOfAViewWithRoutes(benchmark::State& state) {
  listing(state, R"({"region": {"low": {"x": -500, "z": -500}, "high": {"x": 500, "z": 500}}, "limit": 10000})");
}
BENCHMARK(BM_RegionOfAViewWithRoutes)->Unit(benchmark::kMillisecond);

// The selected actor's route: the last actor of the package, found by id.
void BM_OneActorById(benchmark::State& state) { listing(state, R"({"id": "villager_49999", "limit": 1})"); }
BENCHMARK(BM_OneActorById)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
