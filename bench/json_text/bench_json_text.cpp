// Opening and saving mod packages: parse_json and print_json against the raw speed of the libraries
// underneath, on generated packages of 1,000 and 50,000 actors. After the runs, each figure is printed as
// a throughput ratio to its baseline from the same run.
#include <benchmark/benchmark.h>
#include <malloc.h>
#include <rapidjson/document.h>
#include <rapidjson/reader.h>
#include <simdjson.h>

#include <map>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "bench/json_text/mod_package_generator.h"
#include "json_text/json_text.h"

namespace {

using mods::json::Value;

const std::string& package(std::size_t actors) {
  static std::map<std::size_t, std::string> cache;
  auto it = cache.find(actors);
  if (it == cache.end()) it = cache.emplace(actors, bench_json_text::generate_mod_package(actors)).first;
  return it->second;
}

std::size_t actors_of(const benchmark::State& state) { return static_cast<std::size_t>(state.range(0)); }

void finish(benchmark::State& state, std::size_t bytes) {
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) * static_cast<std::int64_t>(bytes));
}

// Baseline: rapidjson's reader with the same strictness (UTF-8 checks, full-precision numbers) and a
// handler that keeps nothing.
void RapidjsonReaderNullHandler(benchmark::State& state) {
  const std::string& text = package(actors_of(state));
  constexpr unsigned kFlags = rapidjson::kParseValidateEncodingFlag | rapidjson::kParseFullPrecisionFlag;
  for (auto _ : state) {
    rapidjson::BaseReaderHandler<> handler;
    rapidjson::Reader reader;
    rapidjson::StringStream stream(text.c_str());
    benchmark::DoNotOptimize(reader.Parse<kFlags>(stream, handler));
  }
  finish(state, text.size());
}

// rapidjson's own tree, for scale: the cost of a DOM built in a pool allocator.
void RapidjsonDocument(benchmark::State& state) {
  const std::string& text = package(actors_of(state));
  constexpr unsigned kFlags = rapidjson::kParseValidateEncodingFlag | rapidjson::kParseFullPrecisionFlag;
  for (auto _ : state) {
    rapidjson::Document document;
    document.Parse<kFlags>(text.c_str(), text.size());
    benchmark::DoNotOptimize(document.HasParseError());
  }
  finish(state, text.size());
}

// Opening: text to value. Freeing the value is not part of it (the baseline keeps nothing to free), so
// it happens with the clock stopped; glibc then hands the memory back, and every parse starts cold.
// mimalloc hands much of it back too (it decommits freed pages), but not all: the first iteration is the
// only one on memory the process never used, as in a fresh process (bench_open_once measures that).
void ParseJson(benchmark::State& state) {
  const std::string& text = package(actors_of(state));
  for (auto _ : state) {
    auto value = std::make_unique<Value>();
    json_text::JsonTextError error;
    if (!json_text::parse_json(text, *value, error)) state.SkipWithError(error.message().c_str());
    benchmark::DoNotOptimize(value.get());
    state.PauseTiming();
    value.reset();
    state.ResumeTiming();
  }
  finish(state, text.size());
}

// The same parse in a host whose heap already holds the memory (it opened a package before): glibc keeps
// freed memory instead of returning it to the system, so the figure shows the builder's own cost without
// the first touch of fresh pages, which dominates the cold figure for large packages.
void ParseJsonWarmHeap(benchmark::State& state) {
  constexpr int kKeepFreedBytes = 1 << 30;          // trim threshold while measuring, bytes
  constexpr int kLargestHeapAllocation = 32 << 20;  // glibc's ceiling for the mmap threshold, bytes
  constexpr int kDefaultThresholds = 128 << 10;     // glibc's initial trim and mmap thresholds, bytes
  mallopt(M_TRIM_THRESHOLD, kKeepFreedBytes);
  mallopt(M_MMAP_THRESHOLD, kLargestHeapAllocation);
  const std::string& text = package(actors_of(state));
  json_text::JsonTextError error;
  {
    Value warm_up;
    json_text::parse_json(text, warm_up, error);
  }
  for (auto _ : state) {
    auto value = std::make_unique<Value>();
    if (!json_text::parse_json(text, *value, error)) state.SkipWithError(error.message().c_str());
    benchmark::DoNotOptimize(value.get());
    state.PauseTiming();
    value.reset();
    state.ResumeTiming();
  }
  finish(state, text.size());
  mallopt(M_TRIM_THRESHOLD, kDefaultThresholds);
  mallopt(M_MMAP_THRESHOLD, kDefaultThresholds);
  malloc_trim(0);
}

void PrintJsonIndented(benchmark::State& state) {
  const std::string& text = package(actors_of(state));
  Value value;
  json_text::JsonTextError parse_error;
  if (!json_text::parse_json(text, value, parse_error)) state.SkipWithError(parse_error.message().c_str());
  std::string out;
  std::string error;
  for (auto _ : state) {
    if (!json_text::print_json(value, json_text::JsonLayout::Indented, out, error)) state.SkipWithError(error.c_str());
    benchmark::DoNotOptimize(out.data());
  }
  // Bytes of the package text, so that the ratio to the raw parse compares the same work unit.
  finish(state, text.size());
}

