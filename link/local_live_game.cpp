#include "link/local_live_game.h"

#include <cstdint>
#include <utility>

#include "game/game_world.h"

namespace host::link {

std::unique_ptr<LocalLiveGame> LocalLiveGame::open(const std::string& world_file, bool manual_clock,
                                                   std::string& error) {
  const game::Clock clock = manual_clock ? game::Clock::Manual : game::Clock::Real;
  std::unique_ptr<game::GameWorld> world =
      world_file.empty() ? game::GameWorld::island(clock, error) : game::GameWorld::from_obj(world_file, clock, error);
  if (!world) return nullptr;
  auto live = std::make_unique<LocalLiveGame>(*world);
  live->owned_ = std::move(world);
  return live;
}

LocalLiveGame::LocalLiveGame(game::GameWorld& world) : world_(world) {}

LocalLiveGame::~LocalLiveGame() = default;

const std::string& LocalLiveGame::world_name() const { return world_.name(); }

story_notebook::WorldPoint LocalLiveGame::low() const { return world_.low(); }

story_notebook::WorldPoint LocalLiveGame::high() const { return world_.high(); }

double LocalLiveGame::time() const { return world_.time(); }

mods::json::Value LocalLiveGame::live_actors(const std::string& package) const { return world_.live_actors(package); }

bool LocalLiveGame::live_actors(const std::string& package, mods::json::Value& live, std::string& error) {
  live = world_.live_actors(package);
  if (live.is_null()) error = "no package \"" + package + "\" is loaded in the game";
  return !live.is_null();
}

mods::json::Value LocalLiveGame::state() const {
  using mods::json::Value;
  Value game = Value::object();
  game["connected"] = Value::of(true);
  game["address"] = Value::of("in-process");
  game["world"] = Value::of(world_name());
  game["time"] = Value::of(time());
  for (const auto& [name, corner] : {std::pair{"low", low()}, std::pair{"high", high()}}) {
    Value& point = game["bounds"][name];
    point["x"] = Value::of(static_cast<double>(corner.x));
    point["y"] = Value::of(static_cast<double>(corner.y));
    point["z"] = Value::of(static_cast<double>(corner.z));
  }
  return game;
}

bool LocalLiveGame::manual_clock() const { return world_.clock() == game::Clock::Manual; }

bool LocalLiveGame::advance(double seconds, double& time, std::string& error) {
  return world_.advance(seconds, time, error);
}

bool LocalLiveGame::ground_height(const story_notebook::WorldPoint& probe, float& height, std::string& note) {
  return world_.ground_height(probe, height, note);
}

bool LocalLiveGame::ground_heights(const std::vector<story_notebook::WorldPoint>& probes, std::vector<float>& heights,
                                   std::vector<bool>& found, std::string& error) {
  (void)error;
  std::vector<float> xyz;
  xyz.reserve(probes.size() * 3);
  for (const auto& probe : probes) xyz.insert(xyz.end(), {probe.x, probe.y, probe.z});
  std::vector<std::uint8_t> flags(probes.size());
  heights.assign(probes.size(), 0.0f);
  world_.ground_heights(xyz.data(), probes.size(), heights.data(), flags.data());
  found.assign(flags.begin(), flags.end());
  return true;
}

mods::json::Value LocalLiveGame::live_route(editor::Session::Package& package, const std::string& id) {
  return world_.live_route(package.name, id);
}

bool LocalLiveGame::link_position(story_notebook::WorldPoint& point, std::string& error) {
  (void)error;
  point = world_.link();
  return true;
}

bool LocalLiveGame::camera_position(story_notebook::WorldPoint& point, std::string& error) {
  (void)error;
  point = world_.camera();
  return true;
}

bool LocalLiveGame::load_package(const editor::Session::Package& package, std::string& error) {
  int walking = 0;
  return world_.load(package.name, package.document, walking, error);
}

}  // namespace host::link
