#include "server/stdio_server.h"

#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string_view>

#include "server/json_rpc.h"
#include "server/shared_workbench.h"
#include "server/workbench.h"

namespace host::server {
namespace {

// Writes all of `text` to standard output. False when it is closed.
bool write_out(const std::string& text) {
  std::size_t done = 0;
  while (done < text.size()) {
    ssize_t n = ::write(STDOUT_FILENO, text.data() + done, text.size() - done);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) return false;
    done += static_cast<std::size_t>(n);
  }
  return true;
}

bool blank(std::string_view line) { return line.find_first_not_of(" \t\r") == std::string_view::npos; }

std::string too_long_answer(std::size_t max_request) {
  return R"({"jsonrpc":"2.0","id":null,"error":{"code":)" + std::to_string(rpc_code::kInvalidRequest) +
         R"(,"message":"invalid request: the line is longer than )" + std::to_string(max_request) +
         R"j( bytes (serve --max-request)"}})j";
}

}  // namespace

int serve_stdio(Workbench& bench, std::string& error, std::size_t max_request) {
  SharedWorkbench shared(bench);
  return serve_stdio(shared, error, max_request);
}

int serve_stdio(SharedWorkbench& bench, std::string& error, std::size_t max_request) {
  JsonRpcServer server(bench.runner());
  std::string pending;
  bool open = true;
  bool output_open = true;
  bool skipping = false;  // inside a line over the limit: dropped up to its newline, then answered
  while (open && output_open) {
    pollfd in{STDIN_FILENO, POLLIN, 0};
    int ready = ::poll(&in, 1, kIdlePollMs);
    if (ready < 0 && errno != EINTR) {
      error = std::string("cannot read standard input: ") + std::strerror(errno);
      break;
    }
    if (ready <= 0) {
      bench.maintain();
      continue;
    }
    char chunk[65536];
    ssize_t n = ::read(STDIN_FILENO, chunk, sizeof chunk);
    if (n < 0 && (errno == EINTR || errno == EAGAIN)) continue;
    if (n <= 0) {
      open = false;  // end of input: a last line without "\n" still counts
      if (!pending.empty()) pending.push_back('\n');
    } else {
      pending.append(chunk, static_cast<std::size_t>(n));
    }
    std::size_t start = 0;
    for (auto end = pending.find('\n'); end != std::string::npos; end = pending.find('\n', start)) {
      std::string_view line(pending.data() + start, end - start);
      start = end + 1;
      const bool too_long = skipping || line.size() > max_request;
      skipping = false;
      if (!too_long && blank(line)) continue;
      std::string answer = too_long ? too_long_answer(max_request) : server.answer_line(line);
      if (!answer.empty() && !write_out(answer + "\n")) {
        output_open = false;
        break;
      }
      bench.maintain();
    }
    pending.erase(0, start);
    if (pending.size() > max_request) {
      pending.clear();
      skipping = true;
    }
  }
  if (skipping && output_open) write_out(too_long_answer(max_request) + "\n");
  std::string flush_error;
  if (!bench.flush(flush_error)) {
    error = flush_error;
    return 1;
  }
  return error.empty() ? 0 : 1;
}

}  // namespace host::server
