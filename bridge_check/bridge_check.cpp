#include "bridge_check/bridge_check.h"

#include <algorithm>
#include <charconv>
#include <chrono>
#include <cmath>

#include "bridge_check/check_cases.h"
#include "protocol/flat_numbers.h"
#include "protocol/point_codec.h"

namespace host::bridge_check {
namespace {

using mods::json::Value;
using Clock = std::chrono::steady_clock;

constexpr float kAroundLinkUnits = 1000.0f;  // without bounds, probes cover this far around Link
constexpr float kAboveUnits = 100.0f;        // probes start this far above the world's top (or 10 times over Link)
constexpr std::size_t kOutsideEvery = 10;    // every tenth probe is far outside the world
constexpr float kOutsideX = 1e20f;
constexpr int kHelloTrips = 200;
constexpr int kOneProbeTrips = 200;
constexpr int kBatchTrips = 50;
constexpr std::size_t kBatchProbes = 1000;

struct Case {
  const char* name;
  std::string (*run)(CheckContext& context);
};

// The order matters at both ends: the greeting gives the others the world, and the case that closes
// connections half-way runs last, so that a bridge it brings down fails that case only.
// clang-format off
constexpr Case kCases[] = {
    {.name = "greeting", .run = greeting_case},
    {.name = "ids", .run = ids_case},
    {.name = "answer-order", .run = order_case},
    {.name = "errors", .run = errors_case},
    {.name = "bad-line", .run = bad_line_case},
    {.name = "long-line", .run = long_line_case},
    {.name = "ground-height", .run = ground_height_case},
    {.name = "ground-heights", .run = ground_heights_case},
    {.name = "link-and-camera", .run = link_camera_case},
    {.name = "walkers", .run = walkers_case},
    {.name = "manual-clock", .run = manual_clock_case},
    {.name = "connections", .run = connections_case},
    {.name = "closed-mid-request", .run = closed_mid_request_case},
};
// clang-format on

double percentile(std::vector<double> values, double share) {
  std::sort(values.begin(), values.end());
  const auto rank = static_cast<std::size_t>(std::ceil(share * static_cast<double>(values.size())));
  return values[std::min(values.size() - 1, rank == 0 ? 0 : rank - 1)];
}

Latency measure(BridgeSession& session, const std::string& what, int trips, const std::string& op,
                const std::string& fields) {
  std::vector<double> ms;
  for (int k = 0; k < trips; ++k) {
    const auto start = Clock::now();
    session.call(op, fields);
    ms.push_back(std::chrono::duration<double, std::milli>(Clock::now() - start).count());
  }
  return {.what = what, .round_trips = trips, .median_ms = percentile(ms, 0.5), .p99_ms = percentile(ms, 0.99)};
}

std::vector<Latency> measure_latency(CheckContext& context) {
  auto session = context.open();
  const std::vector<WorldPoint> probes = context.probes(kBatchProbes, *session);
  std::string batch = "\"probes\":";
  protocol::append_point_array(batch, probes.data(), probes.size());
  return {measure(*session, "hello", kHelloTrips, "hello", ""),
          measure(*session, "ground_height", kOneProbeTrips, "ground_height", protocol::point_fields(probes[0])),
          measure(*session, "ground_heights of 1000 probes", kBatchTrips, "ground_heights", batch)};
}

}  // namespace

std::string number_text(double value) {
  char buffer[32];
  return std::string(buffer, std::to_chars(buffer, buffer + sizeof buffer, value).ptr);
}

std::string request(double id, const std::string& op, const std::string& fields) {
  std::string line = "{\"id\":" + number_text(id) + ",\"op\":\"" + op + "\"";
  if (!fields.empty()) line += "," + fields;
  return line + "}";
}

std::unique_ptr<BridgeSession> CheckContext::open() const {
  std::string error;
  auto session = BridgeSession::open(options.address, options.timeout_seconds, error);
  if (!session) throw CaseFailure("could not connect to " + options.address.text() + ": " + error);
  return session;
}

std::vector<WorldPoint> CheckContext::probes(std::size_t count, BridgeSession& session) const {
  WorldPoint low = greeting.low, high = greeting.high;
  float y = high.y + kAboveUnits;
  if (!greeting.has_bounds) {
    WorldPoint link;
    std::string expected;
    const Value at = session.call("link");
    if (!read_finite_point(at, link, expected)) {
      throw CaseFailure("sent \"link\", got " + excerpt(compact(at)) + ", expected " + expected);
    }
    low = {link.x - kAroundLinkUnits, link.y, link.z - kAroundLinkUnits};
    high = {link.x + kAroundLinkUnits, link.y, link.z + kAroundLinkUnits};
    y = link.y + 10 * kAboveUnits;
  }
  const auto side = static_cast<std::size_t>(std::ceil(std::sqrt(static_cast<double>(count))));
  std::vector<WorldPoint> probes;
  probes.reserve(count);
  for (std::size_t k = 0; k < count; ++k) {
    const float u = (static_cast<float>(k % side) + 0.5f) / static_cast<float>(side);
    const float v = (static_cast<float>(k / side) + 0.5f) / static_cast<float>(side);
    const float x = k % kOutsideEvery == kOutsideEvery - 1 ? kOutsideX : low.x + u * (high.x - low.x);
    probes.push_back({x, y, low.z + v * (high.z - low.z)});
  }
  return probes;
}

int CheckReport::passed() const {
  return static_cast<int>(std::count_if(cases.begin(), cases.end(),
                                        [](const CaseResult& c) { return c.outcome == CaseResult::Outcome::Passed; }));
}

int CheckReport::failed() const {
  return static_cast<int>(std::count_if(cases.begin(), cases.end(),
                                        [](const CaseResult& c) { return c.outcome == CaseResult::Outcome::Failed; }));
}

std::vector<std::string> case_names() {
  std::vector<std::string> names;
  for (const Case& c : kCases) names.push_back(c.name);
  return names;
}

CheckReport run_bridge_check(const CheckOptions& options, const std::function<void(const CaseResult&)>& on_case) {
  CheckReport report;
  {
    std::string error;
    if (!BridgeSession::open(options.address, options.timeout_seconds, error)) {
      report.problem = "cannot connect to " + options.address.text() + ": " + error;
      return report;
    }
  }
  CheckContext context{.options = options, .greeting = {}};
  for (const Case& c : kCases) {
    CaseResult result{.name = c.name, .outcome = CaseResult::Outcome::Passed, .text = ""};
    context.skipped = false;
    try {
      result.text = c.run(context);
      if (context.skipped) result.outcome = CaseResult::Outcome::Skipped;
    } catch (const CaseFailure& failure) {
      result.outcome = CaseResult::Outcome::Failed;
      result.text = failure.what();
    }
    report.cases.push_back(result);
    if (on_case) on_case(result);
    if (&c == &kCases[0]) {
      if (result.outcome == CaseResult::Outcome::Failed) {
        report.problem = "the bridge did not greet: " + result.text;
        return report;
      }
      report.greeted = true;
      report.greeting = context.greeting;
    }
  }
  if (options.latency) {
    try {
      report.latency = measure_latency(context);
    } catch (const CaseFailure& failure) {
      report.problem = "the latency could not be measured: " + std::string(failure.what());
    }
  }
  return report;
}

}  // namespace host::bridge_check
