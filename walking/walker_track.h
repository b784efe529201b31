// A walker's motion over game time, as keys: between two keys it moves in a straight line at a steady
// pace (or stays, when both keys hold the same place); after the last key it stays where that key puts
// it. The walking rules write tracks; the timeline answer, the meeting search and the map read them.
// Plain values: a finished track may be read from several threads.
#ifndef PATHWRIGHT_WALKING_WALKER_TRACK_H_
#define PATHWRIGHT_WALKING_WALKER_TRACK_H_

#include <cstddef>
#include <string>
#include <vector>

namespace walking {

// What a walker does from one key to the next.
enum class Motion { Walking, Pausing, Arrived };

struct TrackKey {
  double seconds = 0;          // game time since the walk started
  double x = 0, y = 0, z = 0;  // world units
  // The game's live "point" from this key on: the number (from 1) of the point walked to, while pausing
  // the one it walks to next, once arrived the one it stands at; 0: the actor's own position.
  int point = 0;
  Motion motion = Motion::Walking;
};

struct WalkerTrack {
  std::string id;              // the actor's "id"
  std::size_t actor = 0;       // its index in the package's "actors" array
  std::vector<TrackKey> keys;  // by time, the first at 0 s
};

// An actor the game does not walk but that stands at its "position" (a seated villager, a sign, a chest).
struct StandingActor {
  std::string id;
  std::size_t actor = 0;
  double x = 0, y = 0, z = 0;
};

}  // namespace walking

#endif  // PATHWRIGHT_WALKING_WALKER_TRACK_H_
