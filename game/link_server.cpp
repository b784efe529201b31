#include "game/link_server.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <string_view>

#include "protocol/line_reader.h"

namespace game {

namespace {

constexpr std::size_t kReadChunkBytes = 256 * 1024;
constexpr int kListenBacklog = 16;
constexpr std::chrono::milliseconds kAcceptBackoff{50};  // pause after running out of descriptors

// Closes the descriptor when it goes out of scope.
struct Descriptor {
  int fd;
  explicit Descriptor(int f) : fd(f) {}
  ~Descriptor() {
    if (fd >= 0) ::close(fd);
  }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
};

bool send_all(int socket, const char* data, std::size_t size) {
  while (size > 0) {
    const ssize_t sent = ::send(socket, data, size, MSG_NOSIGNAL);
    if (sent < 0) {
      if (errno == EINTR) continue;
      return false;
    }
    data += sent;
    size -= static_cast<std::size_t>(sent);
  }
  return true;
}

}  // namespace

LinkServer::LinkServer(GameWorld& world, std::size_t max_line_bytes)
    : protocol_(world), max_line_bytes_(max_line_bytes) {}

LinkServer::~LinkServer() {
  stop();
  for (Connection& connection : connections_) {
    if (connection.thread.joinable()) connection.thread.join();
  }
  if (listen_fd_ >= 0) ::close(listen_fd_);
  if (wake_read_ >= 0) ::close(wake_read_);
  if (wake_write_ >= 0) ::close(wake_write_);
}

bool LinkServer::listen(std::uint16_t port, std::string& error) {
  int wake[2];
  if (::pipe2(wake, O_CLOEXEC | O_NONBLOCK) != 0) {
    error = std::string("cannot make the server's wake-up pipe: ") + std::strerror(errno);
    return false;
  }
  Descriptor wake_read(wake[0]), wake_write(wake[1]);
  Descriptor listener(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
  if (listener.fd < 0) {
    error = std::string("cannot open a socket: ") + std::strerror(errno);
    return false;
  }
  const int yes = 1;
  ::setsockopt(listener.fd, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  address.sin_port = htons(port);
  if (::bind(listener.fd, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) {
    error = "cannot listen on 127.0.0.1:" + std::to_string(port) + ": " + std::strerror(errno);
    return false;
  }
  if (::listen(listener.fd, kListenBacklog) != 0) {
    error = "cannot listen on 127.0.0.1:" + std::to_string(port) + ": " + std::strerror(errno);
    return false;
  }
  socklen_t length = sizeof address;
  ::getsockname(listener.fd, reinterpret_cast<sockaddr*>(&address), &length);
  port_ = ntohs(address.sin_port);
  std::swap(listen_fd_, listener.fd);
  std::swap(wake_read_, wake_read.fd);
  std::swap(wake_write_, wake_write.fd);
  return true;
}

void LinkServer::stop() {
  if (stopping_.exchange(true)) return;
  if (wake_write_ >= 0) {
    const char byte = 1;
    while (::write(wake_write_, &byte, 1) < 0 && errno == EINTR) {}
  }
}

void LinkServer::run() {
  while (!stopping_) {
    pollfd waits[2] = {{listen_fd_, POLLIN, 0}, {wake_read_, POLLIN, 0}};
    if (::poll(waits, 2, -1) < 0) {
      if (errno == EINTR) continue;
      break;
    }
    if (waits[1].revents != 0 || stopping_) break;
    // Join connections that have ended, so a long-running server does not pile up threads.
    for (auto it = connections_.begin(); it != connections_.end();) {
      if (it->done) {
        it->thread.join();
        it = connections_.erase(it);
      } else {
        ++it;
      }
    }
    if (!(waits[0].revents & POLLIN)) continue;
    const int socket = ::accept4(listen_fd_, nullptr, nullptr, SOCK_CLOEXEC);
    if (socket < 0) {
      // The client gave up before being accepted, or descriptors ran out for now: do not spin on it.
      if (errno == EMFILE || errno == ENFILE || errno == ENOBUFS || errno == ENOMEM) {
        std::this_thread::sleep_for(kAcceptBackoff);
      }
      continue;
    }
    const int yes = 1;
    ::setsockopt(socket, IPPROTO_TCP, TCP_NODELAY, &yes, sizeof yes);
    Connection& connection = connections_.emplace_back();
    connection.thread = std::thread([this, socket, &connection] { serve(socket, connection); });
  }
  stop();
  for (Connection& connection : connections_) {
    if (connection.thread.joinable()) connection.thread.join();
  }
  connections_.clear();
}

std::string LinkServer::overlong_answer() const {
  return "{\"id\":null,\"ok\":false,\"error\":\"the line is longer than " + std::to_string(max_line_bytes_) +
         " bytes\"}";
}

void LinkServer::serve(int socket, Connection& connection) {
  Descriptor closer(socket);
  protocol::LineReader reader(max_line_bytes_);
  while (!stopping_) {
    pollfd waits[2] = {{socket, POLLIN, 0}, {wake_read_, POLLIN, 0}};
    if (::poll(waits, 2, -1) < 0) {
      if (errno == EINTR) continue;
      break;
    }
    if (waits[1].revents != 0) break;
    const ssize_t got = ::recv(socket, reader.room(kReadChunkBytes), kReadChunkBytes, 0);
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0) break;  // closed by the client, or broken
    reader.received(static_cast<std::size_t>(got));

    bool broken = false;
    std::string_view line;
    for (protocol::LineReader::Next next; !broken && (next = reader.next(line)) != protocol::LineReader::Next::More;) {
      std::string answer = next == protocol::LineReader::Next::TooLong ? overlong_answer() : protocol_.answer(line);
      answer.push_back('\n');
      broken = !send_all(socket, answer.data(), answer.size());
    }
    if (broken) break;
  }
  connection.done = true;
}

}  // namespace game
