// The editor session as the route service sees it: the three services the host provides (`package`,
// `change`, `where`), the pointer to the running game, and the route service's one entry,
// `dispatch_route`. A session is used by one thread at a time; the route service keeps no state in it.
#ifndef PATHWRIGHT_EDITOR_SESSION_H_
#define PATHWRIGHT_EDITOR_SESSION_H_

#include <cstdint>
#include <functional>
#include <string>

#include "editor/points/world_point.h"
#include "json/value.h"

namespace editor {

class LiveGame;

// Where a request places something in the world. `where` fills it; the route service reads only `point`.
struct Place {
  std::uint8_t resolved_from = 0;  // host's note of what resolved the place (0: nothing yet)
  std::string source;              // host's text naming the source, such as "link" or "position"
  std::int32_t actor_index = -1;   // host's index of an actor the place was taken from, -1 for none
  story_notebook::WorldPoint point;
  std::uint8_t reserved[4] = {0, 0, 0, 0};  // host's spare flags, zero until a host gives them meaning
};

class Session {
 public:
  struct Package {
    std::string name;            // names the package in messages
    mods::json::Value document;  // an object whose "actors" array holds the placed actors
  };
  // An edit of a whole document: true when applied; false after writing the reason into the text.
  using Edit = std::function<bool(mods::json::Value&, std::string&)>;

  LiveGame* live_game = nullptr;  // null while no game is connected; changed only between commands

  virtual ~Session() = default;

  // The package that `params` names. On null, `error` holds the reason. The answer stays valid until the
  // current command returns.
  virtual Package* package(const mods::json::Value& params, std::string& error) = 0;

  // Runs `edit` once on `package`'s document (or on a working copy that becomes the document) and records
  // the change under `label`. True when the edit answered true and the change was applied. On false,
  // `error` holds the edit's text unchanged, or the change service's own reason. Members the edit wrote
  // into `result` stay; `edit` is never kept or run after the call.
  virtual bool change(Package& package, const std::string& label, const Edit& edit, mods::json::Value& result,
                      std::string& error) = 0;

  // Resolves the place that `params` names ("position", or "at": link or camera) into `place.point`.
  // On false, `error` holds the reason.
  virtual bool where(const mods::json::Value& params, Place& place, std::string& error) = 0;

  // Runs route command `route` with `params`. `ok`: it succeeded; `handled`: `route` is one of the eight
  // route commands. On failure `error` holds the failing step's message; it is never cleared.
  mods::json::Value dispatch_route(const std::string& route, const mods::json::Value& params, std::string& error,
                                   bool& ok, bool& handled);
};

}  // namespace editor

#endif  // PATHWRIGHT_EDITOR_SESSION_H_
