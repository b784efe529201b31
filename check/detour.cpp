#include "check/detour.h"

#include <cmath>
#include <string>
#include <utility>
#include <vector>

#include "check/detour_search.h"
#include "editor/checks/route_samples.h"
#include "editor/live_game.h"
#include "protocol/point_codec.h"
#include "residents/walkers.h"
#include "session/grouped_change.h"
#include "session/number_param.h"

namespace host::check {

using session::grouped_change;
using session::GroupedCommand;
using session::kLargestExactCount;
using session::read_number_param;

namespace {

using mods::json::Value;
using story_notebook::WorldPoint;

constexpr int kRefineRounds = 32;  // most rounds of putting back a point where a segment failed

// The last actor with the id, as check_route reads it; null when there is none.
const Value* checked_actor(const Value& document, const std::string& id) {
  const Value* found = nullptr;
  for (const Value& actor : document.get("actors").items) {
    if (actor.get("id").string("") == id) found = &actor;
  }
  return found;
}

// Point number `number` of the walk: 0 the actor's own position, k its route's point k.
bool walk_point(const Value& actor, std::size_t number, WorldPoint& point) {
  if (number == 0) return protocol::read_point_in_float_range(actor.get("position"), point);
  return protocol::read_point_in_float_range(actor.get("path").get("points").items[number - 1], point);
}

double one_decimal(double v) { return std::round(v * 10.0) / 10.0; }

Value point_json(const WorldPoint& point) {
  Value value = Value::object();
  value["x"] = Value::of(one_decimal(point.x));
  value["y"] = Value::of(one_decimal(point.y));
  value["z"] = Value::of(one_decimal(point.z));
  return value;
}

WorldPoint stored(const WorldPoint& point) {
  return {static_cast<float>(one_decimal(point.x)), static_cast<float>(one_decimal(point.y)),
          static_cast<float>(one_decimal(point.z))};
}

// Indexes into `way` of the fewest points, ends included, whose segments pass on the grid.
std::vector<std::size_t> simplified(const GroundGrid& grid, const std::vector<WorldPoint>& way) {
  std::vector<std::size_t> kept{0};
  while (kept.back() + 1 < way.size()) {
    std::size_t next = kept.back() + 1;
    for (std::size_t j = way.size() - 1; j > next; --j) {
      if (grid.passes(way[kept.back()], way[j])) {
        next = j;
        break;
      }
    }
    kept.push_back(next);
  }
  return kept;
}

struct Segment {
  std::size_t from = 0, to = 0;
  WorldPoint a, b;
};

// Finds the segment of the walk that starts at point `from`. On false `error` says why.
bool find_segment(const Value& actor, std::size_t from, const std::string& id, Segment& segment, std::string& error) {
  editor::RouteSamples samples;
  if (!editor::route_samples(actor, samples, error)) return false;
  for (const editor::RouteSamples::Segment& s : samples.segments) {
    if (s.from != from) continue;
    segment.from = s.from;
    segment.to = s.to;
    for (const auto& [number, end] : {std::pair{s.from, &segment.a}, std::pair{s.to, &segment.b}}) {
      if (walk_point(actor, number, *end)) continue;
      error = (number == 0 ? id + "'s position" : "point " + std::to_string(number) + " of " + id) +
              " is not a point with finite \"x\", \"y\" and \"z\" within a float's range";
      return false;
    }
    return true;
  }
  error = "no segment of " + id + "'s walk starts at point " + std::to_string(from);
  return false;
}

// Whether the actor has a walk to search around. On false `error` says why, in the route service's words.
bool walks(const Value& actor, const std::string& id, std::string& error) {
  const std::string refusal = editor::route_refusal(actor);
  if (!refusal.empty()) {
    error = id + " may not walk: " + refusal;
    return false;
  }
  if (!actor.get("path").is_object()) {
    error = id + " has no route yet: add_route_point adds its first point";
    return false;
  }
  return true;
}

// The check's answer for the walk a, points..., b, asked of the game in one call. On false `error`.
bool judge(editor::LiveGame& game, const std::vector<WorldPoint>& points, Value& answer, std::size_t& probes,
           std::string& error) {
  Value actor = Value::object();
  actor["kind"] = Value::of("mod");
  Value& list = actor["path"]["points"];
  list = Value::array();
  for (const WorldPoint& point : points) list.items.push_back(point_json(point));
  editor::RouteSamples samples;
  if (!editor::route_samples(actor, samples, error)) return false;
  std::vector<float> heights;
  std::vector<bool> found;
  if (!game.ground_heights(samples.probes, heights, found, error)) return false;
  if (heights.size() != samples.probes.size() || found.size() != samples.probes.size()) {
    error = "the game answered the wrong number of heights";
    return false;
  }
  probes += samples.probes.size();
  answer = editor::judge_route(samples, heights, found);
  return true;
}

std::string no_way(const Segment& segment) {
  return "no walkable way from point " + std::to_string(segment.from) + " to point " + std::to_string(segment.to) +
         " within " + std::to_string(static_cast<long>(kDetourMargin)) + " units";
}

// The grid's shortest way around the segment, from its very start to its very end, the inner points as they
// would be stored; empty when there is none.
std::vector<WorldPoint> way_on_grid(const GroundGrid& grid, const Segment& segment) {
  std::vector<WorldPoint> way = grid.shortest_way();
  if (way.empty()) return way;
  way.front() = segment.a;
  way.back() = segment.b;
  for (std::size_t k = 1; k + 1 < way.size(); ++k) way[k] = stored(way[k]);
  return way;
}

// Judges the `kept` points of the way with the game's own ground; where a segment fails, puts back the
// middle point of the way it stands for, and again, for at most kRefineRounds rounds. On true every
// segment of `check` passes. On false `error` says why: the game did not answer, or there is no passing
// way (a failing segment has no point left to put back, or the rounds ran out).
bool refine(editor::LiveGame& game, const Segment& segment, const std::vector<WorldPoint>& way,
            std::vector<std::size_t>& kept, Value& check, std::size_t& probes, std::string& error) {
  for (int round = 0;; ++round) {
    std::vector<WorldPoint> points;
    for (std::size_t k : kept) points.push_back(way[k]);
    if (!judge(game, points, check, probes, error)) return false;
    std::vector<std::size_t> refined{kept.front()};
    bool failed = false, stuck = false;
    for (std::size_t s = 0; s + 1 < kept.size(); ++s) {
      const bool passed = check.get("segments").items[s].get("ok").boolean;
      if (!passed && kept[s + 1] - kept[s] >= 2) refined.push_back((kept[s] + kept[s + 1]) / 2);
      stuck = stuck || (!passed && kept[s + 1] - kept[s] < 2);
      failed = failed || !passed;
      refined.push_back(kept[s + 1]);
    }
    if (!failed) return true;
    if (stuck || round + 1 == kRefineRounds) {
      error = no_way(segment);
      return false;
    }
    kept = refined;
  }
}

// The answer: the inner points of the way, lengths, probes, and the check numbered as after insertion.
Value answer_of(const Segment& segment, const std::vector<WorldPoint>& way, const std::vector<std::size_t>& kept,
                Value& check, std::size_t probes) {
  Value answer = Value::object();
  answer["from"] = Value::of(static_cast<double>(segment.from));
  answer["to"] = Value::of(static_cast<double>(segment.to));
  Value& points = answer["points"];
  points = Value::array();
  double length = 0;
  for (std::size_t k = 0; k + 1 < kept.size(); ++k) {
    const WorldPoint& p = way[kept[k]];
    const WorldPoint& q = way[kept[k + 1]];
    length += std::hypot(static_cast<double>(q.x) - p.x, static_cast<double>(q.z) - p.z);
    if (k > 0) points.items.push_back(point_json(p));
  }
  const std::size_t inserted = points.items.size();
  const double straight =
      std::hypot(static_cast<double>(segment.b.x) - segment.a.x, static_cast<double>(segment.b.z) - segment.a.z);
  answer["straight"] = Value::of(one_decimal(straight));
  answer["length"] = Value::of(one_decimal(length));
  answer["ratio"] = Value::of(straight > 0 ? std::round(length / straight * 1000.0) / 1000.0 : 1.0);
  answer["probes"] = Value::of(static_cast<double>(probes));
  // Renumber as the walk will be: the new points follow `from`; the old end moves on unless it is the
  // start the loop closes on.
  std::vector<Value>& segments = check["segments"].items;
  for (std::size_t k = 0; k < segments.size(); ++k) {
    segments[k]["from"] = Value::of(static_cast<double>(segment.from + k));
    const bool last = k + 1 == segments.size();
    const std::size_t to = !last                       ? segment.from + k + 1
                           : segment.to > segment.from ? segment.to + inserted
                                                       : segment.to;
    segments[k]["to"] = Value::of(static_cast<double>(to));
  }
  answer["check"] = std::move(check);
  return answer;
}

}  // namespace

bool suggest_detour(editor::Session& session, const Value& params, Value& answer, std::string& error) {
  editor::Session::Package* package = session.package(params, error);
  if (package == nullptr) return false;
  const std::string id = params.get("id").string("");
  const Value* actor = checked_actor(package->document, id);
  if (actor == nullptr) {
    error = "no placed actor \"" + id + "\"";
    return false;
  }
  double from = 0;
  if (!walks(*actor, id, error) ||
      !read_number_param(params, {"suggest_detour", "from", 0, kLargestExactCount, true, true}, from, error)) {
    return false;
  }
  if (session.live_game == nullptr) {
    error = "the game is not running";
    return false;
  }
  Segment segment;
  if (!find_segment(*actor, static_cast<std::size_t>(from), id, segment, error)) return false;

  // A segment that passes as it is needs no way around (the search sees from higher up than the check
  // and would walk around what the check does not mind).
  std::size_t probes = 0;
  Value check;
  const std::vector<WorldPoint> straight{segment.a, segment.b};
  if (!judge(*session.live_game, straight, check, probes, error)) return false;
  if (check.get("segments").items.at(0).get("ok").boolean) {
    answer = answer_of(segment, straight, {0, 1}, check, probes);
    return true;
  }

  GroundGrid grid;
  if (!grid.sample(*session.live_game, segment.a, segment.b, error)) return false;
  const std::vector<WorldPoint> way = way_on_grid(grid, segment);
  if (way.empty()) {
    error = no_way(segment);
    return false;
  }
  std::vector<std::size_t> kept = simplified(grid, way);
  probes += grid.probes();
  if (!refine(*session.live_game, segment, way, kept, check, probes, error)) return false;
  answer = answer_of(segment, way, kept, check, probes);
  return true;
}

namespace {

std::string number_text(const Value& number) { return std::to_string(static_cast<long long>(number.number)); }

}  // namespace

bool apply_detour(editor::Session& session, const Value& params, Value& answer, std::string& error) {
  Value suggestion;
  if (!suggest_detour(session, params, suggestion, error)) return false;
  // The way was found for the last actor with the id, but edits reach the first: only one may have it.
  const std::string id = params.get("id").string("");
  editor::Session::Package* package = session.package(params, error);
  if (package == nullptr) return false;
  std::size_t sharing = 0;
  for (const Value& actor : package->document.get("actors").items) sharing += actor.get("id").string("") == id;
  if (sharing > 1) {
    error = std::to_string(sharing) + " actors share the id \"" + id + "\": give each its own before applying a detour";
    return false;
  }
  const std::size_t from = static_cast<std::size_t>(suggestion.get("from").number);
  const std::vector<Value>& points = suggestion.get("points").items;
  if (points.empty()) {
    // Nothing to insert: no change, and the answer says why.
    suggestion["note"] = Value::of("the segment from point " + std::to_string(from) + " to point " +
                                   number_text(suggestion.get("to")) + " already passes: nothing was changed");
    answer = std::move(suggestion);
    return true;
  }
  std::vector<GroupedCommand> commands;
  for (std::size_t k = 0; k < points.size(); ++k) {
    Value command = Value::object();
    if (params.has("package")) command["package"] = params.get("package");
    command["id"] = params.get("id");
    command["after"] = Value::of(static_cast<double>(from + k));
    command["position"] = points[k];
    command["snap"] = Value::of(false);
    commands.push_back({"add_route_point", std::move(command)});
  }
  const std::string label = "Walk around the problem after point " + std::to_string(from) + " of " + id;
  std::vector<Value> results;
  if (!grouped_change(session, params, label, commands, results, error)) return false;
  answer = std::move(suggestion);
  return true;
}

}  // namespace host::check
