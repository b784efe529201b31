// Opening a package once in a fresh process, as a `pathwright call` or a server's start does: every page
// the tree needs is new to the process, which bench_json_text's repeated parses see only in their first
// iteration. Each iteration runs this program again as a child (`--child N`) that generates a package of
// N actors, then times rapidjson's reader with a null handler and one parse_json, and reports both. The
// figure is the parse's throughput as a ratio to the reader's (the goal: at least 0.30), median of the
// children.
#include <benchmark/benchmark.h>
#include <rapidjson/reader.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "bench/json_text/mod_package_generator.h"
#include "json_text/json_text.h"

extern char** environ;

namespace {

using Clock = std::chrono::steady_clock;

double milliseconds_since(Clock::time_point start) {
  return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
}

// The same baseline as bench_json_text: strict flags, a handler that keeps nothing.
double time_reader(const std::string& text) {
  constexpr unsigned kFlags = rapidjson::kParseValidateEncodingFlag | rapidjson::kParseFullPrecisionFlag;
  const Clock::time_point start = Clock::now();
  rapidjson::BaseReaderHandler<> handler;
  rapidjson::Reader reader;
  rapidjson::StringStream stream(text.c_str());
  if (!reader.Parse<kFlags>(stream, handler)) std::exit(EXIT_FAILURE);
  return milliseconds_since(start);
}

// The child: prints "READER_MS PARSE_MS". The tree is left to the end of the process, as a one-shot call
// leaves it.
int child(std::size_t actors) {
  const std::string text = bench_json_text::generate_mod_package(actors);
  const double reader_ms = time_reader(text);
  const Clock::time_point start = Clock::now();
  auto tree = std::make_unique<mods::json::Value>();
  json_text::JsonTextError error;
  if (!json_text::parse_json(text, *tree, error)) {
    std::fprintf(stderr, "%s\n", error.message().c_str());
    return EXIT_FAILURE;
  }
  std::printf("%f %f\n", reader_ms, milliseconds_since(start));
  return EXIT_SUCCESS;
}

// Runs this program as a child for `actors`; its two times.
std::pair<double, double> run_child(std::size_t actors) {
  int out[2];
  if (::pipe(out) != 0) throw std::runtime_error("no pipe");
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, out[1], STDOUT_FILENO);
  posix_spawn_file_actions_addclose(&actions, out[0]);
  std::string self = "/proc/self/exe", flag = "--child", count = std::to_string(actors);
  char* argv[] = {self.data(), flag.data(), count.data(), nullptr};
  pid_t pid = 0;
  const int spawned = posix_spawn(&pid, self.c_str(), &actions, nullptr, argv, environ);
  posix_spawn_file_actions_destroy(&actions);
  ::close(out[1]);
  std::string answer;
  char buffer[256];
  for (ssize_t n; (n = ::read(out[0], buffer, sizeof buffer)) > 0;) answer.append(buffer, static_cast<std::size_t>(n));
  ::close(out[0]);
  int status = 0;
  if (spawned != 0 || ::waitpid(pid, &status, 0) != pid || !WIFEXITED(status) || WEXITSTATUS(status) != 0)
    throw std::runtime_error("the child failed");
  double reader_ms = 0, parse_ms = 0;
  if (std::sscanf(answer.c_str(), "%lf %lf", &reader_ms, &parse_ms) != 2) throw std::runtime_error("no times");
  return {reader_ms, parse_ms};
}

double median(std::vector<double> samples) {
  std::nth_element(samples.begin(), samples.begin() + static_cast<long>(samples.size() / 2), samples.end());
  return samples[samples.size() / 2];
}

void OpenInAFreshProcess(benchmark::State& state) {
  std::vector<double> parse, ratio;
  for (auto _ : state) {
    const auto [reader_ms, parse_ms] = run_child(static_cast<std::size_t>(state.range(0)));
    state.SetIterationTime(parse_ms / 1000);
    parse.push_back(parse_ms);
    ratio.push_back(reader_ms / parse_ms);
  }
  state.counters["parse_ms"] = median(parse);
  state.counters["ratio"] = median(ratio);
}

constexpr int kChildren = 7;  // fresh processes per size; the machine's noise moves single ones a lot

}  // namespace

BENCHMARK(OpenInAFreshProcess)
    ->Arg(1000)
    ->Arg(50000)
    ->Iterations(kChildren)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);

int main(int argc, char** argv) {
  if (argc == 3 && std::strcmp(argv[1], "--child") == 0) return child(std::strtoul(argv[2], nullptr, 10));
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
