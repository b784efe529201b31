#include "walking/package_walk.h"

#include <cmath>

#include "protocol/point_codec.h"

namespace walking {

namespace {

using mods::json::Value;
using story_notebook::WorldPoint;

// Puts every place on the first surface below a probe kSnapProbeHeight above it, where there is one,
// in one query. A place whose probe height is not finite keeps its height and is not asked about.
bool ground_places(const GroundBelow& ground, const std::vector<WorldPoint*>& places, std::string& error) {
  if (!ground || places.empty()) return true;
  std::vector<WorldPoint> probes;
  std::vector<WorldPoint*> asked;
  probes.reserve(places.size());
  asked.reserve(places.size());
  for (WorldPoint* place : places) {
    const float probe_y = place->y + kSnapProbeHeight;
    if (!std::isfinite(probe_y)) continue;
    probes.push_back({place->x, probe_y, place->z});
    asked.push_back(place);
  }
  std::vector<float> heights;
  std::vector<bool> found;
  if (!ground(probes, heights, found, error)) return false;
  if (heights.size() != probes.size() || found.size() != probes.size()) {
    error = "the ground answered " + std::to_string(found.size()) + " findings and " + std::to_string(heights.size()) +
            " heights for " + std::to_string(probes.size()) + " probes";
    return false;
  }
  for (std::size_t k = 0; k < asked.size(); ++k) {
    if (found[k]) asked[k]->y = heights[k];
  }
  return true;
}

}  // namespace

bool plan_package(const Value& document, const GroundBelow& ground, PackageWalk& out, std::string& error) {
  out = PackageWalk();
  const Value& actors = document.get("actors");
  if (!actors.is_array()) return true;
  for (std::size_t i = 0; i < actors.items.size(); ++i) {
    const Value& actor = actors.items[i];
    const Value& id = actor.get("id");
    if (!id.is_string()) continue;
    if (std::optional<Walk> walk = Walk::outline(actor)) {
      out.walkers.push_back({id.str, i, std::move(*walk)});
      continue;
    }
    WorldPoint place;
    if (protocol::read_point_narrowing(actor.get("position"), place)) {
      out.standing.push_back({.id = id.str, .actor = i, .x = place.x, .y = place.y, .z = place.z});
    }
  }
  std::vector<WorldPoint*> places;
  for (PackageWalk::Walker& walker : out.walkers) {
    for (WalkEntry& entry : walker.walk.entries()) places.push_back(&entry.point);
  }
  if (!ground_places(ground, places, error)) return false;
  for (PackageWalk::Walker& walker : out.walkers) walker.walk.plan();
  return true;
}

PackageWalk plan_package(const Value& document) {
  PackageWalk walk;
  std::string unused;
  plan_package(document, GroundBelow(), walk, unused);
  return walk;
}

bool poses_at(const PackageWalk& walk, double seconds, const GroundBelow& ground, std::vector<WalkerPose>& poses,
              std::string& error) {
  poses.clear();
  poses.reserve(walk.walkers.size());
  std::vector<WorldPoint*> between;
  for (const PackageWalk::Walker& walker : walk.walkers) poses.push_back(walker.walk.pose(seconds));
  for (WalkerPose& pose : poses) {
    if (pose.between) between.push_back(&pose.position);
  }
  return ground_places(ground, between, error);
}

bool walker_pose(const Walk& walk, double seconds, const GroundBelow& ground, WalkerPose& pose, std::string& error) {
  pose = walk.pose(seconds);
  if (!pose.between) return true;
  return ground_places(ground, {&pose.position}, error);
}

Value live_actor_list(const PackageWalk& walk, const std::vector<WalkerPose>& poses) {
  Value list = Value::array();
  list.items.reserve(poses.size());
  for (std::size_t k = 0; k < poses.size() && k < walk.walkers.size(); ++k) {
    Value actor = Value::object();
    actor["id"] = Value::of(walk.walkers[k].id);
    protocol::put_point(actor["position"], poses[k].position);
    actor["point"] = Value::of(static_cast<double>(poses[k].target));
    list.items.push_back(std::move(actor));
  }
  return list;
}

bool tracks(const PackageWalk& walk, double horizon, const GroundBelow& ground, std::vector<WalkerTrack>& out,
            std::string& error) {
  out.clear();
  out.reserve(walk.walkers.size());
  // With a ground, the ground along every leg of every walk, in one query.
  std::vector<Walk::Profile> profiles;
  if (ground) {
    std::vector<WorldPoint> along;
    for (const PackageWalk::Walker& walker : walk.walkers) walker.walk.profile_places(along);
    std::vector<WorldPoint*> places;
    places.reserve(along.size());
    for (WorldPoint& place : along) places.push_back(&place);
    if (!ground_places(ground, places, error)) return false;
    std::size_t at = 0;
    for (const PackageWalk::Walker& walker : walk.walkers) profiles.push_back(walker.walk.profile(along, at));
  }
  std::size_t room = kMaxTrackKeys;
  std::vector<std::size_t> cut;  // tracks whose last key lies between entries
  for (std::size_t w = 0; w < walk.walkers.size(); ++w) {
    const PackageWalk::Walker& walker = walk.walkers[w];
    WalkerTrack track{.id = walker.id, .actor = walker.actor, .keys = {}};
    bool between = false;
    const Walk::Profile* profile = profiles.empty() ? nullptr : &profiles[w];
    if (!walker.walk.append_keys(horizon, room, profile, track.keys, between)) {
      error = "the walks need more than " + std::to_string(kMaxTrackKeys) + " keys within " +
              std::to_string(static_cast<long long>(horizon)) + " s";
      return false;
    }
    room -= track.keys.size();
    if (between) cut.push_back(out.size());
    out.push_back(std::move(track));
  }
  std::vector<WorldPoint> ends(cut.size());
  std::vector<WorldPoint*> places;
  for (std::size_t k = 0; k < cut.size(); ++k) {
    const TrackKey& last = out[cut[k]].keys.back();
    ends[k] = {static_cast<float>(last.x), static_cast<float>(last.y), static_cast<float>(last.z)};
    places.push_back(&ends[k]);
  }
  if (!ground_places(ground, places, error)) return false;
  for (std::size_t k = 0; k < cut.size(); ++k) out[cut[k]].keys.back().y = ends[k].y;
  return true;
}

bool tracks(const Value& document, const GroundBelow& ground, double horizon, std::vector<WalkerTrack>& out,
            std::string& error) {
  PackageWalk walk;
  return plan_package(document, ground, walk, error) && tracks(walk, horizon, ground, out, error);
}

std::vector<StandingActor> standing_actors(const Value& document) { return plan_package(document).standing; }

}  // namespace walking
