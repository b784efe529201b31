// The sampling behind check_route, public so that other readers of the ground (a whole package's check)
// can ask the game for many routes' samples at once and judge each route exactly as check_route does.
// `route_samples` plans the probes of one actor's walk; `judge_route` turns the game's answer for those
// probes into check_route's answer. Both only read; any thread.
#ifndef PATHWRIGHT_EDITOR_CHECKS_ROUTE_SAMPLES_H_
#define PATHWRIGHT_EDITOR_CHECKS_ROUTE_SAMPLES_H_

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "editor/points/world_point.h"
#include "json/value.h"

namespace editor {

// Every sample of one actor's walk, segment after segment.
struct RouteSamples {
  struct Segment {
    std::size_t from = 0;  // point numbers as check_route answers them (0: the actor's own position)
    std::size_t to = 0;
    std::size_t samples = 0;  // samples of this segment, both ends included
  };
  std::vector<Segment> segments;
  std::vector<story_notebook::WorldPoint> line;    // each sample on its segment's straight line
  std::vector<story_notebook::WorldPoint> probes;  // where the game is asked, one per sample
  std::vector<std::size_t> skipped;                // point numbers that were not points
};

// Plans the samples of `actor`'s walk (its own position first for a resident or patroller, back to the
// start for a "loop"). On false, `error` says why (a route too long to sample) and `samples` is to be
// ignored.
bool route_samples(const mods::json::Value& actor, RouteSamples& samples, std::string& error);

// check_route's answer for `samples`, given the ground below every probe (`heights[k]` meaningful only
// where `found[k]`). Both lists must hold one entry per probe.
mods::json::Value judge_route(const RouteSamples& samples, const std::vector<float>& heights,
                              const std::vector<bool>& found);

}  // namespace editor

#endif  // PATHWRIGHT_EDITOR_CHECKS_ROUTE_SAMPLES_H_
