// One actor's walk as the game walks it (docs/game-link.md#walking): who walks, from where, at what pace,
// in which mode, with which pauses, and where the walker is at a given moment. A Walk is outlined from
// the actor's record, its entries put on the ground by its owner (package_walk.h does it in one batch
// for a whole package), then planned; afterwards it is immutable and may be read from several threads.
#ifndef PATHWRIGHT_WALKING_WALK_H_
#define PATHWRIGHT_WALKING_WALK_H_

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "editor/points/world_point.h"
#include "json/value.h"
#include "walking/walker_track.h"

namespace walking {

// Walking paces and pauses where the actor or its route names none (units per second, seconds).
inline constexpr double kDefaultResidentPace = 50;  // a resident whose type has no pace of its own
inline constexpr double kDefaultModelSpeed = 60;    // a model route without a positive "speed"
inline constexpr double kPatrolPace = 40;           // Bokoblins and Moblins on patrol
inline constexpr double kDefaultPauseSeconds = 2;   // "pauses": true (or any non-number but false)
// Points and walkers are put on the first surface below a probe this far above them (world units).
inline constexpr float kSnapProbeHeight = 100;
// A track's heights along a leg: the ground is asked this often (world units, horizontally), and a
// place becomes a key where the ground leaves the straight line by more than the tolerance (world units).
inline constexpr double kProfileSpacing = 25;
inline constexpr double kProfileTolerance = 5;

// One place of the walk, in walking order: the actor's own position (number 0) or a route point
// (its number in the record, from 1).
struct WalkEntry {
  story_notebook::WorldPoint point;
  int number = 0;
};

// Where a walker is at one moment.
struct WalkerPose {
  story_notebook::WorldPoint position;
  float heading = 0;  // degrees in [0, 360): 0 faces +z, 90 faces +x
  int target = 1;     // the game's live "point": the number walked to next (while pausing too), or stood at
  Motion state = Motion::Walking;
  bool between = false;  // on the straight line between two entries: stands on the ground below, if any
};

class Walk {
 public:
  // The walk the game gives `actor` before anything is put on the ground, or nothing when it walks none
  // for it: the actor is refused a route, has no "path" object with a "points" array of one or more
  // {"x","y","z"} points, or a point is not three numbers that narrow to finite floats.
  static std::optional<Walk> outline(const mods::json::Value& actor);

  // The places walked, in order: a resident's or patroller's own position (when it is a point) and then
  // the route's points; a model's points. The owner may put them on the ground before `plan`.
  std::vector<WalkEntry>& entries() { return entries_; }
  const std::vector<WalkEntry>& entries() const { return entries_; }

  // Lays out the timeline from the entries as they are now. Call once, after grounding them.
  void plan();

  // Where the walker is `seconds` after its walk started (negative counts as 0); between entries the
  // place is on the straight line (`between`), and the owner stands it on the ground.
  WalkerPose pose(double seconds) const;

  // Where the ground turns under a leg: a place at `fraction` of the way whose ground is `y`.
  struct Bend {
    double fraction = 0;
    float y = 0;
  };
  // One list of bends per phase (the "once" phases, then the repeated ones); empty lists: straight legs.
  using Profile = std::vector<std::vector<Bend>>;

  // Appends the places along every leg where the ground is to be asked, every kProfileSpacing units
  // or less, on the straight line; `profile` reads them back once they stand on the ground.
  void profile_places(std::vector<story_notebook::WorldPoint>& places) const;
  // The bends among `places[at...]` (as profile_places appended them, grounded): only those where the
  // ground leaves the straight line between its neighbours by more than kProfileTolerance. Moves `at`
  // past this walk's places.
  Profile profile(const std::vector<story_notebook::WorldPoint>& places, std::size_t& at) const;

  // Appends the track's keys from 0 s up to `horizon` seconds (its last key at `horizon` unless arrived
  // earlier), with a key at every bend of `profile` (null: none); a key at `horizon` between entries has
  // `between` set in `cut`. At most `limit` keys are appended: false when more would be needed.
  bool append_keys(double horizon, std::size_t limit, const Profile* profile, std::vector<TrackKey>& keys,
                   bool& cut) const;

  // The live route record: {"points", "mode", "speed", "position", "heading", "target", "state"}, with
  // floats written as the link writes them; `now` is pose() grounded.
  mods::json::Value live_route(const WalkerPose& now) const;

  const std::string& mode() const { return mode_; }
  double speed() const { return speed_; }

 private:
  // One stretch of the timeline: a walk between two entries, or a pause at one (`to` == `from`).
  struct Phase {
    bool pause = false;
    story_notebook::WorldPoint from, to;
    double seconds = 0;
    float heading = 0;
    int target = 1;
  };

  void choose_pace(const mods::json::Value& actor, const mods::json::Value& path, bool model, bool patroller);
  void plan_once();
  void plan_repeated();
  void add_walk(std::vector<Phase>& phases, std::size_t from, std::size_t to);
  void add_pause(std::vector<Phase>& phases, std::size_t at, std::size_t next);
  WalkerPose pose_in(const std::vector<Phase>& phases, double seconds) const;

  std::vector<WalkEntry> entries_;
  std::string mode_;
  double speed_ = kDefaultResidentPace;
  double pause_seconds_ = 0;  // 0: no pauses
  std::vector<Phase> intro_;  // "once": the whole walk
  std::vector<Phase> cycle_;  // "loop" and "back_and_forth": repeated for ever from 0 s
  double intro_seconds_ = 0, cycle_seconds_ = 0;
  WalkerPose rest_;         // where it stays once arrived
  float last_heading_ = 0;  // heading of the latest walk added while planning
};

const char* motion_name(Motion motion);

}  // namespace walking

#endif  // PATHWRIGHT_WALKING_WALK_H_
