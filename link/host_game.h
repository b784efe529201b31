// The game as the host's front ends hold it: the route service's editor::LiveGame, plus what the host
// itself asks of a game (reconnecting, its state for "status", where its actors walk now, a manual
// clock). Implemented by the TCP link (game_link.h) and by the in-process game (local_live_game.h), so
// the workbench holds one pointer whichever runs. Used by the one thread that runs commands.
#ifndef PATHWRIGHT_LINK_HOST_GAME_H_
#define PATHWRIGHT_LINK_HOST_GAME_H_

#include <string>

#include "editor/live_game.h"
#include "json/value.h"

namespace host::link {

// Why a game without a clock this side can move refuses advance_clock.
constexpr const char* kOnlyInProcessClock = "only the in-process game (--demo) has a clock to move on";

class HostGame : public editor::LiveGame {
 public:
  // Called before a command that may ask the game: reconnects when due. True when the game can be asked
  // now. Never throws.
  virtual bool ensure_connected() = 0;
  // Whether the game can be asked now, without trying to reconnect.
  virtual bool connected() const = 0;

  // "status"'s "game" member: {"connected", "address", "world"?, "time"?, "bounds"?, "problem"?,
  // "retry_in"?}.
  virtual mods::json::Value state() const = 0;

  // Where every walking actor of `package` is now: on true `live` is {"time": T, "actors": [{"id",
  // "position", "point"}]}. On false `error` says why and `live` is not to be read.
  virtual bool live_actors(const std::string& package, mods::json::Value& live, std::string& error) = 0;

  // Whether the game's time stands still until advance_clock moves it.
  virtual bool manual_clock() const = 0;
  // Moves a manual clock on by `seconds`; on true `time` is the game's time after it. On false `error`
  // says why (no clock this side can move, or a step the game refuses) and the time is as it was.
  virtual bool advance_clock(double seconds, double& time, std::string& error) = 0;
};

}  // namespace host::link

#endif  // PATHWRIGHT_LINK_HOST_GAME_H_
