// A whole package as the game walks it: every walker's planned walk and the actors that stand still,
// where each walker is at a moment, and each walker's track up to a horizon. Pure functions of a
// document, a ground (or none) and a time; the simulated game and the host's prediction both use them,
// so they cannot disagree. A planned PackageWalk is immutable and may be read from several threads; the
// ground function is called on the caller's thread.
#ifndef PATHWRIGHT_WALKING_PACKAGE_WALK_H_
#define PATHWRIGHT_WALKING_PACKAGE_WALK_H_

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

#include "editor/points/world_point.h"
#include "json/value.h"
#include "walking/walk.h"
#include "walking/walker_track.h"

namespace walking {

// The first surface below each of a batch of probes, as the link's "ground_heights" answers it: on
// true, `heights` and `found` hold one entry per probe (`heights[k]` meaningful where `found[k]`); on
// false, `error` says why the whole query failed. An empty function stands for no ground: every place
// keeps its written height.
using GroundBelow = std::function<bool(const std::vector<story_notebook::WorldPoint>& probes,
                                       std::vector<float>& heights, std::vector<bool>& found, std::string& error)>;

// Most keys of all tracks of one package together; beyond it the tracks are refused rather than
// exhaust memory (a walk round points a tenth of a unit apart needs a key every few milliseconds).
inline constexpr std::size_t kMaxTrackKeys = 5000000;

struct PackageWalk {
  struct Walker {
    std::string id;
    std::size_t actor = 0;  // index in "actors"
    Walk walk;
  };
  std::vector<Walker> walkers;          // document order
  std::vector<StandingActor> standing;  // document order, heights as written
};

// Plans every actor of `document` with a string "id": a walker when the game walks it (Walk::outline),
// else a standing actor when its "position" is a point. With a ground, every walk's entries are put on
// it in one query first. On false (only the ground's failure), `error` says why and `out` is not to be
// read. A document without an "actors" array plans nobody.
bool plan_package(const mods::json::Value& document, const GroundBelow& ground, PackageWalk& out, std::string& error);
// Without a ground: cannot fail.
PackageWalk plan_package(const mods::json::Value& document);

// Where every walker is `seconds` after the walks started, in walker order; with a ground, those between
// entries stand on the ground below them, found in one query. On false, `error` says why.
bool poses_at(const PackageWalk& walk, double seconds, const GroundBelow& ground, std::vector<WalkerPose>& poses,
              std::string& error);

// One walker's pose at `seconds`, standing on the ground as poses_at stands it. On false, `error` says why.
bool walker_pose(const Walk& walk, double seconds, const GroundBelow& ground, WalkerPose& pose, std::string& error);

// The link's "actors" list of `live_actors` for `poses` (one per walker): [{"id", "position", "point"}].
mods::json::Value live_actor_list(const PackageWalk& walk, const std::vector<WalkerPose>& poses);

// Every walker's track from 0 to `horizon` seconds (positive), in walker order. Keys lie at the walk's
// entries (on the ground, when planned with one), at every bend of the ground under a leg (with a
// ground: the ground along every leg asked in one query, a key where it leaves the straight line by
// more than kProfileTolerance), and, for a walker still on its way at `horizon`, at its place then (on
// the ground below it). On false (the ground failed, or more than kMaxTrackKeys keys), `error` says why.
bool tracks(const PackageWalk& walk, double horizon, const GroundBelow& ground, std::vector<WalkerTrack>& out,
            std::string& error);

// The document planned with `ground` and its tracks, in one call.
bool tracks(const mods::json::Value& document, const GroundBelow& ground, double horizon, std::vector<WalkerTrack>& out,
            std::string& error);

// The actors of `document` that the game does not walk but that stand at a "position" point.
std::vector<StandingActor> standing_actors(const mods::json::Value& document);

}  // namespace walking

#endif  // PATHWRIGHT_WALKING_PACKAGE_WALK_H_
