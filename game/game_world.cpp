#include "game/game_world.h"

#include <cmath>

#include "game/island.h"
#include "protocol/flat_numbers.h"
#include "protocol/point_codec.h"

namespace game {

namespace {

using mods::json::Value;
using story_notebook::WorldPoint;

std::string file_stem(const std::string& path) {
  const std::size_t slash = path.find_last_of("/\\");
  std::string name = slash == std::string::npos ? path : path.substr(slash + 1);
  const std::size_t dot = name.find_last_of('.');
  if (dot != std::string::npos && dot > 0) name.resize(dot);
  return name;
}

}  // namespace

GameWorld::GameWorld(std::unique_ptr<Ground> ground, std::string name, bool has_sea, WorldPoint spawn, Clock clock)
    : ground_(std::move(ground)),
      name_(std::move(name)),
      has_sea_(has_sea),
      clock_(clock),
      started_(std::chrono::steady_clock::now()),
      link_(spawn) {}

std::unique_ptr<GameWorld> GameWorld::create(const WorldMesh& mesh, std::string name, bool has_sea, WorldPoint spawn,
                                             Clock clock, std::string& error) {
  std::unique_ptr<Ground> ground = Ground::build(mesh, error);
  if (!ground) return nullptr;
  std::unique_ptr<GameWorld> world(new GameWorld(std::move(ground), std::move(name), has_sea, spawn, clock));
  mesh.bounds(world->low_, world->high_);  // the ground was built, so the mesh is not empty
  return world;
}

std::unique_ptr<GameWorld> GameWorld::island(Clock clock, std::string& error) {
  return create(island::build(), island::kWorldName, true, island::kLinkSpawn, clock, error);
}

std::unique_ptr<GameWorld> GameWorld::from_obj(const std::string& path, Clock clock, std::string& error) {
  WorldMesh mesh;
  if (!load_obj(path, mesh, error)) return nullptr;
  WorldPoint low, high;
  mesh.bounds(low, high);
  std::unique_ptr<GameWorld> world = create(mesh, file_stem(path), false, {}, clock, error);
  if (!world) return nullptr;
  // Above the middle of the box, on the ground there when there is some.
  WorldPoint spawn{low.x + (high.x - low.x) / 2, high.y, low.z + (high.z - low.z) / 2};
  float height = 0;
  if (world->ground_->below(spawn.x, spawn.y, spawn.z, height)) spawn.y = height;
  world->link_ = spawn;
  return world;
}

bool GameWorld::ground_height(const WorldPoint& probe, float& height, std::string& note) const {
  if (ground_->below(probe.x, probe.y, probe.z, height)) return true;
  if (!std::isfinite(probe.x) || !std::isfinite(probe.y) || !std::isfinite(probe.z)) {
    note = "the probe is not a finite point";
    return false;
  }
  if (!ground_->inside(probe.x, probe.z)) {
    note = "outside the world: (" + protocol::float_text(probe.x) + ", " + protocol::float_text(probe.z) + ")";
    return false;
  }
  note = std::string(has_sea_ ? "open sea below (" : "nothing below (") + protocol::float_text(probe.x) + ", " +
         protocol::float_text(probe.z) + ")";
  return false;
}

void GameWorld::ground_heights(const float* xyz, std::size_t count, float* heights, std::uint8_t* found) const {
  ground_->below_batch(xyz, count, heights, found, kFastestBatch);
}

WorldPoint GameWorld::link() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return link_;
}

WorldPoint GameWorld::camera() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return {link_.x, link_.y + kCameraAbove, link_.z - kCameraBehind};
}

void GameWorld::teleport(const WorldPoint& point) {
  std::lock_guard<std::mutex> lock(mutex_);
  link_ = point;
}

