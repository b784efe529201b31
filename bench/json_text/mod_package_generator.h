// Generates mod package text for benchmarks: a deterministic mix of residents, Bokoblins, Moblins and the
// mod's own models, each with a route, written the way a person would (keys in a natural, unsorted
// order, two-space indentation). Pure function; safe from several threads.
#ifndef PATHWRIGHT_BENCH_JSON_TEXT_MOD_PACKAGE_GENERATOR_H_
#define PATHWRIGHT_BENCH_JSON_TEXT_MOD_PACKAGE_GENERATOR_H_

#include <cstddef>
#include <string>

namespace bench_json_text {

// A package with `actors` actors; the same count always gives the same text.
std::string generate_mod_package(std::size_t actors);

}  // namespace bench_json_text

#endif  // PATHWRIGHT_BENCH_JSON_TEXT_MOD_PACKAGE_GENERATOR_H_
