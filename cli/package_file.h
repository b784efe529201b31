// Package files for `diff`, `merge` and `resolve`, which work on files wherever they lie (git hands a
// merge driver temporary files) rather than through a store: reading one with the parser's line and
// column on a fault, and writing one exactly as the store prints a package. One thread.
#ifndef PATHWRIGHT_CLI_PACKAGE_FILE_H_
#define PATHWRIGHT_CLI_PACKAGE_FILE_H_

#include <string>

#include "json/value.h"

namespace host::cli {

// Reads the package at `path`. On false `error` says why, naming the file: `PATH: line L, column C:
// REASON`, `PATH: cannot be read: REASON` or `PATH: not a package: ...`; `document` is unspecified.
bool read_package_file(const std::string& path, mods::json::Value& document, std::string& error);

// Writes `document` to `path` in the store's own layout (json_text's Indented print): a temporary beside
// it, flushed, then renamed over it, keeping the permission bits of a file already there. On false
// `error` says why and `path` is as it was.
bool write_package_file(const std::string& path, const mods::json::Value& document, std::string& error);

}  // namespace host::cli

#endif  // PATHWRIGHT_CLI_PACKAGE_FILE_H_
