// Meetings: where two walkers of a package come within reach of each other, or a walker walks through
// an actor that stands still, within a horizon of game time. A pure function of the walkers' tracks
// (walking/walker_track.h) and the standing actors; meeting_finding writes each as check_package lists it.
// Reads its arguments only; any thread.
#ifndef PATHWRIGHT_CHECK_MEETINGS_H_
#define PATHWRIGHT_CHECK_MEETINGS_H_

#include <cstddef>
#include <string>
#include <vector>

#include "json/value.h"
#include "walking/walker_track.h"

namespace host::check {

// Every actor stands on a circle of this radius around its place. [world units]
constexpr double kActorRadius = 25.0;
// Two actors whose heights differ by this much or more do not meet (one on a bridge, one below). [world units]
constexpr double kMeetingHeight = 100.0;

struct Meeting {
  bool walks_through = false;  // a walker and a standing actor; otherwise two walkers
  std::string id;              // the actor earlier in the package's "actors" (the walker, for walks_through)
  std::size_t actor = 0;       // its index in "actors"
  int point = 0;               // the point it walks to or stands at when they meet (its track key's point)
  std::string other;           // the other actor's id
  std::size_t other_actor = 0;
  double seconds = 0;          // the first moment they meet, from the motion, not rounded
  double x = 0, y = 0, z = 0;  // the midpoint of the two then, not rounded
  std::size_t times = 0;       // separate meetings within the horizon, the first included
};

// Every pair of actors (at least one a walker) that meets within [0, horizon) seconds, by `actor` and then
// `other_actor`. Two actors meet while their horizontal distance is below 2 * kActorRadius and their
// heights differ by less than kMeetingHeight; a meeting ends when that no longer holds. Tracks without
// keys stand nowhere and meet no one. `horizon` must be positive and every track's keys in time order.
std::vector<Meeting> find_meetings(const std::vector<walking::WalkerTrack>& walkers,
                                   const std::vector<walking::StandingActor>& standing, double horizon);

// The finding of `meeting`: {"level": "warning", "id", "point", "other", "seconds" (to 0.1), "at" (the
// midpoint, to one decimal as stored points), "times", "text"}, the text
// `meets "OTHER" at (X, Y, Z) after T s` or `walks through "OTHER" at (X, Y, Z) after T s`.
mods::json::Value meeting_finding(const Meeting& meeting);

}  // namespace host::check

#endif  // PATHWRIGHT_CHECK_MEETINGS_H_
