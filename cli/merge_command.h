// `pathwright merge`, a three-way merge of package files that git runs as a merge driver
// (compare/package_merge.h), and `pathwright resolve`, which settles one conflicting actor or member
// by taking one side's version from the conflicts file the merge kept. The command objects own their
// flags; registered on the application before parsing, run after it.
#ifndef PATHWRIGHT_CLI_MERGE_COMMAND_H_
#define PATHWRIGHT_CLI_MERGE_COMMAND_H_

#include <CLI/CLI.hpp>
#include <cstddef>
#include <string>

namespace host::cli {

// The file beside a merged package that keeps each conflict's base, ours and theirs: PACKAGE.conflicts.
// Never a package to the store, which takes only NAME.json.
std::string conflicts_path(const std::string& package_path);

class MergeCommand {
 public:
  static constexpr int kExitClean = 0;     // merged; OUT holds the result
  static constexpr int kExitConflict = 1;  // OUT holds ours for each conflict; the conflicts file the rest
  static constexpr int kExitTrouble = 2;   // an input missing or not a package, OUT not writable: nothing written

  explicit MergeCommand(CLI::App& app);
  bool parsed() const { return command_->parsed(); }
  int run() const;

 private:
  CLI::App* command_;
  std::string base_, ours_, theirs_, out_, name_;
};

class ResolveCommand {
 public:
  static constexpr int kExitDone = 0;
  static constexpr int kExitTrouble = 2;

  explicit ResolveCommand(CLI::App& app);
  bool parsed() const { return command_->parsed(); }
  int run() const;

 private:
  CLI::App* command_;
  std::string package_, conflicts_, id_, member_, take_;
  std::size_t occurrence_ = 0;
};

}  // namespace host::cli

#endif  // PATHWRIGHT_CLI_MERGE_COMMAND_H_
