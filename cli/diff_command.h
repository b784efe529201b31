// `pathwright diff`: what changed between two versions of a package, by actor and route
// (compare/package_diff.h), as lines or JSON; with --git, git's external diff (its seven arguments).
// The command object owns its flags; registered on the application before parsing, run after it.
#ifndef PATHWRIGHT_CLI_DIFF_COMMAND_H_
#define PATHWRIGHT_CLI_DIFF_COMMAND_H_

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

namespace host::cli {

class DiffCommand {
 public:
  static constexpr int kExitSame = 0;       // no difference (and, with --git, whatever was printed)
  static constexpr int kExitDifferent = 1;  // differences printed
  static constexpr int kExitTrouble = 2;    // a file missing or not a package, bad usage

  explicit DiffCommand(CLI::App& app);

  bool parsed() const { return command_->parsed(); }
  // The changes on standard output, trouble on standard error. Answers the exit status.
  int run() const;

 private:
  int run_git() const;

  CLI::App* command_;
  std::vector<std::string> files_;
  std::string format_ = "text";
  bool git_ = false;
};

}  // namespace host::cli

#endif  // PATHWRIGHT_CLI_DIFF_COMMAND_H_
