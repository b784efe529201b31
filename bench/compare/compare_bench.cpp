// The work of `pathwright diff` (parse two packages, compare them) and `pathwright merge` (parse three,
// merge, print the result as the store does) on generated packages of 50,000 actors, 100 of them changed
// on each branch; each beside its floor, parsing the same input texts, in the same run. Goals: a diff
// under 0.5 s, a merge under 1 s. Reading the files is left out on both sides.
#include <benchmark/benchmark.h>

#include <string>

#include "bench/json_text/mod_package_generator.h"
#include "compare/package_diff.h"
#include "compare/package_merge.h"
#include "json_text/json_text.h"

namespace {

using mods::json::Value;

constexpr std::size_t kActors = 50000;
constexpr std::size_t kChanged = 100;  // actors each branch changes

Value parsed(const std::string& text) {
  Value value;
  json_text::JsonTextError error;
  if (!json_text::parse_json(text, value, error)) throw std::runtime_error(error.message());
  return value;
}

std::string printed(const Value& value) {
  std::string text, error;
  if (!json_text::print_json(value, json_text::JsonLayout::Indented, text, error)) throw std::runtime_error(error);
  return text;
}

// `base` with kChanged actors changed, spread over the package from `first`: one point of each route
// moved, and every tenth actor's mode changed.
std::string branch(const Value& base, std::size_t first) {
  Value document = base;
  std::vector<Value>& actors = document["actors"].items;
  for (std::size_t k = 0; k < kChanged; ++k) {
    Value& actor = actors[(first + k * (actors.size() / kChanged)) % actors.size()];
    std::vector<Value>& points = actor["path"]["points"].items;
    if (!points.empty()) points[0]["x"] = Value::of(points[0].get("x").number + 25.5);
    if (k % 10 == 0) actor["path"]["mode"] = Value::of("back_and_forth");
  }
  return printed(document);
}

struct Texts {
  std::string base, ours, theirs;
  Texts() {
    const Value generated = parsed(bench_json_text::generate_mod_package(kActors));
    base = printed(generated);
    ours = branch(generated, 0);
    theirs = branch(generated, 7);
  }
};

const Texts& texts() {
  static const Texts shared;
  return shared;
}

void BM_BaselineParseTwoPackages(benchmark::State& state) {
  for (auto _ : state) {
    Value before = parsed(texts().base), after = parsed(texts().ours);
    benchmark::DoNotOptimize(before);
    benchmark::DoNotOptimize(after);
  }
}

void BM_Diff(benchmark::State& state) {
  std::size_t changes = 0;
  for (auto _ : state) {
    const Value before = parsed(texts().base), after = parsed(texts().ours);
    changes = host::compare::diff_packages(before, after).size();
    benchmark::DoNotOptimize(changes);
  }
  state.counters["changes"] = static_cast<double>(changes);
}

void BM_BaselineParseThreePackages(benchmark::State& state) {
  for (auto _ : state) {
    Value base = parsed(texts().base), ours = parsed(texts().ours), theirs = parsed(texts().theirs);
    benchmark::DoNotOptimize(base);
    benchmark::DoNotOptimize(ours);
    benchmark::DoNotOptimize(theirs);
  }
}

void BM_Merge(benchmark::State& state) {
  std::size_t conflicts = 0;
  for (auto _ : state) {
    const Value base = parsed(texts().base);
    host::compare::MergeOutcome outcome =
        host::compare::merge_packages(base, parsed(texts().ours), parsed(texts().theirs));
    std::string text = printed(outcome.merged);
    conflicts = outcome.conflicts.size();
    benchmark::DoNotOptimize(text);
  }
  state.counters["conflicts"] = static_cast<double>(conflicts);
}

}  // namespace

BENCHMARK(BM_BaselineParseTwoPackages)->Unit(benchmark::kMillisecond)->Iterations(5);
BENCHMARK(BM_Diff)->Unit(benchmark::kMillisecond)->Iterations(5);
BENCHMARK(BM_BaselineParseThreePackages)->Unit(benchmark::kMillisecond)->Iterations(5);
BENCHMARK(BM_Merge)->Unit(benchmark::kMillisecond)->Iterations(5);

BENCHMARK_MAIN();
