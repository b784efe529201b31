// The running game as the editor sees it, played by a GameWorld in the same process (no sockets): what
// `pathwright serve --demo` connects its session to. This is the host's one adapter to the game library:
// nothing else of the host includes game/. It either owns its world (`open`) or serves one the caller
// owns, which must outlive it. Safe from several threads as far as the world is (it is).
#ifndef PATHWRIGHT_LINK_LOCAL_LIVE_GAME_H_
#define PATHWRIGHT_LINK_LOCAL_LIVE_GAME_H_

#include <memory>
#include <string>
#include <vector>

#include "link/host_game.h"

namespace game {
class GameWorld;
}

namespace host::link {

class LocalLiveGame : public HostGame {
 public:
  // Builds and owns the world: the island when `world_file` is empty, else that OBJ file. With
  // `manual_clock` its time stands still until `advance`. On null, `error` says why.
  static std::unique_ptr<LocalLiveGame> open(const std::string& world_file, bool manual_clock, std::string& error);
  // Serves `world`, which the caller owns.
  explicit LocalLiveGame(game::GameWorld& world);
  ~LocalLiveGame() override;

  // Ground below `probe`; on false `note` is the world's reason ("open sea below (x, z)").
  bool ground_height(const story_notebook::WorldPoint& probe, float& height, std::string& note) override;
  // Always true: the world answers every batch, one height and flag per probe.
  bool ground_heights(const std::vector<story_notebook::WorldPoint>& probes, std::vector<float>& heights,
                      std::vector<bool>& found, std::string& error) override;
  // What the world walks for `id` in the package loaded under `package.name`; null when nothing (also
  // when that package was never loaded).
  mods::json::Value live_route(editor::Session::Package& package, const std::string& id) override;
  // Always true.
  bool link_position(story_notebook::WorldPoint& point, std::string& error) override;
  bool camera_position(story_notebook::WorldPoint& point, std::string& error) override;
  // Loads `package.document` under `package.name`; false with the world's reason when it refuses it.
  bool load_package(const editor::Session::Package& package, std::string& error) override;

  // The world's name and bounds, and its time in seconds (as advanced, with a manual clock).
  const std::string& world_name() const;
  story_notebook::WorldPoint low() const;
  story_notebook::WorldPoint high() const;
  double time() const;
  // {"time": T, "actors": [{"id", "position", "point"}]} for `package`; null when it was never loaded.
  mods::json::Value live_actors(const std::string& package) const;
  // True when the world's time moves only by `advance`.
  bool manual_clock() const override;

  // HostGame: always connected; the state is {"connected": true, "address": "in-process", "world",
  // "time", "bounds"}; live_actors fails for a package never loaded; advance_clock is `advance`.
  bool ensure_connected() override { return true; }
  bool connected() const override { return true; }
  mods::json::Value state() const override;
  bool live_actors(const std::string& package, mods::json::Value& live, std::string& error) override;
  bool advance_clock(double seconds, double& time, std::string& error) override {
    return advance(seconds, time, error);
  }
  // Moves the world's time on by `seconds`; on true `time` is the time after it, on false `error` says
  // why (a negative or non-finite step, or a clock that runs by itself).
  bool advance(double seconds, double& time, std::string& error);

 private:
  std::unique_ptr<game::GameWorld> owned_;  // null when the caller owns the world
  game::GameWorld& world_;
};

}  // namespace host::link

#endif  // PATHWRIGHT_LINK_LOCAL_LIVE_GAME_H_
