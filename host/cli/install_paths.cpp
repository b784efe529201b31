#include "host/cli/install_paths.h"

#include <filesystem>
#include <system_error>

namespace host {

std::string shared_data_dir() {
  std::error_code failed;
  const std::filesystem::path self = std::filesystem::read_symlink("/proc/self/exe", failed);
  if (failed || self.empty()) return "";
  return (self.parent_path().parent_path() / "share" / "pathwright").string();
}

std::string shared_data_path(const std::string& name) {
  const std::string dir = shared_data_dir();
  return dir.empty() ? "" : dir + "/" + name;
}

}  // namespace host