bool GameWorld::load(const std::string& package, const Value& document, int& walking, std::string& error) {
  if (package.empty()) {
    error = "a package needs a name";
    return false;
  }
  if (!document.is_object()) {
    error = "the document of \"" + package + "\" is not an object";
    return false;
  }
  const Value& actors = document.get("actors");
  if (!actors.is_null() && !actors.is_array()) {
    error = "the \"actors\" of \"" + package + "\" is not an array";
    return false;
  }
  // Planning puts points on the ground; it needs no lock (the ground is read-only).
  Package loaded;
  if (!::walking::plan_package(document, ground_below(), loaded.walk, error)) return false;
  std::size_t next_walker = 0;
  for (std::size_t i = 0; i < actors.items.size(); ++i) {
    const Value& id = actors.items[i].get("id");
    if (!id.is_string()) continue;
    Actor entry{id.str, -1};
    if (next_walker < loaded.walk.walkers.size() && loaded.walk.walkers[next_walker].actor == i) {
      entry.walker = static_cast<int>(next_walker++);
    }
    loaded.actors.push_back(std::move(entry));
  }
  walking = static_cast<int>(loaded.walk.walkers.size());
  std::lock_guard<std::mutex> lock(mutex_);
  loaded.loaded_at = time_locked();
  packages_[package] = std::move(loaded);
  return true;
}

Value GameWorld::live_route(const std::string& package, const std::string& actor) const {
  std::lock_guard<std::mutex> lock(mutex_);
  const auto found = packages_.find(package);
  if (found == packages_.end()) return Value();
  for (const Actor& entry : found->second.actors) {
    if (entry.id != actor) continue;
    if (entry.walker < 0) return Value();
    const walking::Walk& walk = found->second.walk.walkers[static_cast<std::size_t>(entry.walker)].walk;
    walking::WalkerPose now;
    std::string unused;  // the game's own ground does not fail
    walking::walker_pose(walk, time_locked() - found->second.loaded_at, ground_below(), now, unused);
    return walk.live_route(now);
  }
  return Value();
}

Value GameWorld::live_actors(const std::string& package) const {
  std::lock_guard<std::mutex> lock(mutex_);
  const auto found = packages_.find(package);
  if (found == packages_.end()) return Value();
  const double now = time_locked();
  Value answer = Value::object();
  answer["time"] = Value::of(now);
  std::vector<walking::WalkerPose> poses;
  std::string unused;  // the game's own ground does not fail
  walking::poses_at(found->second.walk, now - found->second.loaded_at, ground_below(), poses, unused);
  answer["actors"] = walking::live_actor_list(found->second.walk, poses);
  return answer;
}

walking::GroundBelow GameWorld::ground_below() const {
  const Ground* ground = ground_.get();
  return [ground](const std::vector<WorldPoint>& probes, std::vector<float>& heights, std::vector<bool>& found,
                  std::string&) {
    std::vector<float> xyz;
    xyz.reserve(probes.size() * 3);
    for (const WorldPoint& probe : probes) xyz.insert(xyz.end(), {probe.x, probe.y, probe.z});
    heights.assign(probes.size(), 0.0f);
    std::vector<std::uint8_t> flags(probes.size(), 0);
    ground->below_batch(xyz.data(), probes.size(), heights.data(), flags.data(), kFastestBatch);
    found.assign(flags.begin(), flags.end());
    return true;
  };
}

double GameWorld::time_locked() const {
  if (clock_ == Clock::Manual) return manual_seconds_;
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - started_).count();
}

double GameWorld::time() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return time_locked();
}

bool GameWorld::advance(double seconds, double& time, std::string& error) {
  if (clock_ != Clock::Manual) {
    error = "\"advance\" needs the manual clock; this game runs on the real clock";
    return false;
  }
  if (!std::isfinite(seconds) || seconds < 0) {
    error = "\"seconds\" must be a finite number of at least 0";
    return false;
  }
  std::lock_guard<std::mutex> lock(mutex_);
  manual_seconds_ += seconds;
  time = manual_seconds_;
  return true;
}

}  // namespace game
