#include "walking/walk.h"

#include <cmath>

#include "protocol/flat_numbers.h"
#include "protocol/point_codec.h"
#include "residents/walkers.h"

namespace walking {

namespace {

using mods::json::Value;
using story_notebook::WorldPoint;

constexpr double kFullTurnDegrees = 360;
constexpr double kRadiansToDegrees = 180.0 / 3.14159265358979323846;

bool is_mode(const std::string& mode) { return mode == "once" || mode == "loop" || mode == "back_and_forth"; }

}  // namespace

const char* motion_name(Motion motion) {
  switch (motion) {
    case Motion::Walking: return "walking";
    case Motion::Pausing: return "pausing";
    case Motion::Arrived: return "arrived";
  }
  return "walking";
}

void Walk::add_walk(std::vector<Phase>& phases, std::size_t from, std::size_t to) {
  Phase phase;
  phase.from = entries_[from].point;
  phase.to = entries_[to].point;
  phase.target = entries_[to].number;
  const double dx = double(phase.to.x) - phase.from.x;
  const double dz = double(phase.to.z) - phase.from.z;
  const double distance = std::hypot(dx, dz);
  if (distance > 0) {
    double degrees = std::atan2(dx, dz) * kRadiansToDegrees;
    if (degrees < 0) degrees += kFullTurnDegrees;
    float heading = static_cast<float>(degrees);
    if (heading >= static_cast<float>(kFullTurnDegrees)) heading = 0;
    last_heading_ = heading;
  }
  phase.heading = last_heading_;
  phase.seconds = distance / speed_;
  phases.push_back(phase);
}

void Walk::add_pause(std::vector<Phase>& phases, std::size_t at, std::size_t next) {
  if (pause_seconds_ <= 0) return;
  Phase phase;
  phase.pause = true;
  phase.from = phase.to = entries_[at].point;
  phase.seconds = pause_seconds_;
  phase.heading = last_heading_;
  phase.target = entries_[next].number;
  phases.push_back(phase);
}

void Walk::choose_pace(const Value& actor, const Value& path, bool model, bool patroller) {
  mode_ = path.get("mode").string("once");
  if (!is_mode(mode_)) mode_ = "once";

  if (model) {
    const Value& speed = path.get("speed");
    speed_ = speed.is_number() && speed.number > 0 && std::isfinite(speed.number) ? speed.number : kDefaultModelSpeed;
  } else if (patroller) {
    speed_ = kPatrolPace;
  } else {
    const double pace = editor::resident_pace(actor);
    speed_ = pace > 0 && std::isfinite(pace) ? pace : kDefaultResidentPace;
  }

  const Value& pauses = path.get("pauses");
  if (!path.has("pauses") || (pauses.is_bool() && !pauses.boolean)) {
    pause_seconds_ = 0;
  } else if (pauses.is_number()) {
    pause_seconds_ = std::isfinite(pauses.number) && pauses.number > 0 ? pauses.number : 0;
  } else {
    pause_seconds_ = kDefaultPauseSeconds;
  }
}

std::optional<Walk> Walk::outline(const Value& actor) {
  if (!actor.is_object()) return std::nullopt;
  const editor::WalkerClass walker = editor::walker_class(actor);
  if (walker == editor::WalkerClass::None) return std::nullopt;
  const Value& path = actor.get("path");
  if (!path.is_object()) return std::nullopt;
  const Value& points = path.get("points");
  if (!points.is_array() || points.items.empty()) return std::nullopt;

  Walk walk;
  // A resident or patroller walks from its own position, as the route check judges it; a model appears
  // on its first point.
  WalkEntry entry;
  if (walker != editor::WalkerClass::Model && protocol::read_point_narrowing(actor.get("position"), entry.point)) {
    walk.entries_.push_back(entry);
  }
  for (std::size_t k = 0; k < points.items.size(); ++k) {
    if (!protocol::read_point_narrowing(points.items[k], entry.point)) return std::nullopt;
    entry.number = static_cast<int>(k + 1);
    walk.entries_.push_back(entry);
  }
  walk.choose_pace(actor, path, walker == editor::WalkerClass::Model, walker == editor::WalkerClass::Patroller);
  return walk;
}

void Walk::plan_once() {
  const std::size_t n = entries_.size();
  for (std::size_t k = 1; k < n; ++k) {
    if (k > 1) add_pause(intro_, k - 1, k);
    add_walk(intro_, k - 1, k);
  }
  rest_ = {entries_.back().point, last_heading_, entries_.back().number, Motion::Arrived, false};
}

void Walk::plan_repeated() {
  const std::size_t n = entries_.size();
  // The repeated tour as entry indices: round the walk and back to its start for a loop (the route
  // check's closing segment), out and back for back and forth.
  std::vector<std::size_t> tour;
  for (std::size_t k = 0; k < n; ++k) tour.push_back(k);
  if (mode_ == "back_and_forth") {
    for (std::size_t k = n - 2; k >= 1; --k) tour.push_back(k);
  }
  const std::size_t length = tour.size();
  for (std::size_t i = 0; i < length; ++i) {
    add_walk(cycle_, tour[i], tour[(i + 1) % length]);
    add_pause(cycle_, tour[(i + 1) % length], tour[(i + 2) % length]);
  }
}

void Walk::plan() {
  intro_.clear();
  cycle_.clear();
  last_heading_ = 0;
  if (mode_ != "once" && entries_.size() >= 2) plan_repeated();
  // A tour that goes nowhere (every entry on one spot) is walked once: the walker arrives.
  double distance = 0;
  for (const Phase& phase : cycle_) distance += phase.pause ? 0 : phase.seconds;
  if (!(distance > 0)) {
    cycle_.clear();
    last_heading_ = 0;
    plan_once();
  }
  intro_seconds_ = cycle_seconds_ = 0;
  for (const Phase& phase : intro_) intro_seconds_ += phase.seconds;
  for (const Phase& phase : cycle_) cycle_seconds_ += phase.seconds;
}

WalkerPose Walk::pose_in(const std::vector<Phase>& phases, double seconds) const {
  for (const Phase& phase : phases) {
    if (seconds < phase.seconds) {
      WalkerPose pose;
      pose.heading = phase.heading;
      pose.target = phase.target;
      if (phase.pause) {
        pose.position = phase.from;
        pose.state = Motion::Pausing;
        return pose;
      }
      const double f = seconds / phase.seconds;
      pose.position.x = static_cast<float>(phase.from.x + (double(phase.to.x) - phase.from.x) * f);
      pose.position.y = static_cast<float>(phase.from.y + (double(phase.to.y) - phase.from.y) * f);
      pose.position.z = static_cast<float>(phase.from.z + (double(phase.to.z) - phase.from.z) * f);
      pose.state = Motion::Walking;
      pose.between = true;
      return pose;
    }
    seconds -= phase.seconds;
  }
  // Rounding left a sliver past the last phase: stand at its end.
  const Phase& last = phases.back();
  return {last.to, last.heading, last.target, last.pause ? Motion::Pausing : Motion::Walking, false};
}

WalkerPose Walk::pose(double seconds) const {
  if (!(seconds > 0)) seconds = 0;
  if (seconds < intro_seconds_) return pose_in(intro_, seconds);
  if (cycle_.empty() || !(cycle_seconds_ > 0)) return rest_;
  return pose_in(cycle_, std::fmod(seconds - intro_seconds_, cycle_seconds_));
}

bool Walk::append_keys(double horizon, std::size_t limit, std::vector<TrackKey>& keys, bool& cut) const {
  cut = false;
  std::size_t added = 0;
  double t = 0;
  const auto add = [&](const TrackKey& key) {
    if (added == limit) return false;
    keys.push_back(key);
    ++added;
    return true;
  };
  const auto phase_key = [&](const Phase& phase) {
    return TrackKey{.seconds = t, .x = phase.from.x, .y = phase.from.y, .z = phase.from.z, .point = phase.target,
                    .motion = phase.pause ? Motion::Pausing : Motion::Walking};
  };
  // Phases of no duration leave no key: the walker is already at their end.
  for (const Phase& phase : intro_) {
    if (t >= horizon) break;
    if (!(phase.seconds > 0)) continue;
    if (!add(phase_key(phase))) return false;
    t += phase.seconds;
  }
  if (cycle_.empty() && t < horizon) {
    return add({.seconds = t, .x = rest_.position.x, .y = rest_.position.y, .z = rest_.position.z,
                .point = rest_.target, .motion = Motion::Arrived});
  }
  while (!cycle_.empty() && t < horizon) {
    for (const Phase& phase : cycle_) {
      if (t >= horizon) break;
      if (!(phase.seconds > 0)) continue;
      if (!add(phase_key(phase))) return false;
      t += phase.seconds;
    }
  }
  // The last stretch runs past the horizon: end the track where the walker is then.
  const WalkerPose end = pose(horizon);
  cut = end.between;
  return add({.seconds = horizon, .x = end.position.x, .y = end.position.y, .z = end.position.z,
              .point = end.target, .motion = end.state});
}

Value Walk::live_route(const WalkerPose& now) const {
  Value route = Value::object();
  Value points = Value::array();
  for (const WalkEntry& entry : entries_) {
    if (entry.number > 0) points.items.push_back(protocol::point_value(entry.point));
  }
  route["points"] = std::move(points);
  route["mode"] = Value::of(mode_);
  route["speed"] = Value::of(speed_);
  route["position"] = protocol::point_value(now.position);
  route["heading"] = Value::of(protocol::wire_double(now.heading));
  route["target"] = Value::of(static_cast<double>(now.target));
  route["state"] = Value::of(motion_name(now.state));
  return route;
}

}  // namespace walking
