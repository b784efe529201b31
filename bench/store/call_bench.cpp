// A one-shot `pathwright call add_route_point` on generated packages of 1,000 and 50,000 actors, against
// the plain script a modder would write instead, in the same run: python3 loads the JSON, appends the
// point to the first actor with that id, writes a temporary file beside the package, flushes it, renames
// it over the package and flushes the folder. Both run as fresh processes on their own copy of the
// package, so start-up, reading, the edit and the durable save all count. Reports median wall time and
// peak resident memory of each (the goal: at most 0.10 of the script's time, and no more memory than
// before, 214 MB at 50,000 actors). The first call meets the package as generated, a file Pathwright did
// not print, and prints it whole; the calls after it meet Pathwright's own print, as every call after a
// package's first change does: the first call's time and peak are reported apart (first_ms, first_peak_mib).
// LongHistory: one-shot calls and serve on a package whose patrol route was edited all day, against the
// same calls on the same package in a store without history (see kEdits).
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <stdlib.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
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

// Runs `argv` with its output thrown away and `input` as its standard input; its wall time and its peak
// resident size.
Run run_process(const std::vector<std::string>& argv, const std::string& input = "") {
  std::vector<char*> args;
  for (const std::string& a : argv) args.push_back(const_cast<char*>(a.c_str()));
  args.push_back(nullptr);
  int feed[2];
  if (::pipe(feed) != 0) throw std::runtime_error("no pipe");
  const Clock::time_point start = Clock::now();
  pid_t child = ::fork();
  if (child == 0) {
    int null = ::open("/dev/null", O_WRONLY);
    ::dup2(null, STDOUT_FILENO);
    ::dup2(feed[0], STDIN_FILENO);
    ::close(feed[0]);
    ::close(feed[1]);
    ::execv(args[0], args.data());
    ::_exit(127);
  }
  ::close(feed[0]);
  for (std::size_t at = 0; at < input.size();) {
    const ssize_t written = ::write(feed[1], input.data() + at, input.size() - at);
    if (written <= 0) break;
    at += static_cast<std::size_t>(written);
  }
  ::close(feed[1]);
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
  const std::vector<std::string> call = {PATHWRIGHT_BINARY, "call",
                                         "--store",         store.path,
                                         "add_route_point", R"({"id":")" + id + R"(","position":{"x":1,"y":2,"z":3}})"};
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

// A patrol route of this many points, edited this many times (moves, inserts and removals), as a day's work
// on the map; the goals: a journal of at most kGoalJournalMiB, and calls, serve's opening and its memory at
// most 1.5 times the same on the same package in a store without history.
constexpr int kRoutePoints = 200;
constexpr int kEdits = 1000;
constexpr double kGoalJournalMiB = 2.0;

std::string request(int id, const std::string& method, const std::string& params) {
  return R"({"jsonrpc":"2.0","id":)" + std::to_string(id) + R"(,"method":")" + method + R"(","params":)" + params +
         "}\n";
}

std::string point_at(int i) {
  return R"({"x":)" + std::to_string(i * 10) + R"(.5,"y":)" + std::to_string(i % 7) + R"(,"z":)" +
         std::to_string(i % 13) + "}";
}

// The id of the first resident, the actor that one-shot calls move while the patrol keeps its history.
std::string first_resident_id(const std::string& text) {
  const std::size_t at = text.find("\"villager_");
  if (at == std::string::npos) throw std::runtime_error("no resident in the generated package");
  return text.substr(at + 1, text.find('"', at + 1) - at - 1);
}

// Store `edited` gets the history: serve runs kEdits changes of the patrol `patrol`, from standard input.
// Store `plain` gets the same package after them, without a journal. Answers serve's run of the edits.
Run edit_for_a_day(const std::string& edited, const std::string& plain, const std::string& patrol) {
  std::string lines;
  int id = 0, points = kRoutePoints;
  for (int i = 0; i < kEdits; ++i) {
    const std::string target = R"({"id":")" + patrol + R"(",)";
    if (i % 10 == 3) {
      lines += request(
          ++id, "add_route_point",
          target + R"("snap":false,"after":)" + std::to_string(i % points) + R"(,"position":)" + point_at(i) + "}");
      ++points;
    } else if (i % 10 == 7) {
      lines += request(++id, "remove_route_point", target + R"("point":)" + std::to_string(1 + (i * 7) % points) + "}");
      --points;
    } else {
      lines += request(
          ++id, "move_route_point",
          target + R"("point":)" + std::to_string(1 + (i * 37) % points) + R"(,"position":)" + point_at(i + 1) + "}");
    }
  }
  const Run serve = run_process({PATHWRIGHT_BINARY, "serve", "--store", edited}, lines);
  std::filesystem::copy_file(edited + "/generated.json", plain + "/generated.json",
                             std::filesystem::copy_options::overwrite_existing);
  return serve;
}

// The patrol's route, built by serve and its journal then removed: the package both stores start from.
void give_routes(const std::string& store, const std::string& patrol, const std::string& other) {
  std::string lines;
  int id = 0;
  for (int i = 0; i < kRoutePoints; ++i)
    lines +=
        request(++id, "add_route_point", R"({"id":")" + patrol + R"(","snap":false,"position":)" + point_at(i) + "}");
  for (int i = 0; i < 2; ++i)
    lines +=
        request(++id, "add_route_point", R"({"id":")" + other + R"(","snap":false,"position":)" + point_at(i) + "}");
  run_process({PATHWRIGHT_BINARY, "serve", "--store", store}, lines);
  std::filesystem::remove_all(store + "/.pathwright");
}

void LongHistory(benchmark::State& state) {
  const std::string text = bench_json_text::generate_mod_package(static_cast<std::size_t>(state.range(0)));
  const std::string patrol = last_resident_id(text), other = first_resident_id(text);
  Folder edited, plain;
  std::ofstream(edited.path + "/generated.json", std::ios::binary) << text;
  give_routes(edited.path, patrol, other);
  const Run serve_edits = edit_for_a_day(edited.path, plain.path, patrol);
  const Run serve_plain = run_process({PATHWRIGHT_BINARY, "serve", "--store", plain.path}, request(1, "actors", "{}"));
  const std::string move = R"({"id":")" + other + R"(","point":1,"position":{"x":3,"y":4,"z":5}})";
  struct Call {
    std::vector<std::string> args;  // after "call --store STORE"
    std::string input;              // for serve
    std::vector<double> ours, theirs;
  };
  // clang-format off
  Call calls[] = {
      {.args = {"actors"}, .input = "", .ours = {}, .theirs = {}},
      {.args = {"move_route_point", move}, .input = "", .ours = {}, .theirs = {}},
      {.args = {"undo"}, .input = "", .ours = {}, .theirs = {}},  // undoes that move
      {.args = {}, .input = request(1, "actors", "{}"), .ours = {}, .theirs = {}},  // serve's opening
  };
  // clang-format on
  for (auto _ : state) {
    double total = 0;
    for (Call& call : calls) {
      for (int which = 0; which < 2; ++which) {
        const std::string& store = which == 0 ? edited.path : plain.path;
        std::vector<std::string> argv = {PATHWRIGHT_BINARY, call.input.empty() ? "call" : "serve", "--store", store};
        argv.insert(argv.end(), call.args.begin(), call.args.end());
        const Run run = run_process(argv, call.input);
        (which == 0 ? call.ours : call.theirs).push_back(run.ms);
        if (which == 0) total += run.ms;
      }
    }
    state.SetIterationTime(total / 1000);
  }
  const char* const names[] = {"actors", "move", "undo", "serve_open"};
  for (std::size_t i = 0; i < std::size(calls); ++i) {
    state.counters[std::string(names[i]) + "_ratio"] = median(calls[i].ours) / median(calls[i].theirs);
    state.counters[std::string(names[i]) + "_ms"] = median(calls[i].ours);
  }
  struct stat journal {};
  if (::stat((edited.path + "/.pathwright/generated.journal").c_str(), &journal) != 0)
    throw std::runtime_error("no journal after the edits");
  constexpr double kBytesPerMiB = 1024.0 * 1024.0;
  state.counters["journal_mib"] = static_cast<double>(journal.st_size) / kBytesPerMiB;
  state.counters["journal_goal_ratio"] = state.counters["journal_mib"] / kGoalJournalMiB;
  state.counters["serve_peak_mib"] = serve_edits.peak_mib;
  state.counters["serve_peak_ratio"] = serve_edits.peak_mib / serve_plain.peak_mib;
}

}  // namespace

BENCHMARK(LongHistory)->Arg(1000)->Iterations(kRuns)->UseManualTime()->Unit(benchmark::kMillisecond);

BENCHMARK(OneShotCall)->Arg(1000)->Arg(50000)->Iterations(kRuns)->UseManualTime()->Unit(benchmark::kMillisecond);

BENCHMARK_MAIN();
