#include "server/stdio_server.h"

#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string_view>

#include "protocol/line_reader.h"
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
  constexpr std::size_t kReadBytes = 65536;  // bytes asked of standard input at a time
  JsonRpcServer server(bench.runner());
  protocol::LineReader reader(max_request);
  bool open = true;
  bool output_open = true;
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
    ssize_t n = ::read(STDIN_FILENO, reader.room(kReadBytes), kReadBytes);
    if (n < 0 && (errno == EINTR || errno == EAGAIN)) continue;
    if (n <= 0) {
      open = false;  // end of input: a last line without "\n" still counts
      reader.finish();
    } else {
      reader.received(static_cast<std::size_t>(n));
    }
    std::string_view line;
    for (protocol::LineReader::Next next; (next = reader.next(line)) != protocol::LineReader::Next::More;) {
      const bool too_long = next == protocol::LineReader::Next::TooLong;
      if (!too_long && blank(line)) continue;
      std::string answer = too_long ? too_long_answer(max_request) : server.answer_line(line);
      if (!answer.empty() && !write_out(answer + "\n")) {
        output_open = false;
        break;
      }
      bench.maintain();
    }
  }
  std::string flush_error;
  if (!bench.flush(flush_error)) {
    error = flush_error;
    return 1;
  }
  return error.empty() ? 0 : 1;
}

}  // namespace host::server
