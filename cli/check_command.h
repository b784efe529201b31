// `pathwright check`: checks whole packages (findings and every walking route against the ground of
// the game, the simulated island or an OBJ mesh) and prints a report to read like a compiler's, or JSON.
// The command object owns its flags; registered on the application before parsing, run after it.
#ifndef PATHWRIGHT_CLI_CHECK_COMMAND_H_
#define PATHWRIGHT_CLI_CHECK_COMMAND_H_

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

#include "json/value.h"

namespace host::cli {

class CheckCommand {
 public:
  static constexpr int kExitPassed = 0;     // every route walkable, no error finding
  static constexpr int kExitFailed = 1;     // a route with a problem, or an error finding
  static constexpr int kExitCannotRun = 2;  // no package, no ground source, bad flags

  // Adds the "check" subcommand to `app`; `examples` is the folder holding the demo store.
  CheckCommand(CLI::App& app, const std::string& examples);

  bool parsed() const { return command_->parsed(); }
  // Runs the check the flags describe: the report on standard output, problems that stop it on
  // standard error. Answers the exit status.
  int run() const;

 private:
  // Says why the check cannot run (and, for --format json, prints {"error": text}); answers kExitCannotRun.
  int cannot_run(const std::string& error) const;
  // Prints `answer` as indented JSON on standard output; false after saying on standard error why not.
  bool print(const mods::json::Value& answer) const;

  CLI::App* command_;
  std::string store_;
  std::vector<std::string> packages_;
  std::string game_;
  bool demo_ = false;
  std::string world_;
  std::string format_ = "text";
  double seconds_ = 600;  // --seconds: the horizon of the meetings [game seconds]
  std::string examples_;
};

}  // namespace host::cli

#endif  // PATHWRIGHT_CLI_CHECK_COMMAND_H_
