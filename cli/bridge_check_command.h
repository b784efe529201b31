// `pathwright bridge-check HOST:PORT`: runs the game link's conformance cases against a running bridge
// and prints one line per case, a latency report and a summary, or the same as JSON. The command object
// owns its flags; registered on the application before parsing, run after it.
#ifndef PATHWRIGHT_CLI_BRIDGE_CHECK_COMMAND_H_
#define PATHWRIGHT_CLI_BRIDGE_CHECK_COMMAND_H_

#include <CLI/CLI.hpp>
#include <string>

namespace host::cli {

class BridgeCheckCommand {
 public:
  static constexpr int kExitPassed = 0;       // every case passed (skipped cases aside)
  static constexpr int kExitFailed = 1;       // a case failed
  static constexpr int kExitUnreachable = 2;  // no connection, or no greeting

  explicit BridgeCheckCommand(CLI::App& app);

  bool parsed() const { return command_->parsed(); }
  // Runs the cases: the report on standard output, a bad address on standard error. Answers the exit
  // status.
  int run() const;

 private:
  CLI::App* command_;
  std::string address_;
  double timeout_seconds_ = 10.0;
  bool no_latency_ = false;
  std::string format_ = "text";
};

}  // namespace host::cli

#endif  // PATHWRIGHT_CLI_BRIDGE_CHECK_COMMAND_H_
