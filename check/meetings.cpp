#include "check/meetings.h"

#include <algorithm>
#include <cassert>
#include <cmath>
#include <cstdint>
#include <limits>

#include "editor/points/point_json.h"
#include "json_text/json_text.h"

// The search in two steps. A sweep over slices of game time gives each actor, for each slice, the box
// that its place (widened by kActorRadius) covers during that slice, sorted into the cells of a square
// grid; only pairs whose boxes overlap in some slice can meet then, and each is listed once, in the cell
// holding the overlap's corner. Each such pair is then judged exactly over the slices it shares: on every stretch where
// both move in a straight line, their distance is a quadratic and their height difference a line in time, so the
// moments where they meet form one interval found in closed form.

namespace host::check {
namespace {

using mods::json::Value;
using walking::TrackKey;

constexpr double kTenths = 10.0;  // a finding's seconds are rounded to tenths [1 / seconds]

// Game time covered by one slice of the sweep. [seconds]
constexpr double kSliceSeconds = 8.0;
// Side of a grid cell of the sweep. [world units]
constexpr double kCellSize = 256.0;
// Two meeting intervals closer than this are one meeting (the seam between two legs). [seconds]
constexpr double kSeamSeconds = 1e-9;
// Below this a speed (squared, or along y) counts as standing still. [world units per second]
constexpr double kStill = 1e-12;

constexpr double kReach = 2 * kActorRadius;  // horizontal distance below which two actors touch [world units]

struct Body {
  const std::vector<TrackKey>* keys;  // from 0 s on, in time order
  const std::string* id;
  std::size_t actor;
  bool walks;
};

struct Place {
  double x, y, z;
};

// A body on one straight stretch of its track: its place at `from` and its velocity until `until`.
struct Leg {
  std::size_t key;  // the key the stretch starts from
  double from, until;
  Place at;
  double vx, vy, vz;  // world units per second
};

// The stretch of `keys` holding `t` (at or after 0 s), searched for from key `hint` on (at or before
// `t`); endless after the last key.
Leg leg_at(const std::vector<TrackKey>& keys, double t, std::size_t hint) {
  std::size_t k = hint;
  while (k + 1 < keys.size() && keys[k + 1].seconds <= t) ++k;
  const TrackKey& a = keys[k];
  if (k + 1 == keys.size()) return {k, a.seconds, std::numeric_limits<double>::infinity(), {a.x, a.y, a.z}, 0, 0, 0};
  const TrackKey& b = keys[k + 1];
  const double span = b.seconds - a.seconds;
  return {k, a.seconds, b.seconds, {a.x, a.y, a.z}, (b.x - a.x) / span, (b.y - a.y) / span, (b.z - a.z) / span};
}

// The first key of `keys` at or before `t`, by bisection.
std::size_t key_before(const std::vector<TrackKey>& keys, double t) {
  const auto after = std::upper_bound(keys.begin(), keys.end(), t,
                                      [](double time, const TrackKey& key) { return time < key.seconds; });
  return after == keys.begin() ? 0 : static_cast<std::size_t>(after - keys.begin()) - 1;
}

Place place_on(const Leg& leg, double t) {
  const double dt = t - leg.from;
  return {leg.at.x + leg.vx * dt, leg.at.y + leg.vy * dt, leg.at.z + leg.vz * dt};
}

struct Interval {
  double begin, end;
};

// Within [0, length] seconds of a stretch on which the second body is `d` away from the first and moves
// `v` per second relative to it: the moments where they meet, or begin >= end when they do not.
Interval meeting_within(const double d[3], const double v[3], double length) {
  Interval in{0, length};
  const double a = v[0] * v[0] + v[2] * v[2];
  const double b = 2 * (d[0] * v[0] + d[2] * v[2]);
  const double c = d[0] * d[0] + d[2] * d[2] - kReach * kReach;
  if (a < kStill) {
    if (c >= 0) return {0, 0};
  } else {
    const double disc = b * b - 4 * a * c;
    if (disc <= 0) return {0, 0};
    const double q = -0.5 * (b + std::copysign(std::sqrt(disc), b));  // the root formula without cancellation
    const double r1 = q / a, r2 = c / q;
    in.begin = std::max(in.begin, std::min(r1, r2));
    in.end = std::min(in.end, std::max(r1, r2));
  }
  if (std::abs(v[1]) < kStill) {
    if (std::abs(d[1]) >= kMeetingHeight) return {0, 0};
  } else {
    const double h1 = (-kMeetingHeight - d[1]) / v[1], h2 = (kMeetingHeight - d[1]) / v[1];
    in.begin = std::max(in.begin, std::min(h1, h2));
    in.end = std::min(in.end, std::max(h1, h2));
  }
  return in;
}

// Appends to `meetings` the intervals within [from, to) where bodies `p` and `q` meet, joining one that
// continues the last.
void judge(const Body& p, const Body& q, double from, double to, std::vector<Interval>& meetings) {
  Leg a = leg_at(*p.keys, from, key_before(*p.keys, from));
  Leg b = leg_at(*q.keys, from, key_before(*q.keys, from));
  for (double t = from; t < to;) {
    const double end = std::min({to, a.until, b.until});
    const Place pa = place_on(a, t), pb = place_on(b, t);
    const double d[3] = {pb.x - pa.x, pb.y - pa.y, pb.z - pa.z};
    const double v[3] = {b.vx - a.vx, b.vy - a.vy, b.vz - a.vz};
    const Interval in = meeting_within(d, v, end - t);
    if (in.begin < in.end) {
      if (!meetings.empty() && t + in.begin <= meetings.back().end + kSeamSeconds) {
        meetings.back().end = t + in.end;
      } else {
        meetings.push_back({t + in.begin, t + in.end});
      }
    }
    t = end;
    if (a.until <= t) a = leg_at(*p.keys, t, a.key);
    if (b.until <= t) b = leg_at(*q.keys, t, b.key);
  }
}

// Where a body may be during a slice, widened by kActorRadius. [world units]
struct Box {
  double x0, x1, z0, z1;
};

// The box of the body on `keys` over [from, to]; `key` is its key at `from` and becomes its key at `to`.
Box box_of(const std::vector<TrackKey>& keys, double from, double to, std::size_t& key) {
  const Leg start = leg_at(keys, from, key);
  const Place a = place_on(start, from);
  Box box{a.x, a.x, a.z, a.z};
  const auto take = [&box](double x, double z) {
    box.x0 = std::min(box.x0, x);
    box.x1 = std::max(box.x1, x);
    box.z0 = std::min(box.z0, z);
    box.z1 = std::max(box.z1, z);
  };
  std::size_t k = start.key;
  for (; k + 1 < keys.size() && keys[k + 1].seconds <= to; ++k) take(keys[k + 1].x, keys[k + 1].z);
  const Leg end = leg_at(keys, to, k);
  const Place b = place_on(end, to);
  take(b.x, b.z);
  key = end.key;
  return {box.x0 - kActorRadius, box.x1 + kActorRadius, box.z0 - kActorRadius, box.z1 + kActorRadius};
}

std::int64_t cell_of(double coordinate) { return static_cast<std::int64_t>(std::floor(coordinate / kCellSize)); }

std::uint64_t cell_key(std::int64_t cx, std::int64_t cz) {
  return (static_cast<std::uint64_t>(static_cast<std::uint32_t>(cx)) << 32) | static_cast<std::uint32_t>(cz);
}

// One body in one cell during one slice.
struct Occupant {
  std::uint64_t cell;
  std::uint32_t body;
  bool operator<(const Occupant& o) const { return cell != o.cell ? cell < o.cell : body < o.body; }
};

// A pair of bodies (lower index first) whose boxes overlap during a slice.
struct Candidate {
  std::uint64_t pair;
  std::uint32_t slice;
  bool operator<(const Candidate& o) const { return pair != o.pair ? pair < o.pair : slice < o.slice; }
};

// Appends the pairs of bodies whose boxes overlap, each once: in the cell holding the overlap's corner.
void overlapping(const std::vector<Body>& bodies, const std::vector<Box>& boxes, std::vector<Occupant>& cells,
                 std::uint32_t slice, std::vector<Candidate>& candidates) {
  cells.clear();
  for (std::uint32_t body = 0; body < bodies.size(); ++body) {
    const Box& box = boxes[body];
    for (std::int64_t cx = cell_of(box.x0); cx <= cell_of(box.x1); ++cx) {
      for (std::int64_t cz = cell_of(box.z0); cz <= cell_of(box.z1); ++cz) cells.push_back({cell_key(cx, cz), body});
    }
  }
  std::sort(cells.begin(), cells.end());
  for (std::size_t first = 0; first < cells.size();) {
    std::size_t last = first + 1;
    while (last < cells.size() && cells[last].cell == cells[first].cell) ++last;
    for (std::size_t i = first; i < last; ++i) {
      for (std::size_t j = i + 1; j < last; ++j) {
        const std::uint32_t p = cells[i].body, q = cells[j].body;
        if (!bodies[p].walks && !bodies[q].walks) continue;
        const Box &a = boxes[p], &b = boxes[q];
        const double x0 = std::max(a.x0, b.x0), z0 = std::max(a.z0, b.z0);
        if (x0 > std::min(a.x1, b.x1) || z0 > std::min(a.z1, b.z1)) continue;
        if (cell_key(cell_of(x0), cell_of(z0)) != cells[first].cell) continue;
        candidates.push_back({(static_cast<std::uint64_t>(p) << 32) | q, slice});
      }
    }
    first = last;
  }
}

// Every pair of bodies whose boxes overlap in some slice, with those slices, by pair and slice.
std::vector<Candidate> sweep(const std::vector<Body>& bodies, double horizon) {
  const auto slices = static_cast<std::uint32_t>(std::ceil(horizon / kSliceSeconds));
  std::vector<std::size_t> keys(bodies.size(), 0);  // each body's key at the slice's start
  std::vector<Box> boxes(bodies.size());
  std::vector<Occupant> cells;
  std::vector<Candidate> candidates;
  for (std::uint32_t slice = 0; slice < slices; ++slice) {
    const double from = slice * kSliceSeconds, to = std::min(horizon, from + kSliceSeconds);
    for (std::size_t body = 0; body < bodies.size(); ++body) {
      boxes[body] = box_of(*bodies[body].keys, from, to, keys[body]);
    }
    overlapping(bodies, boxes, cells, slice, candidates);
  }
  std::sort(candidates.begin(), candidates.end());
  return candidates;
}

Meeting meeting_of(const Body& p, const Body& q, const std::vector<Interval>& meetings) {
  // The earlier actor names the meeting, except that a walk-through is always the walker's.
  const bool swap = !p.walks || (q.walks && q.actor < p.actor);
  const Body& named = swap ? q : p;
  const Body& other = swap ? p : q;
  const double t = meetings.front().begin;
  const Leg leg = leg_at(*named.keys, t, key_before(*named.keys, t));
  const Place a = place_on(leg, t), b = place_on(leg_at(*other.keys, t, key_before(*other.keys, t)), t);
  Meeting meeting;
  meeting.walks_through = !other.walks;
  meeting.id = *named.id;
  meeting.actor = named.actor;
  meeting.point = (*named.keys)[leg.key].point;
  meeting.other = *other.id;
  meeting.other_actor = other.actor;
  meeting.seconds = t;
  meeting.x = (a.x + b.x) / 2;
  meeting.y = (a.y + b.y) / 2;
  meeting.z = (a.z + b.z) / 2;
  meeting.times = meetings.size();
  return meeting;
}

}  // namespace

std::vector<Meeting> find_meetings(const std::vector<walking::WalkerTrack>& walkers,
                                   const std::vector<walking::StandingActor>& standing, double horizon) {
  assert(horizon > 0 && "find_meetings needs a positive horizon");
  std::vector<std::vector<TrackKey>> stands;  // a standing actor as a track of one key
  stands.reserve(standing.size());
  for (const walking::StandingActor& actor : standing) stands.push_back({TrackKey{0, actor.x, actor.y, actor.z}});
  std::vector<Body> bodies;
  for (const walking::WalkerTrack& walker : walkers) {
    assert((walker.keys.empty() || walker.keys.front().seconds == 0) && "a track starts at 0 s");
    if (!walker.keys.empty()) bodies.push_back({&walker.keys, &walker.id, walker.actor, true});
  }
  for (std::size_t k = 0; k < standing.size(); ++k) {
    bodies.push_back({&stands[k], &standing[k].id, standing[k].actor, false});
  }

  const std::vector<Candidate> candidates = sweep(bodies, horizon);
  std::vector<Meeting> found;
  std::vector<Interval> meetings;
  for (std::size_t first = 0; first < candidates.size();) {
    const Body& p = bodies[candidates[first].pair >> 32];
    const Body& q = bodies[candidates[first].pair & 0xffffffffu];
    meetings.clear();
    std::size_t k = first;
    while (k < candidates.size() && candidates[k].pair == candidates[first].pair) {
      std::size_t run = k + 1;  // slices in a row are judged as one stretch
      while (run < candidates.size() && candidates[run].pair == candidates[k].pair &&
             candidates[run].slice == candidates[run - 1].slice + 1) {
        ++run;
      }
      const double from = candidates[k].slice * kSliceSeconds;
      const double to = std::min(horizon, (candidates[run - 1].slice + 1) * kSliceSeconds);
      judge(p, q, from, to, meetings);
      k = run;
    }
    if (!meetings.empty()) found.push_back(meeting_of(p, q, meetings));
    first = k;
  }
  std::sort(found.begin(), found.end(), [](const Meeting& a, const Meeting& b) {
    return a.actor != b.actor ? a.actor < b.actor : a.other_actor < b.other_actor;
  });
  return found;
}

Value meeting_finding(const Meeting& meeting) {
  const auto text_of = [](const Value& value) {
    std::string text, error;
    return json_text::print_json(value, json_text::JsonLayout::Compact, text, error) ? text : "?";
  };
  const Value at =
      editor::rounded({static_cast<float>(meeting.x), static_cast<float>(meeting.y), static_cast<float>(meeting.z)});
  const Value seconds = Value::of(std::round(meeting.seconds * kTenths) / kTenths);
  Value finding = Value::object();
  finding["level"] = Value::of("warning");
  finding["id"] = Value::of(meeting.id);
  finding["point"] = Value::of(static_cast<double>(meeting.point));
  finding["other"] = Value::of(meeting.other);
  finding["seconds"] = seconds;
  finding["at"] = at;
  finding["times"] = Value::of(static_cast<double>(meeting.times));
  finding["text"] =
      Value::of(std::string(meeting.walks_through ? "walks through " : "meets ") + text_of(Value::of(meeting.other)) +
                " at (" + text_of(at.get("x")) + ", " + text_of(at.get("y")) + ", " + text_of(at.get("z")) +
                ") after " + text_of(seconds) + " s");
  return finding;
}

}  // namespace host::check
