// A child process for the end-to-end tests (`pathwright` or the simulated game): its standard input and
// output are pipes held here, one line a message; its standard error goes to a file, or into the output
// when no file is named. The object owns the child and kills and reaps it when it goes; one thread. The
// tests install no signal handlers, so no system call here is interrupted.
#ifndef PATHWRIGHT_TESTS_CLI_PATHWRIGHT_PROCESS_H_
#define PATHWRIGHT_TESTS_CLI_PATHWRIGHT_PROCESS_H_

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "json/value.h"
#include "json_text/json_text.h"
#include "server/temp_folder.h"
#include "tests/support/json_helpers.h"

namespace host::testing {

using mods::json::Value;

constexpr int kAnswerWaitMs = 20000;  // ms; generous, for the sanitizer build on a busy machine

inline Value parse(const std::string& text) { return support::parsed(text); }

using json_text::compact;

inline std::string file_text(const std::string& path) {
  std::stringstream text;
  text << std::ifstream(path, std::ios::binary).rdbuf();
  return text.str();
}

// A temporary copy of the demo store; null (and a failed expectation) when it cannot be made.
inline std::unique_ptr<server::TempFolder> demo_store() {
  std::string error;
  auto store = server::TempFolder::copy_of(std::string(PATHWRIGHT_EXAMPLES_DIR) + "/windfall", error);
  EXPECT_NE(store, nullptr) << error;
  return store;
}

class Child {
 public:
  Child(const std::string& binary, std::vector<std::string> args, const std::string& stderr_path = "") {
    ::signal(SIGPIPE, SIG_IGN);  // a child that died is a failed expectation, not the end of the tests
    int in[2], out[2];
    if (::pipe2(in, O_CLOEXEC) != 0 || ::pipe2(out, O_CLOEXEC) != 0) throw std::runtime_error("cannot make pipes");
    const int err =
        stderr_path.empty() ? out[1] : ::open(stderr_path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
    args.insert(args.begin(), binary);
    std::vector<char*> argv;
    for (std::string& arg : args) argv.push_back(arg.data());
    argv.push_back(nullptr);
    pid_ = ::fork();
    if (pid_ == 0) {
      ::prctl(PR_SET_PDEATHSIG, SIGKILL);  // dies with the test
      ::dup2(in[0], 0), ::dup2(out[1], 1), ::dup2(err, 2);
      ::execv(argv[0], argv.data());
      ::_exit(127);
    }
    if (err != out[1]) ::close(err);
    ::close(in[0]), ::close(out[1]);
    in_ = in[1], out_ = out[0];
    if (pid_ < 0) throw std::runtime_error("cannot start " + binary);
  }
  ~Child() {
    if (pid_ > 0) kill_now();
    ::close(in_), ::close(out_);
  }
  Child(const Child&) = delete;
  Child& operator=(const Child&) = delete;

  // Writes `line` and a newline. False when the child's input is closed. A blocking pipe write is only
  // cut short by a signal handler, and there are none.
  bool send(const std::string& line) {
    const std::string text = line + "\n";
    return ::write(in_, text.data(), text.size()) == static_cast<ssize_t>(text.size());
  }
  // The next line of output. False at end of output, or after `timeout_ms` without one.
  bool read_line(std::string& line, int timeout_ms = kAnswerWaitMs) {
    for (std::size_t end; (end = pending_.find('\n')) == std::string::npos;) {
      pollfd ready{out_, POLLIN, 0};
      char chunk[65536];
      const ssize_t n = ::poll(&ready, 1, timeout_ms) > 0 ? ::read(out_, chunk, sizeof chunk) : 0;
      if (n <= 0) return false;
      pending_.append(chunk, static_cast<std::size_t>(n));
    }
    line = pending_.substr(0, pending_.find('\n'));
    pending_.erase(0, line.size() + 1);
    return true;
  }
  // Sends JSON-RPC request `method` with the next id.
  bool request(const std::string& method, const Value& params) {
    return send(R"({"jsonrpc":"2.0","id":)" + std::to_string(next_id_++) + R"(,"method":")" + method +
                R"(","params":)" + compact(params) + "}");
  }
  // Sends request `method` and answers its answer (null when none came).
  Value call(const std::string& method, const Value& params = Value::object()) {
    std::string line;
    return request(method, params) && read_line(line) ? parse(line) : Value();
  }
  // Closes the child's input and waits for it: its exit code, or -1 when a signal ended it.
  int finish() {
    ::close(std::exchange(in_, -1));
    int status = 0;
    ::waitpid(std::exchange(pid_, -1), &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }
  void kill_now() { ::kill(pid_, SIGKILL), finish(); }
  void signal(int number) { ::kill(pid_, number); }

 private:
  pid_t pid_ = -1;
  int in_ = -1, out_ = -1;
  std::string pending_;
  int next_id_ = 1;
};

// Runs `pathwright ARGS` with its input closed; its exit code, with standard output and error in `output`
// (small enough for the pipe to hold until it ends).
inline int run(std::vector<std::string> args, std::string& output) {
  Child child(PATHWRIGHT_BINARY, std::move(args));
  const int code = child.finish();
  output.clear();
  for (std::string line; child.read_line(line);) output += line + "\n";
  return code;
}

}  // namespace host::testing

#endif  // PATHWRIGHT_TESTS_CLI_PATHWRIGHT_PROCESS_H_
