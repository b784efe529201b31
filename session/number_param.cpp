#include "session/number_param.h"

#include <cmath>
#include <sstream>

namespace host::session {
namespace {

// A bound in plain digits: 9007199254740992, 0.5, never 9.007e+15.
std::string plain(double bound) {
  std::ostringstream text;
  text.precision(bound == std::floor(bound) ? 0 : 6);
  text << std::fixed << bound;
  std::string digits = text.str();
  if (digits.find('.') != std::string::npos) {
    while (digits.back() == '0') digits.pop_back();
    if (digits.back() == '.') digits.pop_back();
  }
  return digits;
}

}  // namespace

bool read_number_param(const mods::json::Value& params, const NumberParam& rule, double& value, std::string& error) {
  const mods::json::Value& given = params.get(rule.key);
  const std::string range = std::string(rule.whole ? "a whole number" : "a number") + " from " + plain(rule.least) +
                            " to " + plain(rule.most);
  if (given.is_null()) {
    if (!rule.required) return true;
    error = std::string(rule.command) + " needs \"" + rule.key + "\", " + range;
    return false;
  }
  const bool fits = given.is_number() && std::isfinite(given.number) &&
                    (!rule.whole || given.number == std::floor(given.number)) && given.number >= rule.least &&
                    given.number <= rule.most;
  if (!fits) {
    error = std::string(rule.command) + ": \"" + rule.key + "\" is " + range;
    return false;
  }
  value = given.number;
  return true;
}

}  // namespace host::session
