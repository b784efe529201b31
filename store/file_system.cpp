// POSIX implementation of the store's file operations. Every descriptor is owned by a `Descriptor`, so no
// path leaks one, and every write loops over short writes and EINTR.
#include "store/file_system.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cctype>
#include <cerrno>
#include <cstdlib>
#include <cstring>

namespace host::store {
namespace {

class Descriptor {
 public:
  explicit Descriptor(int fd) : fd_(fd) {}
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  ~Descriptor() { close_now(); }
  int get() const { return fd_; }
  bool valid() const { return fd_ >= 0; }
  // Closes now and answers the errno of a failed close (0 when it closed cleanly).
  int close_now() {
    if (fd_ < 0) return 0;
    int result = ::close(fd_) == 0 ? 0 : errno;
    fd_ = -1;
    return result;
  }

 private:
  int fd_;
};

FileIdentity identity_of(const struct stat& st) {
  FileIdentity id;
  id.device = static_cast<std::uint64_t>(st.st_dev);
  id.inode = static_cast<std::uint64_t>(st.st_ino);
  id.size = static_cast<std::uint64_t>(st.st_size);
  id.modified_ns = static_cast<std::int64_t>(st.st_mtim.tv_sec) * 1000000000LL + st.st_mtim.tv_nsec;
  id.status_changed_ns = static_cast<std::int64_t>(st.st_ctim.tv_sec) * 1000000000LL + st.st_ctim.tv_nsec;
  id.regular = S_ISREG(st.st_mode);
  id.folder = S_ISDIR(st.st_mode);
  id.permissions = static_cast<unsigned>(st.st_mode & 07777);
  return id;
}

int write_all(int fd, std::string_view bytes) {
  while (!bytes.empty()) {
    ssize_t n = ::write(fd, bytes.data(), bytes.size());
    if (n < 0) {
      if (errno == EINTR) continue;
      return errno;
    }
    bytes.remove_prefix(static_cast<std::size_t>(n));
  }
  return 0;
}

int sync_descriptor(int fd) { return ::fsync(fd) == 0 ? 0 : errno; }

class PosixAppendFile : public AppendFile {
 public:
  explicit PosixAppendFile(int fd) : fd_(fd) {}
  int append(std::string_view bytes) override {
    if (int code = write_all(fd_.get(), bytes)) return code;
    return sync_descriptor(fd_.get());
  }
  int truncate(std::uint64_t size) override {
    if (::ftruncate(fd_.get(), static_cast<off_t>(size)) != 0) return errno;
    return sync_descriptor(fd_.get());
  }

 private:
  Descriptor fd_;
};

class PosixStartedFile : public StartedFile {
 public:
  explicit PosixStartedFile(int fd) : fd_(fd) {}
  int finish() override {
    const int code = sync_descriptor(fd_.get());
    const int closed = fd_.close_now();
    return code != 0 ? code : closed;
  }

 private:
  Descriptor fd_;
};

class PosixHeldFile : public HeldFile {
 public:
  explicit PosixHeldFile(int fd) : fd_(fd) {}

