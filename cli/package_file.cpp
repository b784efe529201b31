#include "cli/package_file.h"

#include <memory>

#include "compare/package_diff.h"
#include "json_text/json_text.h"
#include "store/file_system.h"

namespace host::cli {

using store::error_text;
using store::FileIdentity;
using store::PosixFileSystem;
using store::read_error_text;
using store::StartedFile;

bool read_package_file(const std::string& path, mods::json::Value& document, std::string& error) {
  PosixFileSystem files;
  std::string text;
  FileIdentity identity;
  if (const int code = files.read_file(path, text, identity); code != 0) {
    error = path + ": cannot be read: " + read_error_text(code);
    return false;
  }
  json_text::JsonTextError fault;
  if (!json_text::parse_json(text, document, fault)) {
    error = path + ": " + fault.message();
    return false;
  }
  std::string problem;
  if (!compare::is_package(document, problem)) {
    error = path + ": " + problem;
    return false;
  }
  return true;
}

bool write_package_file(const std::string& path, const mods::json::Value& document, std::string& error) {
  constexpr unsigned kNewFileMode = 0644;  // permission bits of a file that did not exist
  std::string text;
  if (!json_text::print_json(document, json_text::JsonLayout::Indented, text, error)) {
    error = path + ": cannot be written: " + error;
    return false;
  }
  PosixFileSystem files;
  FileIdentity identity;
  const unsigned mode = files.identify(path, identity) == 0 ? identity.permissions : kNewFileMode;
  const std::size_t slash = path.rfind('/');
  const std::string folder = slash == std::string::npos ? "." : path.substr(0, slash == 0 ? 1 : slash);
  const std::string name = slash == std::string::npos ? path : path.substr(slash + 1);
  std::string temporary;
  std::unique_ptr<StartedFile> started;
  int code = files.start_temporary(folder, name + ".tmp-", text, mode, temporary, started);
  if (code == 0) code = started->finish();
  if (code == 0) code = files.rename(temporary, path);
  if (code != 0) {
    if (!temporary.empty()) files.remove(temporary);
    error = path + ": cannot be written: " + error_text(code);
    return false;
  }
  return true;
}

}  // namespace host::cli
