#include "link/line_connection.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstring>

#include "protocol/link_protocol.h"

namespace host::link {
namespace {

using Clock = std::chrono::steady_clock;

// Milliseconds left until `deadline`, never negative.
int remaining_ms(Clock::time_point deadline) {
  auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now()).count();
  return left > 0 ? static_cast<int>(left) : 0;
}

// Waits for `events` on `fd` until `deadline`: 1 ready, 0 timed out, -1 failed (errno set).
int wait_for(int fd, short events, Clock::time_point deadline) {
  for (;;) {
    pollfd p{fd, events, 0};
    int n = ::poll(&p, 1, remaining_ms(deadline));
    if (n < 0 && errno == EINTR) continue;
    return n;
  }
}

// Closes a socket on every early return of `connect`.
struct FdGuard {
  int fd;
  ~FdGuard() {
    if (fd >= 0) ::close(fd);
  }
};

}  // namespace

std::unique_ptr<LineConnection> LineConnection::connect(const std::string& host_name, std::uint16_t port,
                                                        int timeout_ms, std::string& error) {
  addrinfo hints{};
  hints.ai_family = AF_INET;
  hints.ai_socktype = SOCK_STREAM;
  addrinfo* found = nullptr;
  if (int rc = ::getaddrinfo(host_name.c_str(), nullptr, &hints, &found); rc != 0 || found == nullptr) {
    error = "unknown game host \"" + host_name + "\": " + ::gai_strerror(rc);
    return nullptr;
  }
  sockaddr_in address{};
  std::memcpy(&address, found->ai_addr, sizeof address);
  ::freeaddrinfo(found);
  address.sin_port = htons(port);

  FdGuard guard{::socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0)};
  if (guard.fd < 0) {
    error = std::string("cannot open a socket: ") + std::strerror(errno);
    return nullptr;
  }
  // Requests are small and each waits for its answer: send them at once.
  int one = 1;
  ::setsockopt(guard.fd, IPPROTO_TCP, TCP_NODELAY, &one, sizeof one);

  auto deadline = Clock::now() + std::chrono::milliseconds(timeout_ms);
  if (::connect(guard.fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
    if (errno != EINPROGRESS) {
      error = std::string("cannot connect: ") + std::strerror(errno);
      return nullptr;
    }
    int ready = wait_for(guard.fd, POLLOUT, deadline);
    if (ready == 0) {
      error = "cannot connect: no answer within " + std::to_string(timeout_ms) + " ms";
      return nullptr;
    }
    int so_error = 0;
    socklen_t length = sizeof so_error;
    if (ready < 0 || ::getsockopt(guard.fd, SOL_SOCKET, SO_ERROR, &so_error, &length) != 0) so_error = errno;
    if (so_error != 0) {
      error = std::string("cannot connect: ") + std::strerror(so_error);
      return nullptr;
    }
  }
  std::unique_ptr<LineConnection> connection(new LineConnection(guard.fd));
  guard.fd = -1;
  return connection;
}

LineConnection::~LineConnection() { ::close(fd_); }

bool LineConnection::send_line(const std::string& line, int timeout_ms, std::string& error) {
  return send_bytes(line + "\n", timeout_ms, error);
}

bool LineConnection::send_bytes(const std::string& message, int timeout_ms, std::string& error) {
  auto deadline = Clock::now() + std::chrono::milliseconds(timeout_ms);
  std::size_t sent = 0;
  while (sent < message.size()) {
    ssize_t n = ::send(fd_, message.data() + sent, message.size() - sent, MSG_NOSIGNAL);
    if (n > 0) {
      sent += static_cast<std::size_t>(n);
      continue;
    }
    if (n < 0 && errno == EINTR) continue;
    if (n < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) {
      int ready = wait_for(fd_, POLLOUT, deadline);
      if (ready > 0) continue;
      error = ready == 0 ? "timed out" : std::strerror(errno);
      return false;
    }
    error = n < 0 ? std::strerror(errno) : "nothing sent";
    return false;
  }
  return true;
}

bool LineConnection::peer_closed() {
  pollfd p{fd_, static_cast<short>(POLLIN | POLLRDHUP), 0};
  if (::poll(&p, 1, 0) <= 0) return false;
  if (p.revents & (POLLHUP | POLLERR | POLLRDHUP)) return true;
  char byte;
  return ::recv(fd_, &byte, 1, MSG_PEEK | MSG_DONTWAIT) == 0;
}

LineConnection::Read LineConnection::read_line(std::string& line, int timeout_ms, std::string& error) {
  constexpr std::size_t kReadBytes = 16384;  // bytes asked of the socket at a time
  auto deadline = Clock::now() + std::chrono::milliseconds(timeout_ms);
  for (;;) {
    std::string_view next;
    const protocol::LineReader::Next found = reader_.next(next);
    if (found == protocol::LineReader::Next::Line) {
      line.assign(next);
      return Read::Line;
    }
    if (found == protocol::LineReader::Next::TooLong) {
      error = "a line longer than " + std::to_string(protocol::kMaxLineBytes) + " bytes";
      return Read::Failed;
    }
    ssize_t n = ::recv(fd_, reader_.room(kReadBytes), kReadBytes, 0);
    if (n > 0) {
      reader_.received(static_cast<std::size_t>(n));
      continue;
    }
    if (n == 0) return Read::Closed;
    if (errno == EINTR) continue;
    if (errno == ECONNRESET || errno == EPIPE) return Read::Closed;
    if (errno != EAGAIN && errno != EWOULDBLOCK) {
      error = std::strerror(errno);
      return Read::Failed;
    }
    int ready = wait_for(fd_, POLLIN, deadline);
    if (ready == 0) return Read::TimedOut;
    if (ready < 0) {
      error = std::strerror(errno);
      return Read::Failed;
    }
  }
}

}  // namespace host::link
