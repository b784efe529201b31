#include "server/store_socket.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstring>

#include "protocol/line_reader.h"
#include "store/package_store.h"
#include "store/store_lock.h"

namespace host::server {

using store::kJournalFolderName;
using store::StoreLock;

namespace {

constexpr const char* kSocketName = "socket";                // inside the store's .pathwright folder
constexpr std::size_t kLongestLine = std::size_t{16} << 20;  // bytes of one request or answer line
constexpr int kClientIdleMs = 5000;            // a connected client that sends nothing for this long is dropped
constexpr double kLeastAnswerWaitSeconds = 1;  // s; `--lock-wait 0` still lets a running holder answer

std::string reason() { return std::strerror(errno); }

// The socket's address through the open folder, so that a store in a deep folder still fits the
// 108 bytes an address may hold.
bool address_of(int folder, sockaddr_un& address) {
  std::memset(&address, 0, sizeof address);
  address.sun_family = AF_UNIX;
  const std::string path = "/proc/self/fd/" + std::to_string(folder) + "/" + kSocketName;
  if (path.size() >= sizeof address.sun_path) return false;
  std::memcpy(address.sun_path, path.c_str(), path.size());
  return true;
}

int open_folder(const std::string& store_dir) {
  const std::string folder = store_dir + "/" + kJournalFolderName;
  return ::open(folder.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC);
}

bool write_all(int fd, const std::string& text) {
  std::size_t done = 0;
  while (done < text.size()) {
    ssize_t n = ::send(fd, text.data() + done, text.size() - done, MSG_NOSIGNAL);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) return false;
    done += static_cast<std::size_t>(n);
  }
  return true;
}

using Deadline = std::chrono::steady_clock::time_point;

// Reads up to the next newline into `line` (without it), waiting at most `wait_ms` for each piece and
// never past `deadline`. False at the end of input, on a timeout or an over-long line; `reader` keeps
// what follows the line.
bool read_line(int fd, protocol::LineReader& reader, std::string& line, int wait_ms,
               Deadline deadline = Deadline::max()) {
  constexpr std::size_t kReadBytes = 65536;  // bytes asked of the socket at a time
  for (;;) {
    std::string_view next;
    const protocol::LineReader::Next found = reader.next(next);
    if (found == protocol::LineReader::Next::Line) {
      line.assign(next);
      return true;
    }
    if (found == protocol::LineReader::Next::TooLong) return false;
    pollfd in{fd, POLLIN, 0};
    if (deadline != Deadline::max()) {
      const auto left =
          std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
      wait_ms = static_cast<int>(std::clamp<std::int64_t>(left.count(), 0, wait_ms));
    }
    const int ready = ::poll(&in, 1, wait_ms);
    if (ready < 0 && errno == EINTR) continue;
    if (ready <= 0) return false;
    const ssize_t n = ::read(fd, reader.room(kReadBytes), kReadBytes);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) return false;
    reader.received(static_cast<std::size_t>(n));
  }
}

}  // namespace

std::unique_ptr<StoreSocketListener> StoreSocketListener::start(const std::string& store_dir, MethodRunner runner,
                                                                std::string& error) {
  std::unique_ptr<StoreSocketListener> self(new StoreSocketListener());
  self->server_ = std::make_unique<JsonRpcServer>(std::move(runner));
  self->folder_ = open_folder(store_dir);
  sockaddr_un address;
  if (self->folder_ < 0 || !address_of(self->folder_, address)) {
    error = "cannot open the store's folder " + store_dir + "/" + kJournalFolderName + ": " + reason();
    return nullptr;
  }
  ::unlinkat(self->folder_, kSocketName, 0);  // left by a process that died: we hold the lock now
  self->listener_ = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (self->listener_ < 0 || ::bind(self->listener_, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 ||
      ::fchmodat(self->folder_, kSocketName, S_IRUSR | S_IWUSR, 0) != 0 || ::listen(self->listener_, 16) != 0 ||
      ::pipe2(self->wake_, O_CLOEXEC) != 0) {
    error = "cannot listen on the store's socket: " + reason();
    return nullptr;
  }
  self->thread_ = std::thread([raw = self.get()] { raw->serve(); });
  return self;
}

StoreSocketListener::~StoreSocketListener() {
  if (thread_.joinable()) {
    const char stop = 'x';
    (void)!::write(wake_[1], &stop, 1);
    thread_.join();
  }
  if (folder_ >= 0) ::unlinkat(folder_, kSocketName, 0);
  for (int fd : {listener_, wake_[0], wake_[1], folder_}) {
    if (fd >= 0) ::close(fd);
  }
}

void StoreSocketListener::serve() {
  for (;;) {
    pollfd waits[2] = {{listener_, POLLIN, 0}, {wake_[0], POLLIN, 0}};
    if (::poll(waits, 2, -1) < 0) {
      if (errno == EINTR) continue;
      return;
    }
    if (waits[1].revents != 0) return;
    const int connection = ::accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
    if (connection < 0) continue;
    answer_connection(connection);
    ::close(connection);
  }
}

// One client at a time: each line it sends is answered in turn until it closes or goes quiet.
void StoreSocketListener::answer_connection(int connection) {
  protocol::LineReader reader(kLongestLine);
  std::string line;
  while (read_line(connection, reader, line, kClientIdleMs)) {
    const std::string answer = server_->answer_line(line);
    if (!answer.empty() && !write_all(connection, answer + "\n")) return;
  }
}

Forwarded forward_call(const std::string& store_dir, const std::string& line, double wait_seconds, std::string& answer,
                       std::string& error) {
  wait_seconds = std::max(wait_seconds, kLeastAnswerWaitSeconds);
  const auto wait = std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::duration<double>(wait_seconds));
  const Deadline deadline = std::chrono::steady_clock::now() + wait;
  const int folder = open_folder(store_dir);
  if (folder < 0) return Forwarded::NoListener;
  sockaddr_un address;
  const int fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  // A holder that does not accept (stopped, or its queue full) makes connect and send wait: bounded too.
  timeval bound{.tv_sec = static_cast<time_t>(wait.count() / 1000),
                .tv_usec = static_cast<suseconds_t>(wait.count() % 1000 * 1000)};
  const bool connected = fd >= 0 && address_of(folder, address) &&
                         ::setsockopt(fd, SOL_SOCKET, SO_SNDTIMEO, &bound, sizeof bound) == 0 &&
                         ::connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0;
  const int refused = errno;
  ::close(folder);
  if (!connected) {
    if (fd >= 0) ::close(fd);
    if (refused != EAGAIN && refused != EINPROGRESS) return Forwarded::NoListener;
  }
  protocol::LineReader reader(kLongestLine);
  if (!connected || !write_all(fd, line + "\n") ||
      !read_line(fd, reader, answer, static_cast<int>(wait.count()), deadline)) {
    const std::string holder = StoreLock::holder(store_dir);
    char seconds[32];
    std::snprintf(seconds, sizeof seconds, "%g", wait_seconds);
    error = "the " + (holder.empty() ? std::string("process") : holder) + " that holds the store \"" + store_dir +
            "\" did not answer within " + seconds + " s (--lock-wait); the command was " +
            (connected ? "sent, so it may still make the change when it answers" : "not sent") +
            ": see `pathwright call --store " + store_dir + " history`";
    if (connected) ::close(fd);
    return Forwarded::Failed;
  }
  ::close(fd);
  return Forwarded::Answered;
}

}  // namespace host::server
