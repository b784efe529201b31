// Opening a package once in a fresh process, as the one-shot `pathwright call` does: every page the tree
// needs is new to the process, which the repeated runs of bench_json_text see only in their first
// iteration. Generates a package of N actors (default 50,000), then times rapidjson's reader with a null
// handler and one parse_json, and prints both with their ratio. Run it several times: each run is one
// sample.
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>

#include <rapidjson/reader.h>

#include "bench/json_text/mod_package_generator.h"
#include "json_text/json_text.h"

namespace {

constexpr std::size_t kDefaultActors = 50'000;

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

// The tree is left to the end of the process, as a one-shot call leaves it.
double time_parse(const std::string& text, std::unique_ptr<mods::json::Value>& kept) {
  const Clock::time_point start = Clock::now();
  kept = std::make_unique<mods::json::Value>();
  json_text::JsonTextError error;
  if (!json_text::parse_json(text, *kept, error)) {
    std::fprintf(stderr, "%s\n", error.message().c_str());
    std::exit(EXIT_FAILURE);
  }
  return milliseconds_since(start);
}

}  // namespace

int main(int argc, char** argv) {
  const std::size_t actors = argc > 1 ? std::strtoul(argv[1], nullptr, 10) : kDefaultActors;
  const std::string text = bench_json_text::generate_mod_package(actors);
  const double reader_ms = time_reader(text);
  std::unique_ptr<mods::json::Value> tree;
  const double parse_ms = time_parse(text, tree);
  std::printf("%zu actors: reader %.1f ms, parse_json %.1f ms, ratio %.3f\n", actors, reader_ms, parse_ms,
              reader_ms / parse_ms);
  return EXIT_SUCCESS;
}