// The other candidates, measured once to choose the library (see docs/json-text.md).
void SimdjsonDom(benchmark::State& state) {
  const std::string& text = package(actors_of(state));
  simdjson::dom::parser parser;
  const simdjson::padded_string padded(text);
  for (auto _ : state) {
    simdjson::dom::element root;
    benchmark::DoNotOptimize(parser.parse(padded).get(root));
  }
  finish(state, text.size());
}

bool convert(simdjson::dom::element element, Value& out) {
  switch (element.type()) {
    case simdjson::dom::element_type::ARRAY: {
      out.kind = Value::Kind::Array;
      simdjson::dom::array array = element.get_array().value_unsafe();
      out.items.resize(array.size());
      std::size_t i = 0;
      for (simdjson::dom::element item : array) {
        if (!convert(item, out.items[i++])) return false;
      }
      return true;
    }
    case simdjson::dom::element_type::OBJECT: {
      out.kind = Value::Kind::Object;
      simdjson::dom::object object = element.get_object().value_unsafe();
      for (simdjson::dom::key_value_pair member : object) {
        auto [it, inserted] = out.members.try_emplace(std::string(member.key));
        if (!inserted || !convert(member.value, it->second)) return false;
      }
      return true;
    }
    case simdjson::dom::element_type::STRING:
      out.kind = Value::Kind::String;
      out.str = element.get_string().value_unsafe();
      return true;
    case simdjson::dom::element_type::BOOL:
      out.kind = Value::Kind::Bool;
      out.boolean = element.get_bool().value_unsafe();
      return true;
    case simdjson::dom::element_type::NULL_VALUE: return true;
    default:
      out.kind = Value::Kind::Number;
      out.number = element.get_double().value_unsafe();
      return true;
  }
}

void SimdjsonDomToValue(benchmark::State& state) {
  const std::string& text = package(actors_of(state));
  simdjson::dom::parser parser;
  for (auto _ : state) {
    // The padded copy is part of opening a file that arrives as a string_view.
    const simdjson::padded_string padded(text);
    simdjson::dom::element root;
    Value value;
    if (parser.parse(padded).get(root) != simdjson::SUCCESS || !convert(root, value)) state.SkipWithError("parse");
    benchmark::DoNotOptimize(value);
  }
  finish(state, text.size());
}

void NlohmannSaxNullHandler(benchmark::State& state) {
  const std::string& text = package(actors_of(state));
  struct Null : nlohmann::json_sax<nlohmann::json> {
    bool null() override { return true; }
    bool boolean(bool) override { return true; }
    bool number_integer(number_integer_t) override { return true; }
    bool number_unsigned(number_unsigned_t) override { return true; }
    bool number_float(number_float_t, const string_t&) override { return true; }
    bool string(string_t&) override { return true; }
    bool binary(binary_t&) override { return true; }
    bool start_object(std::size_t) override { return true; }
    bool key(string_t&) override { return true; }
    bool end_object() override { return true; }
    bool start_array(std::size_t) override { return true; }
    bool end_array() override { return true; }
    bool parse_error(std::size_t, const std::string&, const nlohmann::detail::exception&) override { return false; }
  };
  for (auto _ : state) {
    Null handler;
    benchmark::DoNotOptimize(nlohmann::json::sax_parse(text, &handler));
  }
  finish(state, text.size());
}

constexpr std::int64_t kSmallPackageActors = 1'000;
constexpr std::int64_t kLargePackageActors = 50'000;

#define PACKAGE_SIZES Arg(kSmallPackageActors)->Arg(kLargePackageActors)->Unit(benchmark::kMillisecond)
BENCHMARK(RapidjsonReaderNullHandler)->PACKAGE_SIZES;
BENCHMARK(RapidjsonDocument)->PACKAGE_SIZES;
BENCHMARK(ParseJson)->PACKAGE_SIZES;
BENCHMARK(ParseJsonWarmHeap)->PACKAGE_SIZES;
BENCHMARK(PrintJsonIndented)->PACKAGE_SIZES;
BENCHMARK(SimdjsonDom)->PACKAGE_SIZES;
BENCHMARK(SimdjsonDomToValue)->PACKAGE_SIZES;
BENCHMARK(NlohmannSaxNullHandler)->PACKAGE_SIZES;

// Prints as usual and keeps each run's throughput, then prints every figure against its baseline.
class RatioReporter : public benchmark::ConsoleReporter {
 public:
  void ReportRuns(const std::vector<Run>& runs) override {
    ConsoleReporter::ReportRuns(runs);
    for (const Run& run : runs) {
      if (run.run_type != Run::RT_Iteration || run.error_occurred) continue;
      const auto bytes = run.counters.find("bytes_per_second");
      if (bytes != run.counters.end()) throughput_[run.benchmark_name()] = bytes->second.value;
    }
  }

  void Finalize() override {
    ConsoleReporter::Finalize();
    auto& out = GetOutputStream();
    out << "\nthroughput ratios to the rapidjson reader with a null handler (same run):\n";
    for (const auto& [name, rate] : throughput_) {
      const std::string size = name.substr(name.find('/'));
      const auto base = throughput_.find("RapidjsonReaderNullHandler" + size);
      if (base == throughput_.end() || base->second <= 0) continue;
      char line[160];
      std::snprintf(line, sizeof line, "  %-36s %6.3f\n", name.c_str(), rate / base->second);
      out << line;
    }
  }

 private:
  std::map<std::string, double> throughput_;
};

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  RatioReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  benchmark::Shutdown();
  return 0;
}
