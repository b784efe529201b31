// Terse JSON values for tests and benchmarks, and how a value shows in a failed expectation. Plain
// functions over mods::json::Value; any thread.
#ifndef PATHWRIGHT_TESTS_SUPPORT_BUILDERS_H_
#define PATHWRIGHT_TESTS_SUPPORT_BUILDERS_H_

#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "json/value.h"

namespace support {

// Terse values for tests: obj({{"x", num(1)}}), arr({...}), str("a"), point(x, y, z).
mods::json::Value num(double n);
mods::json::Value str(const std::string& s);
mods::json::Value arr(std::vector<mods::json::Value> items);
mods::json::Value obj(std::vector<std::pair<std::string, mods::json::Value>> members);
mods::json::Value point(double x, double y, double z);

}  // namespace support

namespace mods::json {
// Shows values in test failures as compact JSON-like text instead of bytes.
void PrintTo(const Value& value, std::ostream* out);
}  // namespace mods::json

#endif  // PATHWRIGHT_TESTS_SUPPORT_BUILDERS_H_
