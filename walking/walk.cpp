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

namespace {

// Samples of one leg: intervals every kProfileSpacing units or less; none for a pause or a leg so short
// that it has no inside sample.
std::size_t intervals_of(const story_notebook::WorldPoint& from, const story_notebook::WorldPoint& to) {
  const double distance = std::hypot(double(to.x) - from.x, double(to.z) - from.z);
  if (!(distance > kProfileSpacing) || !std::isfinite(distance)) return 1;
  // A leg too long to sample keeps its straight line (the check refuses such routes anyway).
  constexpr double kMostIntervals = 100000;
  const double count = std::ceil(distance / kProfileSpacing);
  return count > kMostIntervals ? 1 : static_cast<std::size_t>(count);
}

// Keeps, of the heights `ys` at fractions j/n (ends included), those where the ground leaves the line
// between the kept neighbours by more than the tolerance, as the route's bends (ends excluded).
void simplify(const std::vector<float>& ys, std::size_t first, std::size_t last, std::vector<Walk::Bend>& bends) {
  if (last <= first + 1) return;
  const double n = static_cast<double>(ys.size() - 1);
  std::size_t worst = first;
  double most = kProfileTolerance;
  for (std::size_t j = first + 1; j < last; ++j) {
    const double f = double(j - first) / double(last - first);
    const double line = ys[first] + (double(ys[last]) - ys[first]) * f;
    const double off = std::fabs(ys[j] - line);
    if (off > most) {
      most = off;
      worst = j;
    }
  }
  if (worst == first) return;
  simplify(ys, first, worst, bends);
  bends.push_back({double(worst) / n, ys[worst]});
  simplify(ys, worst, last, bends);
}

}  // namespace

void Walk::profile_places(std::vector<WorldPoint>& places) const {
  for (const std::vector<Phase>* phases : {&intro_, &cycle_}) {
    for (const Phase& phase : *phases) {
      if (phase.pause) continue;
      const std::size_t n = intervals_of(phase.from, phase.to);
      for (std::size_t j = 1; j < n; ++j) {
        const double f = double(j) / double(n);
        places.push_back({static_cast<float>(phase.from.x + (double(phase.to.x) - phase.from.x) * f),
                          static_cast<float>(phase.from.y + (double(phase.to.y) - phase.from.y) * f),
                          static_cast<float>(phase.from.z + (double(phase.to.z) - phase.from.z) * f)});
      }
    }
  }
}

Walk::Profile Walk::profile(const std::vector<WorldPoint>& places, std::size_t& at) const {
  Profile result;
  for (const std::vector<Phase>* phases : {&intro_, &cycle_}) {
    for (const Phase& phase : *phases) {
      result.emplace_back();
      if (phase.pause) continue;
      const std::size_t n = intervals_of(phase.from, phase.to);
      if (n < 2) continue;
      std::vector<float> ys{phase.from.y};
      for (std::size_t j = 1; j < n; ++j) ys.push_back(places[at++].y);
      ys.push_back(phase.to.y);
      simplify(ys, 0, n, result.back());
    }
  }
  return result;
}

bool Walk::append_keys(double horizon, std::size_t limit, const Profile* profile, std::vector<TrackKey>& keys,
                       bool& cut) const {
  cut = false;
  std::size_t added = 0;
  double t = 0;
  const auto add = [&](const TrackKey& key) {
    if (added == limit) return false;
    keys.push_back(key);
    ++added;
    return true;
  };
  // The phase's key, then one at each of its bends that comes before the horizon.
  const auto add_phase = [&](const Phase& phase, std::size_t index) {
    const Motion motion = phase.pause ? Motion::Pausing : Motion::Walking;
    if (!add({.seconds = t,
              .x = phase.from.x,
              .y = phase.from.y,
              .z = phase.from.z,
              .point = phase.target,
              .motion = motion})) {
      return false;
    }
    if (profile == nullptr || index >= profile->size()) return true;
    for (const Bend& bend : (*profile)[index]) {
      const double at = t + phase.seconds * bend.fraction;
      if (at >= horizon) break;
      if (!add({.seconds = at,
                .x = phase.from.x + (double(phase.to.x) - phase.from.x) * bend.fraction,
                .y = bend.y,
                .z = phase.from.z + (double(phase.to.z) - phase.from.z) * bend.fraction,
                .point = phase.target,
                .motion = motion})) {
        return false;
      }
    }
    return true;
  };
  // Phases of no duration leave no key: the walker is already at their end.
  for (std::size_t i = 0; i < intro_.size(); ++i) {
    if (t >= horizon) break;
    if (!(intro_[i].seconds > 0)) continue;
    if (!add_phase(intro_[i], i)) return false;
    t += intro_[i].seconds;
  }
  if (cycle_.empty() && t < horizon) {
    return add({.seconds = t,
                .x = rest_.position.x,
                .y = rest_.position.y,
                .z = rest_.position.z,
                .point = rest_.target,
                .motion = Motion::Arrived});
  }
  if (!cycle_.empty() && t < horizon) {
    // Refuse before laying out a walk that cannot fit.
    double per_cycle = 0;
    for (const Phase& phase : cycle_) per_cycle += phase.seconds > 0 ? 1 : 0;
    const double needed = std::floor((horizon - t) / cycle_seconds_) * per_cycle;
    if (needed > static_cast<double>(limit - added)) return false;
  }
  while (!cycle_.empty() && t < horizon) {
    for (std::size_t i = 0; i < cycle_.size(); ++i) {
      if (t >= horizon) break;
      if (!(cycle_[i].seconds > 0)) continue;
      if (!add_phase(cycle_[i], intro_.size() + i)) return false;
      t += cycle_[i].seconds;
    }
  }
  // The last stretch runs past the horizon: end the track where the walker is then.
  const WalkerPose end = pose(horizon);
  cut = end.between;
  return add({.seconds = horizon,
              .x = end.position.x,
              .y = end.position.y,
              .z = end.position.z,
              .point = end.target,
              .motion = end.state});
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
