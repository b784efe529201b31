#include "tests/host/cli/pathwright_process.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <cerrno>
#include <stdexcept>

#include "host/json_text/json_text.h"

namespace host::testing {
namespace {

using mods::json::Value;

// Starts the binary with `args`; `stdin_fd`, `stdout_fd` and `stderr_fd` become its standard streams.
pid_t spawn(const std::vector<std::string>& args, int stdin_fd, int stdout_fd, int stderr_fd) {
  std::vector<char*> argv;
  std::string binary = PATHWRIGHT_BINARY;
  argv.push_back(binary.data());
  std::vector<std::string> copies = args;
  for (std::string& arg : copies) argv.push_back(arg.data());
  argv.push_back(nullptr);
  pid_t pid = ::fork();
  if (pid == 0) {
    ::dup2(stdin_fd, 0);
    ::dup2(stdout_fd, 1);
    ::dup2(stderr_fd, 2);
    ::execv(argv[0], argv.data());
    ::_exit(127);
  }
  if (pid < 0) throw std::runtime_error("cannot start pathwright");
  return pid;
}

int exit_status_of(pid_t pid) {
  int status = 0;
  while (::waitpid(pid, &status, 0) < 0 && errno == EINTR) {
  }
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

void write_all(int fd, const std::string& text) {
  std::size_t done = 0;
  while (done < text.size()) {
    ssize_t n = ::write(fd, text.data() + done, text.size() - done);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) return;
    done += static_cast<std::size_t>(n);
  }
}

std::string read_all(int fd) {
  std::string text;
  char chunk[4096];
  for (;;) {
    ssize_t n = ::read(fd, chunk, sizeof chunk);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) return text;
    text.append(chunk, static_cast<std::size_t>(n));
  }
}

}  // namespace

Value parse(const std::string& text) {
  Value value;
  JsonTextError error;
  if (!parse_json(text, value, error)) ADD_FAILURE() << "not JSON: " << error.message() << ": " << text;
  return value;
}

std::string compact(const Value& value) {
  std::string text, error;
  print_json(value, JsonLayout::Compact, text, error);
  return text;
}

RunResult run_pathwright(const std::vector<std::string>& args, const std::string& input) {
  int in[2], out[2], err[2];
  if (::pipe2(in, O_CLOEXEC) != 0 || ::pipe2(out, O_CLOEXEC) != 0 || ::pipe2(err, O_CLOEXEC) != 0) {
    throw std::runtime_error("cannot make pipes");
  }
  pid_t pid = spawn(args, in[0], out[1], err[1]);
  ::close(in[0]);
  ::close(out[1]);
  ::close(err[1]);
  write_all(in[1], input);  // small inputs only: the pipe holds them before the child reads
  ::close(in[1]);
  RunResult result;
  result.out = read_all(out[0]);  // the child writes little to standard error, so this cannot block it
  result.err = read_all(err[0]);
  ::close(out[0]);
  ::close(err[0]);
  result.exit_status = exit_status_of(pid);
  return result;
}

ServeProcess::ServeProcess(const std::vector<std::string>& args, const std::string& stderr_path) {
  ::signal(SIGPIPE, SIG_IGN);  // a server that died is a failed expectation, not the end of the tests
  int in[2], out[2];
  if (::pipe2(in, O_CLOEXEC) != 0 || ::pipe2(out, O_CLOEXEC) != 0) throw std::runtime_error("cannot make pipes");
  int err = ::open(stderr_path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
  std::vector<std::string> serve_args{"serve"};
  serve_args.insert(serve_args.end(), args.begin(), args.end());
  pid_ = spawn(serve_args, in[0], out[1], err);
  ::close(in[0]);
  ::close(out[1]);
  ::close(err);
  in_ = in[1];
  out_ = out[0];
}

ServeProcess::~ServeProcess() {
  if (pid_ > 0) kill_now();
  if (in_ >= 0) ::close(in_);
  if (out_ >= 0) ::close(out_);
}

bool ServeProcess::send(const std::string& line) {
  std::string text = line + "\n";
  std::size_t done = 0;
  while (done < text.size()) {
    ssize_t n = ::write(in_, text.data() + done, text.size() - done);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) return false;
    done += static_cast<std::size_t>(n);
  }
  return true;
}

bool ServeProcess::read_line(std::string& line, int timeout_ms) {
  for (;;) {
    if (auto end = pending_.find('\n'); end != std::string::npos) {
      line = pending_.substr(0, end);
      pending_.erase(0, end + 1);
      return true;
    }
    pollfd p{out_, POLLIN, 0};
    int ready = ::poll(&p, 1, timeout_ms);
    if (ready < 0 && errno == EINTR) continue;
    if (ready <= 0) return false;
    char chunk[65536];
    ssize_t n = ::read(out_, chunk, sizeof chunk);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) return false;
    pending_.append(chunk, static_cast<std::size_t>(n));
  }
}

Value ServeProcess::call(const std::string& method, const Value& params) {
  Value request = Value::object();
  request["jsonrpc"] = Value::of("2.0");
  request["id"] = Value::of(next_id_++);
  request["method"] = Value::of(method);
  request["params"] = params;
  std::string line;
  if (!send(compact(request)) || !read_line(line)) return Value();
  return parse(line);
}

Value ServeProcess::result(const std::string& method, const Value& params) {
  Value answer = call(method, params);
  EXPECT_TRUE(answer.has("result")) << method << " " << compact(params) << " -> " << compact(answer);
  return answer.get("result");
}

int ServeProcess::finish() {
  ::close(in_);
  in_ = -1;
  int status = exit_status_of(pid_);
  pid_ = -1;
  return status;
}

void ServeProcess::kill_now() {
  ::kill(pid_, SIGKILL);
  exit_status_of(pid_);
  pid_ = -1;
}

}  // namespace host::testing
