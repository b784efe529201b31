// A one-shot `pathwright call add_route_point` on generated packages of 1,000 and 50,000 actors, against
// the plain script a modder would write instead, in the same run: python3 loads the JSON, appends the
// point to the first actor with that id, writes a temporary file beside the package, flushes it, renames
// it over the package and flushes the folder. Both run as fresh processes on their own copy of the
// package, so start-up, reading, the edit and the durable save all count. Reports median wall time and
// peak resident memory of each (the goal: at most 0.10 of the script's time, and no more memory than
// before, 214 MB at 50,000 actors). The first call meets the package as generated, a file Pathwright did
// not print, and prints it whole; the calls after it meet Pathwright's own print, as every call after a
// package's first change does: the first call's time and peak are reported apart (first_ms, first_peak_mib).
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <stdlib.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "bench/json_text/mod_package_generator.h"

namespace {

using Clock = std::chrono::steady_clock;

// The script, as short as a modder would write it; argv: package file, actor id.
constexpr const char* kPlainScript = R"(
import json, os, sys, tempfile
path, actor_id = sys.argv[1], sys.argv[2]
with open(path) as f:
    document = json.load(f)
actor = next(a for a in document["actors"] if a.get("id") == actor_id)
actor.setdefault("path", {}).setdefault("points", []).append({"x": 1, "y": 2, "z": 3})
folder = os.path.dirname(path)
fd, temporary = tempfile.mkstemp(dir=folder, prefix=".tmp-")
with os.fdopen(fd, "w") as f:
    json.dump(document, f, indent=2)
    f.flush()
    os.fsync(f.fileno())
os.rename(temporary, path)
folder_fd = os.open(folder, os.O_RDONLY)
os.fsync(folder_fd)
os.close(folder_fd)
)";

struct Run {
  double ms = 0;
  double peak_mib = 0;
};

// Runs `argv` with its output thrown away; its wall time and its peak resident size.
Run run_process(const std::vector<std::string>& argv) {
  std::vector<char*> args;
  for (const std::string& a : argv) args.push_back(const_cast<char*>(a.c_str()));
  args.push_back(nullptr);
  const Clock::time_point start = Clock::now();
  pid_t child = ::fork();
  if (child == 0) {
    int null = ::open("/dev/null", O_WRONLY);
    ::dup2(null, STDOUT_FILENO);
    ::execv(args[0], args.data());
    ::_exit(127);
  }
  int status = 0;
  struct rusage usage {};
  if (child < 0 || ::wait4(child, &status, 0, &usage) != child) throw std::runtime_error("cannot run " + argv[0]);
  const double ms = std::chrono::duration<double, std::milli>(Clock::now() - start).count();
  if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) throw std::runtime_error(argv[0] + " failed");
  constexpr double kKibPerMib = 1024.0;
  return Run{ms, static_cast<double>(usage.ru_maxrss) / kKibPerMib};
}

// The id of the last resident: the edited actor stands last, the worst case for the scan by id.
std::string last_resident_id(const std::string& text) {
  const std::string prefix = "\"villager_";
  const std::size_t at = text.rfind(prefix);
  if (at == std::string::npos) throw std::runtime_error("no resident in the generated package");
  return text.substr(at + 1, text.find('"', at + 1) - at - 1);
}

struct Folder {
  Folder() {
    std::string pattern = (std::filesystem::temp_directory_path() / "pathwright-call-bench-XXXXXX").string();
    if (::mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("cannot make a temporary folder");
    path = pattern;
  }
  ~Folder() {
    std::error_code ignored;
    std::filesystem::remove_all(path, ignored);
  }
  std::string path;
};

double median(std::vector<double> samples) {
  std::nth_element(samples.begin(), samples.begin() + static_cast<long>(samples.size() / 2), samples.end());
  return samples[samples.size() / 2];
}

void OneShotCall(benchmark::State& state) {
  const std::string text = bench_json_text::generate_mod_package(static_cast<std::size_t>(state.range(0)));
  const std::string id = last_resident_id(text);
  Folder store, plain;
  std::ofstream(store.path + "/generated.json", std::ios::binary) << text;
  std::ofstream(plain.path + "/generated.json", std::ios::binary) << text;
  const std::vector<std::string> call = {PATHWRIGHT_BINARY, "call", "--store", store.path, "add_route_point",
                                         R"({"id":")" + id + R"(","position":{"x":1,"y":2,"z":3}})"};
  const std::vector<std::string> script = {PYTHON3, "-c", kPlainScript, plain.path + "/generated.json", id};
  const Run first = run_process(call);
  std::vector<double> figure, baseline, figure_peak, baseline_peak;
  for (auto _ : state) {
    const Run ours = run_process(call);
    const Run theirs = run_process(script);
    state.SetIterationTime(ours.ms / 1000);
    figure.push_back(ours.ms);
    figure_peak.push_back(ours.peak_mib);
    baseline.push_back(theirs.ms);
    baseline_peak.push_back(theirs.peak_mib);
  }
  state.counters["median_ms"] = median(figure);
  state.counters["script_median_ms"] = median(baseline);
  state.counters["ratio"] = median(figure) / median(baseline);
  state.counters["peak_mib"] = *std::max_element(figure_peak.begin(), figure_peak.end());
  state.counters["script_peak_mib"] = *std::max_element(baseline_peak.begin(), baseline_peak.end());
  state.counters["first_ms"] = first.ms;
  state.counters["first_peak_mib"] = first.peak_mib;
  // As ratios to the script too, for the report: peaks to its peak, the first call to its median time.
  const double script_peak = state.counters["script_peak_mib"];
  state.counters["peak_ratio"] = state.counters["peak_mib"] / script_peak;
  state.counters["first_ratio"] = first.ms / median(baseline);
  state.counters["first_peak_ratio"] = first.peak_mib / script_peak;
}

constexpr int kRuns = 5;  // processes of each kind per size; each takes up to a few seconds

}  // namespace

BENCHMARK(OneShotCall)->Arg(1000)->Arg(50000)->Iterations(kRuns)->UseManualTime()->Unit(benchmark::kMillisecond);

BENCHMARK_MAIN();
