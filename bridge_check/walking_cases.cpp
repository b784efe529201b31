// The cases about walkers: a package loaded near Link, what "live_actors" and "live_route" answer about
// it, and, with a manual clock, the walk over simulated time compared with Pathwright's own walking rules
// (walking/), planned on the bridge's ground.
#include <algorithm>
#include <cmath>

#include "bridge_check/check_cases.h"
#include "protocol/flat_numbers.h"
#include "protocol/point_codec.h"
#include "walking/package_walk.h"

namespace host::bridge_check {
namespace {

using mods::json::Value;

constexpr float kLegUnits = 300.0f;    // the kit's route: a corner of two legs this long, from Link
constexpr double kOnRouteUnits = 0.5;  // how far from its route a walker may be found (float rounding)
constexpr double kClockSlackSeconds = 1e-6;
constexpr const char* kWalker = "bridge_check_walker";
constexpr const char* kStill = "bridge_check_still";  // placed without a route: never walked

[[noreturn]] void fail(const std::string& sent, const Value& got, const std::string& expected) {
  throw CaseFailure("sent " + excerpt(sent) + ", got " + excerpt(compact(got)) + ", expected " + expected);
}

std::string point_text(const WorldPoint& p) {
  return "(" + protocol::float_text(p.x) + ", " + protocol::float_text(p.y) + ", " + protocol::float_text(p.z) + ")";
}

// Loads package `package` with a model walking a corner from Link back and forth, and one that stands.
SentRoute load_walkers(BridgeSession& session, const std::string& package, Value& document) {
  WorldPoint link;
  std::string expected;
  const Value at = session.call("link");
  if (!read_finite_point(at, link, expected)) fail("\"link\"", at, expected);
  SentRoute route{
      .actor = kWalker,
      .points = {link, {link.x + kLegUnits, link.y, link.z}, {link.x + kLegUnits, link.y, link.z + kLegUnits}}};
  Value walker = Value::object();
  walker["id"] = Value::of(kWalker);
  walker["kind"] = Value::of("mod");
  walker["position"] = protocol::point_value(link);
  Value& path = walker["path"];
  path["points"] = Value::array();
  for (const WorldPoint& p : route.points) path["points"].items.push_back(protocol::point_value(p));
  path["mode"] = Value::of("back_and_forth");
  path["speed"] = Value::of(48.0);
  Value still = Value::object();
  still["id"] = Value::of(kStill);
  still["kind"] = Value::of("mod");
  still["position"] = protocol::point_value(link);
  document = Value::object();
  document["actors"] = Value::array();
  document["actors"].items = {walker, still};
  const Value loaded = session.call("load", "\"package\":\"" + package + "\",\"document\":" + compact(document));
  if (!loaded.get("walking").is_number() || loaded.get("walking").number < 1) {
    fail("\"load\" of a model with a route", loaded, "\"walking\": 1 or more");
  }
  return route;
}

bool ground_below(BridgeSession& session, const WorldPoint& probe, float& height) {
  const Value answer = session.call("ground_height", protocol::point_fields(probe));
  height = static_cast<float>(answer.get("height").number);
  return answer.get("found").is_bool() && answer.get("found").boolean;
}

// `position` lies on the route through `walked` and stands on the ground below it (or, with no ground
// there, within the route's heights).
void expect_on_route(BridgeSession& session, const WorldPoint& position, const std::vector<WorldPoint>& walked,
                     const std::string& source) {
  if (distance_from_route(position, walked) > kOnRouteUnits) {
    throw CaseFailure("asked " + source + ", got the walker at " + point_text(position) +
                      ", expected a position between the route's points");
  }
  float ground = 0;
  const bool found = ground_below(session, {position.x, position.y + 100, position.z}, ground);
  const auto [low, high] = std::minmax_element(walked.begin(), walked.end(),
                                               [](const WorldPoint& a, const WorldPoint& b) { return a.y < b.y; });
  const bool stands = found ? std::abs(position.y - ground) <= kOnRouteUnits
                            : position.y >= low->y - kOnRouteUnits && position.y <= high->y + kOnRouteUnits;
  if (!stands) {
    throw CaseFailure("asked " + source + ", got the walker at " + point_text(position) +
                      ", expected it on the ground" +
                      (found ? " at y " + protocol::float_text(ground) : " or within the route's heights"));
  }
}

// "live_actors" and "live_route" of the walker: shapes, and its position on the route as walked. Answers
// the game's time; `position` is where "live_actors" put the walker.
double expect_walker(BridgeSession& session, const std::string& package, const SentRoute& route, WorldPoint& position) {
  const std::string quoted = "\"package\":\"" + package + "\"";
  const Value live = session.call("live_actors", quoted);
  double time = 0;
  std::string expected;
  if (!read_live_actors(live, {kWalker}, route, position, time, expected)) fail("\"live_actors\"", live, expected);
  const Value answer = session.call("live_route", quoted + ",\"actor\":\"" + kWalker + "\"");
  std::vector<WorldPoint> walked;
  WorldPoint now;
  if (!read_live_route(answer.get("route"), route, walked, now, expected)) fail("\"live_route\"", answer, expected);
  for (std::size_t k = 0; k < walked.size(); ++k) {
    float ground = 0;
    const WorldPoint& sent = route.points[k];
    const float y = ground_below(session, {sent.x, sent.y + 100, sent.z}, ground) ? ground : sent.y;
    if (walked[k].y != y) {
      fail("\"live_route\"", answer,
           "point " + std::to_string(k + 1) + " at y " + protocol::float_text(y) +
               " (on the ground below 100 units above it)");
    }
  }
  expect_on_route(session, position, walked, "\"live_actors\"");
  expect_on_route(session, now, walked, "\"live_route\"");
  return time;
}

void expect_not_walked(BridgeSession& session, const std::string& package, const std::string& actor) {
  const std::string fields = "\"package\":\"" + package + "\",\"actor\":\"" + actor + "\"";
  const Value answer = session.call("live_route", fields);
  if (!answer.has("route") || !answer.get("route").is_null())
    fail("\"live_route\" " + fields, answer, "\"route\": null");
}

// The first surface below each probe, one "ground_heights" request.
void ground_below_all(BridgeSession& session, const std::vector<WorldPoint>& probes, std::vector<float>& heights,
                      std::vector<bool>& found) {
  std::string fields = "\"probes\":";
  protocol::append_point_array(fields, probes.data(), probes.size());
  const Value answer = session.call("ground_heights", fields);
  std::string expected;
  if (!read_heights(answer, probes.size(), heights, found, expected)) fail("\"ground_heights\"", answer, expected);
}

// The walker stands where Pathwright's own walking rules put it `seconds` after the load.
void expect_predicted(const walking::PackageWalk& plan, const walking::GroundBelow& ground, double seconds,
                      const WorldPoint& position) {
  std::vector<walking::WalkerPose> poses;
  std::string error;
  if (!walking::poses_at(plan, seconds, ground, poses, error))
    throw CaseFailure("predicting the walk failed: " + error);
  for (std::size_t k = 0; k < plan.walkers.size(); ++k) {
    if (plan.walkers[k].id != kWalker) continue;
    const WorldPoint& predicted = poses[k].position;
    const double off = std::hypot(position.x - predicted.x, position.y - predicted.y, position.z - predicted.z);
    if (off > kOnRouteUnits) {
      throw CaseFailure("asked \"live_actors\" " + number_text(seconds) + " s after \"load\", got the walker at " +
                        point_text(position) + ", expected it where the walking rules put it, " +
                        point_text(predicted));
    }
    return;
  }
  throw CaseFailure("the walking rules do not walk \"" + std::string(kWalker) + "\", expected them to");
}

}  // namespace

std::string walkers_case(CheckContext& context) {
  auto session = context.open();
  Value document;
  const SentRoute route = load_walkers(*session, "bridge_check", document);
  WorldPoint position;
  expect_walker(*session, "bridge_check", route, position);
  expect_not_walked(*session, "bridge_check", kStill);
  expect_not_walked(*session, "bridge_check", "nobody");
  expect_not_walked(*session, "bridge_check_never_loaded", kWalker);
  return "";
}

std::string manual_clock_case(CheckContext& context) {
  auto session = context.open();
  const double probe_id = session->next_id();
  const std::string probe = request(probe_id, "advance", "\"seconds\":0");
  const Value offered = session->ask(probe, probe_id);
  if (!offered.get("ok").boolean) {
    context.skipped = true;
    return "the bridge offers no manual clock; \"advance\" was refused: " + offered.get("error").string("");
  }
  Value document;
  const SentRoute route = load_walkers(*session, "bridge_check_clock", document);
  WorldPoint position;
  const double loaded = expect_walker(*session, "bridge_check_clock", route, position);  // the walk starts here
  walking::PackageWalk plan;
  std::string error;
  const walking::GroundBelow ground = [&session](const std::vector<WorldPoint>& probes, std::vector<float>& heights,
                                                 std::vector<bool>& found, std::string&) {
    ground_below_all(*session, probes, heights, found);
    return true;
  };
  if (!walking::plan_package(document, ground, plan, error)) throw CaseFailure("planning the walk failed: " + error);
  double time = loaded;
  for (const double step : {0.5, 2.5, 7.0, 20.0}) {
    const Value advanced = session->call("advance", "\"seconds\":" + number_text(step));
    const double expected = time + step;
    if (!advanced.get("time").is_number() || std::abs(advanced.get("time").number - expected) > kClockSlackSeconds) {
      fail("\"advance\" by " + number_text(step) + " s", advanced, "\"time\": " + number_text(expected));
    }
    time = expect_walker(*session, "bridge_check_clock", route, position);
    if (std::abs(time - expected) > kClockSlackSeconds) {
      throw CaseFailure("sent \"live_actors\" after \"advance\", got \"time\" " + number_text(time) + ", expected " +
                        number_text(expected));
    }
    expect_predicted(plan, ground, time - loaded, position);
  }
  return "";
}

}  // namespace host::bridge_check
