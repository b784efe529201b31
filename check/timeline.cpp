#include "check/timeline.h"

#include <cmath>

#include "editor/live_game.h"
#include "walking/package_walk.h"

// Answer of "package_timeline":
//   {"seconds": T,
//    "walkers": [{"id": ID, "keys": [[t, x, y, z, point, "walking" | "pausing" | "arrived"], ...]}, ...],
//    "standing": [{"id": ID, "position": {"x", "y", "z"}}, ...]}
// Walkers and standing actors in document order; keys by time, the first at 0 and the last at T (or at
// arrival); places to one decimal, times to a millisecond.

namespace host::check {
namespace {

using mods::json::Value;

constexpr double kDefaultHorizonSeconds = 600;  // "package_timeline" without "seconds"
constexpr double kLongestHorizonSeconds = 3600;
constexpr double kPlaceSteps = 10;   // places are written in tenths of a world unit, as stored points
constexpr double kTimeSteps = 1000;  // times are written in milliseconds

double rounded(double value, double steps) { return std::round(value * steps) / steps; }

// The connected game's ground as the walking rules ask it, or none without a game.
walking::GroundBelow ground_of(editor::Session& session) {
  editor::LiveGame* game = session.live_game;
  if (game == nullptr) return {};
  return [game](const std::vector<story_notebook::WorldPoint>& probes, std::vector<float>& heights,
                std::vector<bool>& found,
                std::string& error) { return game->ground_heights(probes, heights, found, error); };
}

Value place(double x, double y, double z) {
  Value point = Value::object();
  point["x"] = Value::of(rounded(x, kPlaceSteps));
  point["y"] = Value::of(rounded(y, kPlaceSteps));
  point["z"] = Value::of(rounded(z, kPlaceSteps));
  return point;
}

Value key_value(const walking::TrackKey& key) {
  Value row = Value::array();
  row.items = {Value::of(rounded(key.seconds, kTimeSteps)), Value::of(rounded(key.x, kPlaceSteps)),
               Value::of(rounded(key.y, kPlaceSteps)),      Value::of(rounded(key.z, kPlaceSteps)),
               Value::of(static_cast<double>(key.point)),   Value::of(walking::motion_name(key.motion))};
  return row;
}

}  // namespace

bool walkers_at(editor::Session& session, const Value& params, Value& answer, std::string& error) {
  editor::Session::Package* package = session.package(params, error);
  if (package == nullptr) return false;
  const Value& seconds = params.get("seconds");
  if (!seconds.is_number() || !std::isfinite(seconds.number) || seconds.number < 0) {
    error = "walkers_at: \"seconds\" is a number of at least 0";
    return false;
  }
  const walking::GroundBelow ground = ground_of(session);
  walking::PackageWalk walk;
  std::vector<walking::WalkerPose> poses;
  if (!walking::plan_package(package->document, ground, walk, error)) return false;
  if (!walking::poses_at(walk, seconds.number, ground, poses, error)) return false;
  Value result = Value::object();
  result["seconds"] = Value::of(seconds.number);
  result["actors"] = walking::live_actor_list(walk, poses);
  answer = std::move(result);
  return true;
}

bool package_timeline(editor::Session& session, const Value& params, Value& answer, std::string& error) {
  editor::Session::Package* package = session.package(params, error);
  if (package == nullptr) return false;
  double horizon = kDefaultHorizonSeconds;
  if (params.has("seconds")) {
    const Value& seconds = params.get("seconds");
    if (!seconds.is_number() || !(seconds.number >= 1 && seconds.number <= kLongestHorizonSeconds)) {
      error = "package_timeline: \"seconds\" is a number from 1 to 3600";
      return false;
    }
    horizon = seconds.number;
  }
  const walking::GroundBelow ground = ground_of(session);
  walking::PackageWalk walk;
  std::vector<walking::WalkerTrack> tracks;
  if (!walking::plan_package(package->document, ground, walk, error)) return false;
  if (!walking::tracks(walk, horizon, ground, tracks, error)) return false;

  Value result = Value::object();
  result["seconds"] = Value::of(horizon);
  Value& walkers = result["walkers"];
  walkers = Value::array();
  walkers.items.reserve(tracks.size());
  for (const walking::WalkerTrack& track : tracks) {
    Value entry = Value::object();
    entry["id"] = Value::of(track.id);
    Value& keys = entry["keys"];
    keys = Value::array();
    keys.items.reserve(track.keys.size());
    for (const walking::TrackKey& key : track.keys) keys.items.push_back(key_value(key));
    walkers.items.push_back(std::move(entry));
  }
  Value& standing = result["standing"];
  standing = Value::array();
  for (const walking::StandingActor& actor : walk.standing) {
    Value entry = Value::object();
    entry["id"] = Value::of(actor.id);
    entry["position"] = place(actor.x, actor.y, actor.z);
    standing.items.push_back(std::move(entry));
  }
  answer = std::move(result);
  return true;
}

}  // namespace host::check
