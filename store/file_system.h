// The few file operations the package store needs, behind an interface so that tests can make any one of
// them fail on demand (root ignores permissions, so a read-only folder proves nothing). `PosixFileSystem`
// is the real one. A FileSystem keeps no state of its own; an AppendFile owns its descriptor and is used by
// one thread at a time.
#ifndef PATHWRIGHT_STORE_FILE_SYSTEM_H_
#define PATHWRIGHT_STORE_FILE_SYSTEM_H_

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace host::store {

// What tells one version of a file from another without reading it: a file rewritten in place changes its
// size or modification time, a file replaced by a rename changes its inode, and a modification time set
// back by hand still moves the status change time, which no one can set.
struct FileIdentity {
  std::uint64_t device = 0;
  std::uint64_t inode = 0;
  std::uint64_t size = 0;
  std::int64_t modified_ns = 0;
  std::int64_t status_changed_ns = 0;
  bool regular = false;
  bool folder = false;
  unsigned permissions = 0644;  // kept when the file is replaced; not part of the version
  friend bool operator==(const FileIdentity& a, const FileIdentity& b) {
    return a.device == b.device && a.inode == b.inode && a.size == b.size && a.modified_ns == b.modified_ns &&
           a.status_changed_ns == b.status_changed_ns;
  }
};

// A file that only grows, each append flushed to the disk before it answers.
class AppendFile {
 public:
  virtual ~AppendFile() = default;
  // Writes `bytes` at the end and waits until the disk holds them. 0 on success; otherwise the errno that
  // failed, and how much of `bytes` reached the file is unknown (the caller truncates before going on).
  // A failed flush is never retried: the kernel may have dropped the pages it could not write.
  virtual int append(std::string_view bytes) = 0;
  // Cuts the file to `size` bytes and flushes that. 0 on success, else the errno.
  virtual int truncate(std::uint64_t size) = 0;
};

// A file kept open only so that it outlives its name: a rename over it leaves its content allocated until
// this is destroyed, whose close then frees it (a few ms for 20 MB of pages and blocks). Any thread may
// destroy it.
class HeldFile {
 public:
  virtual ~HeldFile() = default;
};

// A new file whose bytes are written and on their way to the disk, not yet known to be there. Closed when
// destroyed; used by one thread at a time.
class StartedFile {
 public:
  virtual ~StartedFile() = default;
  // Waits until the disk holds the file, then closes it. 0 on success, else the errno (never retried).
  virtual int finish() = 0;
};

// Every operation answers 0 on success or the errno that made it fail; outputs are meaningful only on 0.
class FileSystem {
 public:
  virtual ~FileSystem() = default;
  // The whole content of `path` and the identity of the version read. Only a regular file (after
  // following links) up to kMaxReadBytes is read, and opening never blocks: a folder answers EISDIR, a
  // pipe or socket ESPIPE, a device ENODEV, a larger file EFBIG (see read_error_text).
  virtual int read_file(const std::string& path, std::string& bytes, FileIdentity& identity) = 0;
  // The identity of `path` as it stands (stat, following links).
  virtual int identify(const std::string& path, FileIdentity& identity) = 0;
  // The names of the entries of folder `path` (without "." and ".."), in no particular order.
  virtual int list_folder(const std::string& path, std::vector<std::string>& names) = 0;
  // Creates folder `path`; an existing folder counts as success.
  virtual int make_folder(const std::string& path) = 0;
  // Creates a new file in `folder` named `prefix` plus a unique suffix, with permission bits `mode`, holding
  // `bytes`, and starts writing it to the disk without waiting (`file->finish()` waits); `temporary` is its
  // path. The blocks it takes are then chosen, so a flush of another file before the finish commits them
  // together. On failure nothing is left behind.
  virtual int start_temporary(const std::string& folder, const std::string& prefix, std::string_view bytes,
                              unsigned mode, std::string& temporary, std::unique_ptr<StartedFile>& file) = 0;
  // Replaces `to` by `from` atomically.
  virtual int rename(const std::string& from, const std::string& to) = 0;
  // Opens `path` (following links; never waiting, as read_file) and keeps it open in `held`.
  virtual int hold(const std::string& path, std::unique_ptr<HeldFile>& held) = 0;
  // Flushes folder `path` itself, so that renames and new entries in it survive a power cut.
  virtual int sync_folder(const std::string& path) = 0;
  virtual int remove(const std::string& path) = 0;
  // Opens `path` (which must exist) for appending.
  virtual int open_append(const std::string& path, std::unique_ptr<AppendFile>& file) = 0;
  // The file `path` names once every symbolic link is followed (the path itself when it is no link).
  virtual int resolve_links(const std::string& path, std::string& target) = 0;
};

// The real file system through POSIX calls.
class PosixFileSystem : public FileSystem {
 public:
  int read_file(const std::string& path, std::string& bytes, FileIdentity& identity) override;
  int identify(const std::string& path, FileIdentity& identity) override;
  int list_folder(const std::string& path, std::vector<std::string>& names) override;
  int make_folder(const std::string& path) override;
  int start_temporary(const std::string& folder, const std::string& prefix, std::string_view bytes, unsigned mode,
                      std::string& temporary, std::unique_ptr<StartedFile>& file) override;
  int rename(const std::string& from, const std::string& to) override;
  int hold(const std::string& path, std::unique_ptr<HeldFile>& held) override;
  int sync_folder(const std::string& path) override;
  int remove(const std::string& path) override;
  int open_append(const std::string& path, std::unique_ptr<AppendFile>& file) override;
  int resolve_links(const std::string& path, std::string& target) override;
};

// strerror(code) in lower case, as the store's messages quote it.
std::string error_text(int code);

// The largest file read_file reads (bytes): package files and journals are far smaller.
constexpr std::uint64_t kMaxReadBytes = std::uint64_t{256} << 20;  // 256 MiB

// error_text for a code of read_file, saying what the path is when it is not a regular file.
std::string read_error_text(int code);

}  // namespace host::store

#endif  // PATHWRIGHT_STORE_FILE_SYSTEM_H_
