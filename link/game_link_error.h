// The failure of the game link itself: the game did not answer in time, closed the connection, or sent
// something that is not an answer. Thrown by host::link::GameLink where the editor's interface has no error
// channel, and caught at the request loop, where its text becomes the command's error. A plain value.
#ifndef PATHWRIGHT_LINK_GAME_LINK_ERROR_H_
#define PATHWRIGHT_LINK_GAME_LINK_ERROR_H_

#include <stdexcept>
#include <string>

namespace host::link {

class GameLinkError : public std::runtime_error {
 public:
  explicit GameLinkError(const std::string& what) : std::runtime_error(what) {}
};

}  // namespace host::link

#endif  // PATHWRIGHT_LINK_GAME_LINK_ERROR_H_
