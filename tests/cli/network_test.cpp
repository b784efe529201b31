// The edges between processes, end to end with the real programs: a second map on a taken port, a `call`
// forwarded to a holder that stopped answering, and numeric flags out of range.
#include <gtest/gtest.h>
#include <signal.h>

#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "tests/cli/pathwright_process.h"

namespace host::testing {
namespace {

constexpr auto kForwardBound = std::chrono::seconds(1);  // the --lock-wait the frozen-holder test gives
constexpr auto kForwardSlack = std::chrono::seconds(8);  // a loaded machine's start-up and exit on top

// Regression: a second map on a port another map listened on started too (both sockets shared the port)
// and the browser's edits were spread over two stores.
TEST(Network, SecondMapOnATakenPortFailsAtStart) {
  Child first(PATHWRIGHT_BINARY, {"map", "--demo", "--port", "0"});
  std::string line;
  ASSERT_TRUE(first.read_line(line));
  const std::string prefix = "Pathwright map: http://127.0.0.1:";
  ASSERT_EQ(line.rfind(prefix, 0), 0u) << line;
  const std::string port = line.substr(prefix.size(), line.find('/', prefix.size()) - prefix.size());

  Child second(PATHWRIGHT_BINARY, {"map", "--demo", "--port", port});
  std::string said;
  EXPECT_TRUE(second.read_line(said));
  EXPECT_EQ(said, "pathwright: cannot listen on 127.0.0.1:" + port + ": the port is in use (another pathwright map?)");
  if (said.rfind("Pathwright map:", 0) == 0) second.signal(SIGTERM);  // it listens too: end it
  EXPECT_EQ(second.finish(), 2);
  first.signal(SIGTERM);
  EXPECT_EQ(first.finish(), 0);
}

// Regression: with the holder stopped, `call --lock-wait 2` never returned and printed nothing, and the
// change it had sent was made anyway once the holder went on.
// How often the holder is asked for its history after it goes on, 100 ms apart.
constexpr int kHistoryTries = 50;

TEST(Network, CallToAHolderThatDoesNotAnswerEndsAtTheBoundAndSaysTheChangeMayFollow) {
  auto store = demo_store();
  ASSERT_NE(store, nullptr);
  Child holder(PATHWRIGHT_BINARY, {"serve", "--store", store->path()});
  ASSERT_TRUE(holder.call("status").has("result"));
  holder.signal(SIGSTOP);
  std::string output;
  const auto start = std::chrono::steady_clock::now();
  const int code = run({"call", "--store", store->path(), "--lock-wait", "1", "add_route_point",
                        R"({"id":"gate_guard","position":{"x":5,"y":100,"z":7}})"},
                       output);
  const auto took = std::chrono::steady_clock::now() - start;
  holder.signal(SIGCONT);
  EXPECT_EQ(code, 1) << output;
  EXPECT_GE(took, kForwardBound);
  EXPECT_LT(took, kForwardBound + kForwardSlack) << "the wait was not bounded";
  EXPECT_NE(output.find("pathwright: the process "), std::string::npos) << output;
  EXPECT_NE(output.find("did not answer within 1 s (--lock-wait); the command was sent, so it may still make "
                        "the change when it answers: see `pathwright call --store " +
                        store->path() + " history`"),
            std::string::npos)
      << output;
  // The holder answers what it was sent once it goes on: the message was honest. The socket's request and
  // this one on stdio are served by different threads, so the change may land a moment after this asks.
  Value history;
  for (int tries = 0; tries < kHistoryTries; ++tries) {
    history = holder.call("history", parse(R"({"package":"windfall"})"));
    if (!history.get("result").get("changes").items.empty()) break;
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
  }
  ASSERT_FALSE(history.get("result").get("changes").items.empty());
  EXPECT_EQ(history.get("result").get("changes").items.back().get("label").str, "Add a route point to gate_guard");
  EXPECT_EQ(holder.finish(), 0);
}

struct FlagCase {
  std::vector<std::string> args;
  const char* error;
};

// Regression: `--lock-wait -1` printed a range with a 309-digit upper end.
TEST(Network, NumericFlagsSayTheirRangeInPlainNumbers) {
  // clang-format off
  const FlagCase cases[] = {
      {.args = {"call", "--lock-wait", "-1", "status"}, .error = "--lock-wait: the lock wait is 0 to 86400 seconds, not -1"},
      {.args = {"call", "--lock-wait", "1e400", "status"},
       .error = "--lock-wait: the lock wait is 0 to 86400 seconds, not 1e400"},
      {.args = {"call", "--game-timeout", "0", "status"},
       .error = "--game-timeout: the game timeout is 0.001 to 3600 seconds, not 0"},
      {.args = {"serve", "--max-request", "0"},
       .error = "--max-request: the longest request is 1 to 1073741824 bytes, not 0"},
      {.args = {"map", "--port", "70000"}, .error = "--port: the port is 0 to 65535 (0 picks a free one), not 70000"},
      {.args = {"map", "--port", "-1"}, .error = "--port: the port is 0 to 65535 (0 picks a free one), not -1"},
  };
  // clang-format on
  for (const FlagCase& c : cases) {
    std::string output;
    EXPECT_EQ(run(c.args, output), 2) << c.args[0] << " " << c.args[1] << ": " << output;
    EXPECT_EQ(output.substr(0, output.find('\n')), c.error);
  }
  Child game(PATHWRIGHT_GAME_BINARY, {"--port", "70000"});
  std::string line;
  ASSERT_TRUE(game.read_line(line));
  EXPECT_EQ(line, "--port: the port is 0 to 65535 (0 picks a free one), not 70000");
  EXPECT_NE(game.finish(), 0);
}

}  // namespace
}  // namespace host::testing