 private:
  Descriptor fd_;
};

}  // namespace

std::string error_text(int code) {
  std::string text = std::strerror(code);
  for (char& c : text) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return text;
}

std::string read_error_text(int code) {
  switch (code) {
    case EISDIR: return "it is a folder, not a regular file";
    case ESPIPE: return "it is a pipe or socket, not a regular file";
    case ENODEV: return "it is a device, not a regular file";
    case EFBIG: return "it is larger than " + std::to_string(kMaxReadBytes >> 20) + " MiB";
    default: return error_text(code);
  }
}

int PosixFileSystem::read_file(const std::string& path, std::string& bytes, FileIdentity& identity) {
  // O_NONBLOCK: opening a pipe with no writer must not wait; the kind is checked on the opened file.
  Descriptor fd(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  if (!fd.valid()) return errno;
  struct stat st;
  if (::fstat(fd.get(), &st) != 0) return errno;
  if (S_ISDIR(st.st_mode)) return EISDIR;
  if (S_ISFIFO(st.st_mode) || S_ISSOCK(st.st_mode)) return ESPIPE;
  if (!S_ISREG(st.st_mode)) return ENODEV;
  if (static_cast<std::uint64_t>(st.st_size) > kMaxReadBytes) return EFBIG;
  identity = identity_of(st);
  bytes.clear();
  bytes.reserve(static_cast<std::size_t>(st.st_size));
  char buffer[1 << 16];
  for (;;) {
    ssize_t n = ::read(fd.get(), buffer, sizeof buffer);
    if (n < 0) {
      if (errno == EINTR) continue;
      return errno;
    }
    if (n == 0) break;
    if (bytes.size() + static_cast<std::size_t>(n) > kMaxReadBytes) return EFBIG;  // grew while read
    bytes.append(buffer, static_cast<std::size_t>(n));
  }
  return 0;
}

int PosixFileSystem::resolve_links(const std::string& path, std::string& target) {
  std::unique_ptr<char, void (*)(void*)> resolved(::realpath(path.c_str(), nullptr), &std::free);
  if (!resolved) return errno;
  target = resolved.get();
  return 0;
}

int PosixFileSystem::identify(const std::string& path, FileIdentity& identity) {
  struct stat st;
  if (::stat(path.c_str(), &st) != 0) return errno;
  identity = identity_of(st);
  return 0;
}

int PosixFileSystem::list_folder(const std::string& path, std::vector<std::string>& names) {
  std::unique_ptr<DIR, int (*)(DIR*)> dir(::opendir(path.c_str()), &::closedir);
  if (!dir) return errno;
  names.clear();
  errno = 0;
  while (const dirent* entry = ::readdir(dir.get())) {
    std::string name = entry->d_name;
    if (name != "." && name != "..") names.push_back(std::move(name));
    errno = 0;
  }
  return errno;
}

int PosixFileSystem::make_folder(const std::string& path) {
  if (::mkdir(path.c_str(), 0755) == 0) return 0;
  int code = errno;
  struct stat st;
  if (code == EEXIST && ::stat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode)) return 0;
  return code;
}

// Starting the writeback (Linux) allocates the file's blocks now, in the file system's running
// transaction, rather than inside the later fsync: a flush of another file in between then commits both.
// Elsewhere the finish's fsync does it all.
int PosixFileSystem::start_temporary(const std::string& folder, const std::string& prefix, std::string_view bytes,
                                     unsigned mode, std::string& temporary, std::unique_ptr<StartedFile>& file) {
  std::string pattern = folder + "/" + prefix + "XXXXXX";
  const int fd = ::mkostemp(pattern.data(), O_CLOEXEC);
  if (fd < 0) return errno;
  auto started = std::make_unique<PosixStartedFile>(fd);
  int code = ::fchmod(fd, static_cast<mode_t>(mode)) == 0 ? 0 : errno;
  if (code == 0) code = write_all(fd, bytes);
#ifdef SYNC_FILE_RANGE_WRITE
  if (code == 0) ::sync_file_range(fd, 0, 0, SYNC_FILE_RANGE_WRITE);  // a hint: the finish reports failures
#endif
  if (code != 0) {
    ::unlink(pattern.c_str());
    return code;
  }
  temporary = pattern;
  file = std::move(started);
  return 0;
}

int PosixFileSystem::rename(const std::string& from, const std::string& to) {
  return ::rename(from.c_str(), to.c_str()) == 0 ? 0 : errno;
}

int PosixFileSystem::hold(const std::string& path, std::unique_ptr<HeldFile>& held) {
  int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
  if (fd < 0) return errno;
  held = std::make_unique<PosixHeldFile>(fd);
  return 0;
}

int PosixFileSystem::sync_folder(const std::string& path) {
  Descriptor fd(::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!fd.valid()) return errno;
  return sync_descriptor(fd.get());
}

int PosixFileSystem::remove(const std::string& path) { return ::unlink(path.c_str()) == 0 ? 0 : errno; }

int PosixFileSystem::open_append(const std::string& path, std::unique_ptr<AppendFile>& file) {
  int fd = ::open(path.c_str(), O_WRONLY | O_APPEND | O_CLOEXEC);
  if (fd < 0) return errno;
  file = std::make_unique<PosixAppendFile>(fd);
  return 0;
}

}  // namespace host::store
