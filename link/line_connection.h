// One TCP connection that carries newline-terminated messages, with a deadline on every wait: the game
// link's transport. The object owns its socket and closes it when destroyed. Used by one thread at a
// time.
#ifndef PATHWRIGHT_LINK_LINE_CONNECTION_H_
#define PATHWRIGHT_LINK_LINE_CONNECTION_H_

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "protocol/line_reader.h"
#include "protocol/link_protocol.h"

namespace host::link {

class LineConnection {
 public:
  // Connects to `host_name` (a numeric IPv4 address or a name) on `port`, giving up after `timeout_ms`.
  // On null, `error` says why (refused, timed out, unknown host).
  static std::unique_ptr<LineConnection> connect(const std::string& host_name, std::uint16_t port, int timeout_ms,
                                                 std::string& error);

  ~LineConnection();
  LineConnection(const LineConnection&) = delete;
  LineConnection& operator=(const LineConnection&) = delete;

  // Sends `line` followed by "\n", waiting at most `timeout_ms` for room in the socket. On false,
  // `error` says why and the connection is to be dropped. Never raises SIGPIPE.
  bool send_line(const std::string& line, int timeout_ms, std::string& error);
  // Sends `bytes` as they are (no "\n" added), as send_line does.
  bool send_bytes(const std::string& bytes, int timeout_ms, std::string& error);

  // True when the other side has closed the connection (or reset it); never waits.
  bool peer_closed();

  enum class Read { Line, TimedOut, Closed, Failed };
  // Waits at most `timeout_ms` for one whole line and moves it (without its "\n") into `line`. Any
  // outcome but Line leaves `line` unspecified; Failed also writes the reason into `error` (a system
  // error, or a line longer than protocol::kMaxLineBytes).
  Read read_line(std::string& line, int timeout_ms, std::string& error);

 private:
  explicit LineConnection(int fd) : fd_(fd) {}
  int fd_;
  protocol::LineReader reader_{protocol::kMaxLineBytes};  // bytes received after the last whole line
};

}  // namespace host::link

#endif  // PATHWRIGHT_LINK_LINE_CONNECTION_H_
