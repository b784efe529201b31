// Name rules for packages. ASCII only, so that a name means the same file on every file system.
#include "store/package_name.h"

#include <cstring>

namespace host::store {

bool is_package_name(const std::string& name) {
  if (name.empty() || name.size() > kMaxPackageNameChars || name[0] == '.') return false;
  for (char c : name) {
    bool ok =
        (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_' || c == '-' || c == '.';
    if (!ok) return false;
  }
  return true;
}

std::string package_name_of_file(const std::string& file_name) {
  const std::size_t suffix = std::strlen(kPackageFileSuffix);
  if (file_name.size() <= suffix || file_name.compare(file_name.size() - suffix, suffix, kPackageFileSuffix) != 0)
    return "";
  std::string name = file_name.substr(0, file_name.size() - suffix);
  return is_package_name(name) ? name : "";
}

}  // namespace host::store
