#include "game/walking.h"

#include <cmath>
#include <limits>

#include "protocol/flat_numbers.h"
#include "protocol/point_codec.h"
#include "residents/walkers.h"

namespace game {

namespace {

using mods::json::Value;
using story_notebook::WorldPoint;

constexpr double kFullTurnDegrees = 360;
constexpr double kRadiansToDegrees = 180.0 / 3.14159265358979323846;

// The point with its y on the first surface below a probe kSnapProbeHeight above it, when there is one.
WorldPoint on_ground(WorldPoint point, const Ground& ground) {
  const float probe_y = point.y + kSnapProbeHeight;
  float height = 0;
  if (std::isfinite(probe_y) && ground.below(point.x, probe_y, point.z, height)) point.y = height;
  return point;
}

bool is_mode(const std::string& mode) { return mode == "once" || mode == "loop" || mode == "back_and_forth"; }

}  // namespace

const char* walk_state_name(WalkState state) {
  switch (state) {
    case WalkState::Walking: return "walking";
    case WalkState::Pausing: return "pausing";
    case WalkState::Arrived: return "arrived";
  }
  return "walking";
}

void Walk::add_walk(std::vector<Phase>& phases, const WorldPoint& from, int to_number) {
  Phase phase;
  phase.from = from;
  phase.to = points_[static_cast<std::size_t>(to_number - 1)];
  phase.target = to_number;
  const double dx = double(phase.to.x) - from.x;
  const double dz = double(phase.to.z) - from.z;
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

void Walk::add_pause(std::vector<Phase>& phases, int at_number, int next_number) {
  if (pause_seconds_ <= 0) return;
  Phase phase;
  phase.pause = true;
  phase.from = phase.to = points_[static_cast<std::size_t>(at_number - 1)];
  phase.seconds = pause_seconds_;
  phase.heading = last_heading_;
  phase.target = next_number;
  phases.push_back(phase);
}

bool Walk::take_points(const Value& listed, const Ground& ground) {
  if (!listed.is_array() || listed.items.empty()) return false;
  for (const Value& item : listed.items) {
    WorldPoint point;
    if (!protocol::read_point_narrowing(item, point)) return false;
    points_.push_back(on_ground(point, ground));
  }
  return true;
}

void Walk::choose_pace(const Value& actor, const Value& path, bool model, bool patroller) {
  mode_ = path.get("mode").string("once");
  if (!is_mode(mode_)) mode_ = "once";
  if (patroller) mode_ = "back_and_forth";

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

void Walk::plan_once(const std::optional<WorldPoint>& start) {
  const int n = static_cast<int>(points_.size());
  if (start) add_walk(intro_, *start, 1);
  for (int k = 1; k < n; ++k) {
    if (k > 1 || start) add_pause(intro_, k, k + 1);
    add_walk(intro_, points_[static_cast<std::size_t>(k - 1)], k + 1);
  }
  rest_ = {points_.back(), last_heading_, n, WalkState::Arrived};
}

void Walk::plan_repeated(const std::optional<WorldPoint>& start) {
  const int n = static_cast<int>(points_.size());
  // The repeated tour as point numbers: round the points for a loop, out and back for back and forth.
  std::vector<int> tour;
  for (int k = 1; k <= n; ++k) tour.push_back(k);
  if (mode_ == "back_and_forth") {
    for (int k = n - 1; k >= 2; --k) tour.push_back(k);
  }
  const std::size_t length = tour.size();
  if (start) {
    add_walk(intro_, *start, 1);
    add_pause(intro_, 1, tour[1 % length]);
  }
  // A back-and-forth route of one point has nowhere to turn: it only reaches that point.
  if (mode_ == "loop" || n > 1) {
    for (std::size_t i = 0; i < length; ++i) {
      const int from = tour[i], to = tour[(i + 1) % length];
      add_walk(cycle_, points_[static_cast<std::size_t>(from - 1)], to);
      add_pause(cycle_, to, tour[(i + 2) % length]);
    }
  }
  rest_ = {points_.front(), last_heading_, 1, WalkState::Arrived};
}

std::optional<Walk> Walk::plan(const Value& actor, const Ground& ground) {
  if (!actor.is_object()) return std::nullopt;
  const editor::WalkerClass walker = editor::walker_class(actor);
  if (walker == editor::WalkerClass::None) return std::nullopt;
  const Value& path = actor.get("path");
  if (!path.is_object()) return std::nullopt;

  Walk walk;
  if (!walk.take_points(path.get("points"), ground)) return std::nullopt;
  // The game's own models (any actor of "kind" "mod") appear on point 1 at the route's speed; everyone
  // else walks there from where they were placed.
  const bool model = actor.get("kind").string("") == "mod";
  walk.choose_pace(actor, path, model, walker == editor::WalkerClass::Patroller);

  std::optional<WorldPoint> start;
  WorldPoint placed;
  if (!model && protocol::read_point_narrowing(actor.get("position"), placed)) start = on_ground(placed, ground);
  if (walk.mode_ == "once") {
    walk.plan_once(start);
  } else {
    walk.plan_repeated(start);
  }
  for (const Phase& phase : walk.intro_) walk.intro_seconds_ += phase.seconds;
  for (const Phase& phase : walk.cycle_) walk.cycle_seconds_ += phase.seconds;
  return walk;
}

WalkerPose Walk::pose_in(const std::vector<Phase>& phases, double seconds, const Ground& ground) const {
  for (const Phase& phase : phases) {
    if (seconds < phase.seconds) {
      WalkerPose pose;
      pose.heading = phase.heading;
      pose.target = phase.target;
      if (phase.pause) {
        pose.position = phase.from;
        pose.state = WalkState::Pausing;
        return pose;
      }
      const double f = seconds / phase.seconds;
      WorldPoint at;
      at.x = static_cast<float>(phase.from.x + (double(phase.to.x) - phase.from.x) * f);
      at.y = static_cast<float>(phase.from.y + (double(phase.to.y) - phase.from.y) * f);
      at.z = static_cast<float>(phase.from.z + (double(phase.to.z) - phase.from.z) * f);
      pose.position = on_ground(at, ground);
      pose.state = WalkState::Walking;
      return pose;
    }
    seconds -= phase.seconds;
  }
  // Rounding left a sliver past the last phase: stand at its end.
  const Phase& last = phases.back();
  return {last.to, last.heading, last.target, last.pause ? WalkState::Pausing : WalkState::Walking};
}

WalkerPose Walk::pose(double seconds, const Ground& ground) const {
  if (!(seconds > 0)) seconds = 0;
  if (seconds < intro_seconds_) return pose_in(intro_, seconds, ground);
  if (cycle_.empty() || !(cycle_seconds_ > 0)) return rest_;
  return pose_in(cycle_, std::fmod(seconds - intro_seconds_, cycle_seconds_), ground);
}

Value Walk::live_route(double seconds, const Ground& ground) const {
  const WalkerPose now = pose(seconds, ground);
  Value route = Value::object();
  Value points = Value::array();
  for (const WorldPoint& point : points_) points.items.push_back(protocol::point_value(point));
  route["points"] = std::move(points);
  route["mode"] = Value::of(mode_);
  route["speed"] = Value::of(speed_);
  route["position"] = protocol::point_value(now.position);
  route["heading"] = Value::of(protocol::wire_double(now.heading));
  route["target"] = Value::of(static_cast<double>(now.target));
  route["state"] = Value::of(walk_state_name(now.state));
  return route;
}

}  // namespace game
