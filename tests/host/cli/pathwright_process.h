// The real `pathwright` binary run as a child process, for end-to-end tests: `serve` with pipes to its
// standard input and output (one JSON-RPC message per line), and one-shot runs that capture everything.
// Each object owns its child and reaps it; used by one test thread.
#ifndef PATHWRIGHT_TESTS_HOST_CLI_PATHWRIGHT_PROCESS_H_
#define PATHWRIGHT_TESTS_HOST_CLI_PATHWRIGHT_PROCESS_H_

#include <sys/types.h>

#include <string>
#include <vector>

#include "json/value.h"

namespace host::testing {

constexpr int kAnswerWaitMs = 20000;  // ms; generous, for the sanitizer build on a busy machine

// What a finished run left behind.
struct RunResult {
  int exit_status = -1;  // the exit code, or -1 when the process died of a signal
  std::string out;
  std::string err;
};

// Runs `pathwright ARGS...` to the end with `input` on its standard input.
RunResult run_pathwright(const std::vector<std::string>& args, const std::string& input = "");

class ServeProcess {
 public:
  // Starts `pathwright serve ARGS...`; its standard error goes to the file `stderr_path`.
  ServeProcess(const std::vector<std::string>& args, const std::string& stderr_path);
  ~ServeProcess();
  ServeProcess(const ServeProcess&) = delete;
  ServeProcess& operator=(const ServeProcess&) = delete;

  // Writes `line` and a newline. False when the server's input is closed.
  bool send(const std::string& line);
  // The next line of output. False at end of output, or after `timeout_ms` without one.
  bool read_line(std::string& line, int timeout_ms = kAnswerWaitMs);
  // Sends a request with the next id and answers the parsed answer (null when none came).
  mods::json::Value call(const std::string& method, const mods::json::Value& params);
  // The "result" of `call`, failing the test on an error answer.
  mods::json::Value result(const std::string& method, const mods::json::Value& params);

  // Closes the server's input and waits for it: its exit code.
  int finish();
  // Ends the server at once with SIGKILL and reaps it.
  void kill_now();

 private:
  pid_t pid_ = -1;
  int in_ = -1;
  int out_ = -1;
  std::string pending_;
  double next_id_ = 1;
};

mods::json::Value parse(const std::string& text);
std::string compact(const mods::json::Value& value);

}  // namespace host::testing

#endif  // PATHWRIGHT_TESTS_HOST_CLI_PATHWRIGHT_PROCESS_H_
