// Actors walking their routes over time, as the simulated game shows them: who walks, from where, at
// what pace, in which mode, with which pauses, and where each one is at a given moment. A Walk is
// planned once when a package is loaded (its points put on the ground then) and read many times
// afterwards. A planned Walk is immutable and may be read from several threads.
#ifndef PATHWRIGHT_GAME_WALKING_H_
#define PATHWRIGHT_GAME_WALKING_H_

#include <optional>
#include <string>
#include <vector>

#include "editor/points/world_point.h"
#include "game/ground.h"
#include "json/value.h"

namespace game {

// Walking paces and pauses where the actor or its route names none (units per second, seconds).
inline constexpr double kDefaultResidentPace = 50;  // a resident whose type has no pace of its own
inline constexpr double kDefaultModelSpeed = 60;    // a model route without a positive "speed"
inline constexpr double kPatrolPace = 40;           // Bokoblins and Moblins on patrol
inline constexpr double kDefaultPauseSeconds = 2;   // "pauses": true (or any non-number but false)
// Points and walkers are put on the first surface below a probe this far above them (world units).
inline constexpr float kSnapProbeHeight = 100;

enum class WalkState { Walking, Pausing, Arrived };

// Where a walker is at one moment.
struct WalkerPose {
  story_notebook::WorldPoint position;
  float heading = 0;        // degrees in [0, 360): 0 faces +z, 90 faces +x
  int target = 1;           // number (from 1) of the point it walks to next
  WalkState state = WalkState::Walking;
};

class Walk {
 public:
  // The walk the game gives `actor`, or nothing when it walks nothing for it: the actor is refused a
  // route, has no "path" object with a "points" array of one or more {"x","y","z"} points, or a point
  // is not three finite numbers. Points are put on `ground` as planned.
  static std::optional<Walk> plan(const mods::json::Value& actor, const Ground& ground);

  // Where the walker is `seconds` after its package was loaded (negative counts as 0). Reads `ground`
  // to stand the walker on it between points.
  WalkerPose pose(double seconds, const Ground& ground) const;

  // The live route record: {"points", "mode", "speed", "position", "heading", "target", "state"}, with
  // floats written as the link writes them.
  mods::json::Value live_route(double seconds, const Ground& ground) const;

  const std::vector<story_notebook::WorldPoint>& points() const { return points_; }
  const std::string& mode() const { return mode_; }
  double speed() const { return speed_; }

 private:
  // One stretch of the timeline: a walk from `from` to `to`, or a pause at `from` (`to` == `from`).
  struct Phase {
    bool pause = false;
    story_notebook::WorldPoint from, to;
    double seconds = 0;
    float heading = 0;
    int target = 1;
  };

  // The steps of `plan`, in order: the route's points on the ground (false when they are not a
  // non-empty array of points), its mode, speed and pauses, then the phases of the timeline.
  bool take_points(const mods::json::Value& listed, const Ground& ground);
  void choose_pace(const mods::json::Value& actor, const mods::json::Value& path, bool model, bool patroller);
  void plan_once(const std::optional<story_notebook::WorldPoint>& start);
  void plan_repeated(const std::optional<story_notebook::WorldPoint>& start);
  void add_walk(std::vector<Phase>& phases, const story_notebook::WorldPoint& from, int to_number);
  void add_pause(std::vector<Phase>& phases, int at_number, int next_number);
  WalkerPose pose_in(const std::vector<Phase>& phases, double seconds, const Ground& ground) const;

  std::vector<story_notebook::WorldPoint> points_;  // as walked: on the ground where there is ground
  std::string mode_;
  double speed_ = kDefaultResidentPace;
  double pause_seconds_ = 0;  // 0: no pauses
  std::vector<Phase> intro_;  // from the start to the first pass through point 1
  std::vector<Phase> cycle_;  // repeated for ever afterwards (empty for "once")
  double intro_seconds_ = 0, cycle_seconds_ = 0;
  WalkerPose rest_;           // where it stays once arrived
  float last_heading_ = 0;    // heading of the latest walk added while planning
};

const char* walk_state_name(WalkState state);

}  // namespace game

#endif  // PATHWRIGHT_GAME_WALKING_H_
