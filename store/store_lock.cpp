// The lock file is opened without truncation and rewritten only by the process that has just taken the
// lock, so a waiting process reads the holder's line whole or (in the instant between the two) empty.
#include "store/store_lock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <fstream>
#include <sstream>
#include <thread>

#include "store/file_system.h"
#include "store/package_store.h"

namespace host::store {
namespace {

constexpr std::chrono::milliseconds kRetryEvery{25};  // between tries while another process holds the lock
constexpr std::size_t kMaxCommandChars = 200;         // of the holder's command line kept in the file

std::string lock_path(const std::string& store_dir) {
  return store_dir + "/" + kJournalFolderName + "/" + kLockFileName;
}

// This process's command line, arguments separated by spaces.
std::string own_command() {
  std::ifstream in("/proc/self/cmdline", std::ios::binary);
  std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  while (!text.empty() && text.back() == '\0') text.pop_back();
  for (char& c : text) {
    if (c == '\0' || c == '\n') c = ' ';
  }
  if (text.size() > kMaxCommandChars) text = text.substr(0, kMaxCommandChars) + "...";
  return text;
}

bool record_holder(int fd) {
  const std::string line = std::to_string(::getpid()) + " " + own_command() + "\n";
  if (::ftruncate(fd, 0) != 0) return false;
  return ::pwrite(fd, line.data(), line.size(), 0) == static_cast<ssize_t>(line.size());
}

}  // namespace

std::string StoreLock::holder(const std::string& store_dir) {
  std::ifstream in(lock_path(store_dir));
  std::string pid, command;
  if (!(in >> pid)) return "";
  std::getline(in >> std::ws, command);
  return "process " + pid + (command.empty() ? "" : " (" + command + ")");
}

std::unique_ptr<StoreLock> StoreLock::take(const std::string& store_dir, double wait_seconds, bool& held,
                                           std::string& error) {
  held = false;
  const std::string folder = store_dir + "/" + kJournalFolderName;
  if (::mkdir(folder.c_str(), 0755) != 0 && errno != EEXIST) {
    error = "cannot make \"" + folder + "\": " + error_text(errno);
    return nullptr;
  }
  const std::string path = lock_path(store_dir);
  int fd = ::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0644);
  if (fd < 0) {
    error = "cannot open the store's lock \"" + path + "\": " + error_text(errno);
    return nullptr;
  }
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::duration<double>(wait_seconds);
  while (::flock(fd, LOCK_EX | LOCK_NB) != 0) {
    if (errno == EINTR) continue;
    if (errno != EWOULDBLOCK) {
      error = "cannot lock the store \"" + store_dir + "\": " + error_text(errno);
      ::close(fd);
      return nullptr;
    }
    if (std::chrono::steady_clock::now() >= deadline) {
      held = true;
      std::string who = holder(store_dir);
      std::ostringstream text;
      text << "the store \"" << store_dir << "\" is in use by " << (who.empty() ? "another process" : who);
      if (wait_seconds > 0) text << " (waited " << wait_seconds << " s)";
      error = text.str();
      ::close(fd);
      return nullptr;
    }
    std::this_thread::sleep_for(kRetryEvery);
  }
  record_holder(fd);  // only for messages: a lock without its line still locks
  return std::unique_ptr<StoreLock>(new StoreLock(fd));
}

StoreLock::~StoreLock() { ::close(fd_); }

}  // namespace host::store
