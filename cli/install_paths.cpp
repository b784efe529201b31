#include "cli/install_paths.h"

#include <filesystem>
#include <system_error>

namespace host::cli {
namespace {

// PREFIX/bin of the running executable; empty when its own path cannot be read.
std::filesystem::path program_folder() {
  std::error_code failed;
  const std::filesystem::path self = std::filesystem::read_symlink("/proc/self/exe", failed);
  if (failed || self.empty()) return {};
  return self.parent_path();
}

}  // namespace

std::string shared_data_dir() {
  const std::filesystem::path bin = program_folder();
  return bin.empty() ? "" : (bin.parent_path() / "share" / "pathwright").string();
}

std::string shared_data_path(const std::string& name) {
  const std::string dir = shared_data_dir();
  return dir.empty() ? "" : dir + "/" + name;
}

std::string program_path(const std::string& name) {
  const std::filesystem::path bin = program_folder();
  return bin.empty() ? "" : (bin / name).string();
}

}  // namespace host::cli
