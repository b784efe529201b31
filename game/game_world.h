// The whole simulated game: a collision world (its ground), Link and the camera that follows him, the
// packages handed to it and their walkers, and the game clock (real or manual). Owns all of it. Every
// member function may be called from several threads at once: the state behind them is guarded by one
// lock, and ground queries only read the ray structure built at creation.
#ifndef PATHWRIGHT_GAME_GAME_WORLD_H_
#define PATHWRIGHT_GAME_GAME_WORLD_H_

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "editor/points/world_point.h"
#include "game/ground.h"
#include "game/world_mesh.h"
#include "json/value.h"
#include "walking/package_walk.h"

namespace game {

// Where the camera stands relative to Link's feet (world units): behind him toward -z, and above.
inline constexpr float kCameraBehind = 300;
inline constexpr float kCameraAbove = 200;

enum class Clock {
  Real,    // seconds of the steady clock since the world was made
  Manual,  // stands still until `advance`
};

class GameWorld {
 public:
  // A world over `mesh` named `name`, Link at `spawn`. `has_sea` words the no-ground note ("open sea
  // below" rather than "nothing below"). On null, `error` says why the world could not be built.
  static std::unique_ptr<GameWorld> create(const WorldMesh& mesh, std::string name, bool has_sea,
                                           story_notebook::WorldPoint spawn, Clock clock, std::string& error);
  // The built-in island (docs/simulated-game.md).
  static std::unique_ptr<GameWorld> island(Clock clock, std::string& error);
  // The world of an OBJ file, named after the file; Link spawns above the middle of its bounding box.
  static std::unique_ptr<GameWorld> from_obj(const std::string& path, Clock clock, std::string& error);

  const std::string& name() const { return name_; }
  Clock clock() const { return clock_; }
  const Ground& ground() const { return *ground_; }
  // The smallest box holding the whole world (its mesh's vertices).
  const story_notebook::WorldPoint& low() const { return low_; }
  const story_notebook::WorldPoint& high() const { return high_; }

  // The first surface straight below `probe`. On false, `note` says why there is none ("open sea below
  // (x, z)", "nothing below (x, z)", or "the probe is not a finite point") and `height` is untouched.
  bool ground_height(const story_notebook::WorldPoint& probe, float& height, std::string& note) const;
  // Ground below `count` probes given as x, y, z triples; one height and found flag per probe
  // (height 0 where nothing is below).
  void ground_heights(const float* xyz, std::size_t count, float* heights, std::uint8_t* found) const;

  // The ground as the walking rules ask it: batches of probes, answered from the ray structure. Valid
  // while the world lives.
  walking::GroundBelow ground_below() const;

  story_notebook::WorldPoint link() const;
  story_notebook::WorldPoint camera() const;
  void teleport(const story_notebook::WorldPoint& point);

  // Takes `document` as package `package`'s (replacing an earlier one of that name) and walks its actors
  // from now on. On true, `walking` is how many actors it walks. On false (`package` empty, `document`
  // not an object, or "actors" present but not an array), `error` says why and nothing changed.
  bool load(const std::string& package, const mods::json::Value& document, int& walking, std::string& error);

  // What the game walks now for the first actor of `package` whose "id" is `actor`; null when nothing.
  mods::json::Value live_route(const std::string& package, const std::string& actor) const;

  // Where every actor of `package` that walks a route is now, in document order:
  // {"time": T, "actors": [{"id", "position": {x, y, z}, "point": n}]}, `point` numbering (from 1) the
  // point it walks to next (or stays at). Null when no package of that name is loaded.
  mods::json::Value live_actors(const std::string& package) const;

  // Seconds since the world was made (manual clock: as advanced).
  double time() const;
  // Moves the manual clock on by `seconds`. On true, `time` is the new time. On false (the real clock,
  // or `seconds` negative or not finite), `error` says why and the clock is unchanged.
  bool advance(double seconds, double& time, std::string& error);

 private:
  struct Actor {
    std::string id;
    int walker = -1;  // index into the package's walkers; -1: not walked
  };
  struct Package {
    double loaded_at = 0;
    std::vector<Actor> actors;  // every actor with a string "id", in document order
    walking::PackageWalk walk;
  };

  GameWorld(std::unique_ptr<Ground> ground, std::string name, bool has_sea, story_notebook::WorldPoint spawn,
            Clock clock);
  double time_locked() const;

  const std::unique_ptr<Ground> ground_;
  const std::string name_;
  const bool has_sea_;
  const Clock clock_;
  const std::chrono::steady_clock::time_point started_;
  story_notebook::WorldPoint low_, high_;  // set once by create

  mutable std::mutex mutex_;  // guards everything below
  story_notebook::WorldPoint link_;
  double manual_seconds_ = 0;
  std::map<std::string, Package> packages_;
};

}  // namespace game

#endif  // PATHWRIGHT_GAME_GAME_WORLD_H_
