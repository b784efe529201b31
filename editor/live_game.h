// The link to the running game, as the route service and the host's `where` see it. Implemented by the
// host's game connection (and by test stand-ins); the session holds a pointer to it that is null while no
// game is connected. Called synchronously on the thread that runs the command; not synchronised.
#ifndef PATHWRIGHT_EDITOR_LIVE_GAME_H_
#define PATHWRIGHT_EDITOR_LIVE_GAME_H_

#include <string>
#include <vector>

#include "editor/points/world_point.h"
#include "editor/session.h"
#include "json/value.h"

namespace editor {

// Failures: `ground_heights`, the positions and `load_package` answer false with a text. `ground_height`
// and `live_route` have no error channel: an implementation whose link to the game fails there throws,
// and the route service lets the exception pass through the command unchanged (its state is as before
// the command's first change) for the caller that made the link to catch.
class LiveGame {
 public:
  virtual ~LiveGame() = default;

  // Ground straight below `probe`. On true, `height` is the ground's y. On false, `note` says why there
  // is no ground there (shown after "not on the ground: "), and `height` is meaningless.
  virtual bool ground_height(const story_notebook::WorldPoint& probe, float& height, std::string& note) = 0;

  // The ground below every probe, in one query. On true, `heights` and `found` hold exactly one entry per
  // probe, in order; `heights[k]` is meaningful only where `found[k]` is true. On false, `error` says why
  // the query as a whole failed and neither list is to be read. `probes` may be empty.
  virtual bool ground_heights(const std::vector<story_notebook::WorldPoint>& probes, std::vector<float>& heights,
                              std::vector<bool>& found, std::string& error) = 0;

  // What the game walks for actor `id` of `package` now, or null when it walks nothing for it.
  virtual mods::json::Value live_route(Session::Package& package, const std::string& id) = 0;

  // Where Link stands. On false, `error` says why it could not be told.
  virtual bool link_position(story_notebook::WorldPoint& point, std::string& error) {
    (void)point;
    error = "the game link cannot tell where link stands";
    return false;
  }

  // Where the camera is. On false, `error` says why it could not be told.
  virtual bool camera_position(story_notebook::WorldPoint& point, std::string& error) {
    (void)point;
    error = "the game link cannot tell where the camera is";
    return false;
  }

  // Hands the game a package's whole document, to walk its actors from now on. On false, `error` says
  // why the game did not take it; the package itself is unaffected either way.
  virtual bool load_package(const Session::Package& package, std::string& error) {
    (void)package;
    (void)error;
    return true;
  }
};

}  // namespace editor

#endif  // PATHWRIGHT_EDITOR_LIVE_GAME_H_
