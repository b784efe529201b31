// Which names may name a package: the file NAME.json in the store folder. The rules keep every name inside
// the folder (no separators, no leading dot, so no "..") and out of the editor's own ".pathwright" folder.
// Pure functions, safe from any thread.
#ifndef PATHWRIGHT_STORE_PACKAGE_NAME_H_
#define PATHWRIGHT_STORE_PACKAGE_NAME_H_

#include <cstddef>
#include <string>

namespace host::store {

constexpr std::size_t kMaxPackageNameChars = 100;  // characters
constexpr const char* kPackageFileSuffix = ".json";

// Why a name was refused, as messages say it.
constexpr const char* kPackageNameRule = "a package name is 1 to 100 letters, digits, _, - and ., not starting with .";

// True when `name` is 1 to 100 letters, digits, '_', '-' and '.', not starting with '.'.
bool is_package_name(const std::string& name);

// The package name of a folder entry "NAME.json", or "" when the entry is not a package file.
std::string package_name_of_file(const std::string& file_name);

}  // namespace host::store

#endif  // PATHWRIGHT_STORE_PACKAGE_NAME_H_
