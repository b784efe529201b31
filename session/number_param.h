// The one reader of the host commands' numeric parameters: a finite number (whole where asked) within a
// range, or a clear error naming the command, the parameter and the range in plain numbers. Pure; any
// thread.
#ifndef PATHWRIGHT_SESSION_NUMBER_PARAM_H_
#define PATHWRIGHT_SESSION_NUMBER_PARAM_H_

#include <string>

#include "json/value.h"

namespace host::session {

// 2^53: every count up to it is exact in a JSON number.
constexpr double kLargestExactCount = 9007199254740992.0;

struct NumberParam {
  const char* command;  // named in the error
  const char* key;      // the parameter's name
  double least;
  double most;
  bool whole = true;      // a whole number; otherwise any finite number in range
  bool required = false;  // absent (or null) is an error; otherwise `value` keeps its default
};

// Reads `params[rule.key]` into `value`. On false `error` is, for example, `suggest_detour: "from" is a
// whole number from 0 to 9007199254740992` (or `suggest_detour needs "from", ...` when it is
// missing), and `value` is unchanged.
bool read_number_param(const mods::json::Value& params, const NumberParam& rule, double& value, std::string& error);

}  // namespace host::session

#endif  // PATHWRIGHT_SESSION_NUMBER_PARAM_H_
