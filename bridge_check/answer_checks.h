// What bridge-check asks of each answer's shape, as docs/game-link.md describes it: the greeting, the
// flat arrays of a batch of ground heights, points, and the walking answers ("live_actors",
// "live_route"). Plain functions over parsed answers, without a connection, so that they can be fuzzed
// and tested alone. Stateless; any thread.
//
// Every reader answers true when the answer has the shape, else false with `error` saying what is
// wrong in the document's words; outputs are unspecified after false.
#ifndef PATHWRIGHT_BRIDGE_CHECK_ANSWER_CHECKS_H_
#define PATHWRIGHT_BRIDGE_CHECK_ANSWER_CHECKS_H_

#include <cstddef>
#include <string>
#include <vector>

#include "editor/points/world_point.h"
#include "json/value.h"

namespace host::bridge_check {

using story_notebook::WorldPoint;

struct Greeting {
  std::string world;
  bool has_bounds = false;
  WorldPoint low, high;  // when has_bounds
};

// "hello": protocol 1, a non-empty "world" text, and "bounds" when sent: {"low", "high"} points with
// low no larger than high in any coordinate.
bool read_greeting(const mods::json::Value& answer, Greeting& greeting, std::string& error);

// An object's "x", "y" and "z": finite numbers.
bool read_finite_point(const mods::json::Value& value, WorldPoint& point, std::string& error);

// "ground_heights": "heights" and "found" with `count` entries each, heights finite numbers, flags 0 or
// 1 (true or false accepted), and height 0 where not found.
bool read_heights(const mods::json::Value& answer, std::size_t count, std::vector<float>& heights,
                  std::vector<bool>& found, std::string& error);

// A route as sent in a "load" document (and what "live_route" answers about it).
struct SentRoute {
  std::string actor;
  std::vector<WorldPoint> points;  // at least one
};

// "live_actors" for a package whose walked actors must include `route.actor` and may hold only ids of
// `document_ids`: "time" a finite number, "actors" an array of {"id", "position", "point"} with "point"
// a whole number from 1 to the route's length. On true `position` is the walker's position and
// `time` the game's clock.
bool read_live_actors(const mods::json::Value& answer, const std::vector<std::string>& document_ids,
                      const SentRoute& route, WorldPoint& position, double& time, std::string& error);

// A "live_route" answer's "route" for `route`: its points with x and z as sent, "mode", a positive
// "speed", "position", "heading" in [0, 360), "target" from 1 to the route's length and "state". On
// true `points` and `position` hold what the game walks.
bool read_live_route(const mods::json::Value& route_value, const SentRoute& route, std::vector<WorldPoint>& points,
                     WorldPoint& position, std::string& error);

// The horizontal (x, z) distance from `position` to the nearest leg of the route through `points`,
// the last point joined back to the first (a loop, or the way back): where any walker of that route
// stands, whatever its mode.
double distance_from_route(const WorldPoint& position, const std::vector<WorldPoint>& points);

}  // namespace host::bridge_check

#endif  // PATHWRIGHT_BRIDGE_CHECK_ANSWER_CHECKS_H_
