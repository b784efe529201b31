// A private copy of a folder under the system's temporary folder, removed with everything in it when the
// object goes: the store that `--demo` and the tour work on, so the examples stay untouched. Owned by
// one front end; not for use from several threads.
#ifndef PATHWRIGHT_SERVER_TEMP_FOLDER_H_
#define PATHWRIGHT_SERVER_TEMP_FOLDER_H_

#include <memory>
#include <string>

namespace host::server {

class TempFolder {
 public:
  // Copies the files and folders of `source` into a new folder. On null, `error` says why and nothing
  // is left behind.
  static std::unique_ptr<TempFolder> copy_of(const std::string& source, std::string& error);

  ~TempFolder();
  TempFolder(const TempFolder&) = delete;
  TempFolder& operator=(const TempFolder&) = delete;

  const std::string& path() const { return path_; }

 private:
  explicit TempFolder(std::string path) : path_(std::move(path)) {}
  std::string path_;
};

}  // namespace host::server

#endif  // PATHWRIGHT_SERVER_TEMP_FOLDER_H_
