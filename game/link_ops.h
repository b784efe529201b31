// The game side of the game link (docs/game-link.md): turns one request line into one answer line
// against a GameWorld. Stateless apart from the world it serves, which it does not own; several
// connections may share one LinkProtocol from several threads (the world guards itself).
#ifndef PATHWRIGHT_GAME_LINK_OPS_H_
#define PATHWRIGHT_GAME_LINK_OPS_H_

#include <string>
#include <string_view>

#include "game/game_world.h"

namespace game {

class LinkProtocol {
 public:
  explicit LinkProtocol(GameWorld& world) : world_(world) {}

  // The answer to `line` (one request without its "\n"; a final "\r" is ignored): always one compact
  // JSON object without a newline, {"id", "ok": true, ...} or {"id", "ok": false, "error"}. Never
  // throws on any input. The line is framed first (game/request_framing.h), then one handler per op answers.
  std::string answer(std::string_view line) const;

 private:
  GameWorld& world_;
};

}  // namespace game

#endif  // PATHWRIGHT_GAME_LINK_OPS_H_
