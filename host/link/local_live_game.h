// The running game as the editor sees it, played by a GameWorld in the same process (no sockets): what
// `pathwright serve --demo` connects its session to. Holds a reference to a world it does not own; the
// world must outlive it. Safe from several threads as far as the world is (it is).
#ifndef PATHWRIGHT_HOST_LINK_LOCAL_LIVE_GAME_H_
#define PATHWRIGHT_HOST_LINK_LOCAL_LIVE_GAME_H_

#include <string>
#include <vector>

#include "editor/live_game.h"
#include "game/game_world.h"

namespace game {

class LocalLiveGame : public editor::LiveGame {
 public:
  explicit LocalLiveGame(GameWorld& world) : world_(world) {}

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

 private:
  GameWorld& world_;
};

}  // namespace game

#endif  // PATHWRIGHT_HOST_LINK_LOCAL_LIVE_GAME_H_
