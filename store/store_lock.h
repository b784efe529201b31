// The one-writer lock of a store: an advisory lock (flock) on .pathwright/lock, held by the process that
// edits the store and released by the kernel when that process ends however it ends, so there is never a
// stale lock to clean by hand. The file records who holds it ("PID COMMAND") for messages. A StoreLock
// owns its descriptor; used by one thread.
#ifndef PATHWRIGHT_STORE_STORE_LOCK_H_
#define PATHWRIGHT_STORE_STORE_LOCK_H_

#include <memory>
#include <string>

namespace host::store {

constexpr const char* kLockFileName = "lock";  // inside the store's .pathwright folder

class StoreLock {
 public:
  // Takes the lock of the store folder `store_dir`, waiting up to `wait_seconds` (0: only try once) for
  // another process to let go. On null, `error` says why; when another process holds the lock it names
  // that process ("process 1234 (pathwright serve ...)"), and `held` is set.
  static std::unique_ptr<StoreLock> take(const std::string& store_dir, double wait_seconds, bool& held,
                                         std::string& error);
  StoreLock(const StoreLock&) = delete;
  StoreLock& operator=(const StoreLock&) = delete;
  ~StoreLock();

  // Who holds the lock of `store_dir` as its file says ("process PID (COMMAND)"), or "" when unknown.
  static std::string holder(const std::string& store_dir);

 private:
  explicit StoreLock(int fd) : fd_(fd) {}
  int fd_;
};

}  // namespace host::store

#endif  // PATHWRIGHT_STORE_STORE_LOCK_H_
