// The walk that check_route and route_profile sample: a placed actor's route (from its own position for
// residents and patrollers, closed for a loop), cut into samples every 25 units or less along each
// segment, and the ground below every sample from one query to the game. Reads only; runs on the
// caller's thread and waits for the game.
#ifndef PATHWRIGHT_EDITOR_CHECKS_ROUTE_WALK_H_
#define PATHWRIGHT_EDITOR_CHECKS_ROUTE_WALK_H_

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "editor/checks/route_samples.h"
#include "editor/points/world_point.h"
#include "editor/session.h"
#include "json/value.h"

namespace editor {

struct WalkSegment {
  std::size_t from = 0;   // route point number the segment starts at (0: the actor's position)
  std::size_t to = 0;     // route point number it ends at
  std::size_t first = 0;  // index of its first sample; it has `intervals` + 1 samples
  std::uint64_t intervals = 0;
};

struct RouteWalk {
  RouteSamples plan;  // the samples as planned, which check_route judges
  std::vector<WalkSegment> segments;
  std::vector<story_notebook::WorldPoint> samples;         // on each segment's straight line, with its height
  std::vector<std::size_t> sample_segment;                 // index into `segments` of every sample
  mods::json::Value skipped = mods::json::Value::array();  // numbers of unreadable points, passed over
  std::vector<float> heights;                              // the ground below each sample, where `found`
  std::vector<bool> found;
};

// Samples the walk of the actor `params` names ("package", "id") and asks the game for the ground below
// every sample. On false, `error` says why (unknown package or actor, no game, a route too long to
// check, the game's failure) and `walk` is not to be read.
bool sample_walk(Session& session, const mods::json::Value& params, RouteWalk& walk, std::string& error);

}  // namespace editor

#endif  // PATHWRIGHT_EDITOR_CHECKS_ROUTE_WALK_H_
