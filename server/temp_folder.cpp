#include "server/temp_folder.h"

#include <stdlib.h>

#include <filesystem>
#include <system_error>
#include <vector>

namespace host::server {

namespace fs = std::filesystem;

std::unique_ptr<TempFolder> TempFolder::copy_of(const std::string& source, std::string& error) {
  std::error_code ec;
  if (!fs::is_directory(source, ec)) {
    error = "the folder \"" + source + "\" does not exist";
    return nullptr;
  }
  std::string pattern = (fs::temp_directory_path(ec) / "pathwright-XXXXXX").string();
  std::vector<char> name(pattern.begin(), pattern.end());
  name.push_back('\0');
  if (::mkdtemp(name.data()) == nullptr) {
    error = "cannot make a temporary folder in \"" + fs::temp_directory_path(ec).string() + "\"";
    return nullptr;
  }
  std::unique_ptr<TempFolder> folder(new TempFolder(name.data()));
  fs::copy(source, folder->path_, fs::copy_options::recursive, ec);
  if (ec) {
    error = "cannot copy \"" + source + "\": " + ec.message();
    return nullptr;  // the destructor removes the partial copy
  }
  return folder;
}

TempFolder::~TempFolder() {
  std::error_code ec;
  fs::remove_all(path_, ec);  // best effort: nothing useful to do when it fails at exit
}

}  // namespace host::server
