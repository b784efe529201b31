// The TCP server of the simulated game: listens on 127.0.0.1, serves each connection on its own thread,
// one request line in, one answer line out, in order, through a LinkProtocol. Owns its sockets and its
// connection threads; the world it serves is the caller's. `stop` may be called from any thread; the
// other members belong to the thread that made the server.
#ifndef PATHWRIGHT_GAME_LINK_SERVER_H_
#define PATHWRIGHT_GAME_LINK_SERVER_H_

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <list>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

#include "game/game_world.h"
#include "game/link_ops.h"
#include "protocol/link_protocol.h"

namespace game {

class LinkServer {
 public:
  // `max_line_bytes`: the longest request line answered (longer ones get an error answer and the rest
  // of the line is skipped).
  explicit LinkServer(GameWorld& world, std::size_t max_line_bytes = protocol::kMaxLineBytes);
  ~LinkServer();  // stops, closes every socket and joins every thread
  LinkServer(const LinkServer&) = delete;
  LinkServer& operator=(const LinkServer&) = delete;

  // Binds 127.0.0.1:`port` (0 picks a free port) and listens. On false, `error` says why and nothing is
  // open.
  bool listen(std::uint16_t port, std::string& error);
  // The port listened on (after a successful `listen`).
  std::uint16_t port() const { return port_; }

  // Accepts connections and serves them, each on its own thread, until `stop`. Returns after every
  // connection has ended.
  void run();
  // Makes `run` return and ends every connection. Any thread, any number of times.
  void stop();

 private:
  struct Connection {
    std::thread thread;
    std::atomic<bool> done{false};
  };
  void serve(int socket, Connection& connection);
  std::string overlong_answer() const;

  LinkProtocol protocol_;
  std::size_t max_line_bytes_;
  int listen_fd_ = -1;
  int wake_read_ = -1, wake_write_ = -1;  // readable once `stop` has been called
  std::uint16_t port_ = 0;
  std::atomic<bool> stopping_{false};
  std::list<Connection> connections_;  // touched only by the thread in `run`
};

}  // namespace game

#endif  // PATHWRIGHT_GAME_LINK_SERVER_H_
