// bridge-check: runs every case of the game link protocol (docs/game-link.md) against a running bridge
// and measures its round trips, so that a bridge author learns everything that is wrong at once. The
// runner opens its own connections (one or more per case) and closes them; one thread.
#ifndef PATHWRIGHT_BRIDGE_CHECK_BRIDGE_CHECK_H_
#define PATHWRIGHT_BRIDGE_CHECK_BRIDGE_CHECK_H_

#include <functional>
#include <string>
#include <vector>

#include "bridge_check/answer_checks.h"
#include "json/value.h"
#include "link/game_link.h"

namespace host::bridge_check {

struct CaseResult {
  enum class Outcome { Passed, Failed, Skipped };
  std::string name;
  Outcome outcome = Outcome::Passed;
  // Failed: what was sent, what came back, what was expected. Skipped: why. Passed: a note, or "".
  std::string text;
};

// Round trips of one request, sequential on one connection.
struct Latency {
  std::string what;  // "hello", "ground_height", "ground_heights of 1000 probes"
  int round_trips = 0;
  double median_ms = 0, p99_ms = 0;
};

struct CheckOptions {
  link::GameAddress address;
  double timeout_seconds = 10.0;  // the longest wait for any one answer
  bool latency = true;
};

struct CheckReport {
  bool greeted = false;  // false: could not connect, or no usable greeting (see `cases` and `problem`)
  std::string problem;   // why the bridge could not be reached, when it could not
  Greeting greeting;
  std::vector<CaseResult> cases;
  std::vector<Latency> latency;
  int passed() const;
  int failed() const;
};

// The names of the cases, in the order they run.
std::vector<std::string> case_names();

// Runs every case against the bridge at `options.address`, calling `on_case` after each (may be empty),
// then measures latency when asked and every case passed up to the greeting.
CheckReport run_bridge_check(const CheckOptions& options, const std::function<void(const CaseResult&)>& on_case);

}  // namespace host::bridge_check

#endif  // PATHWRIGHT_BRIDGE_CHECK_BRIDGE_CHECK_H_
