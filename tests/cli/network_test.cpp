// The edges between processes, end to end with the real programs: a second map on a taken port and a
// `call` forwarded to a holder that stopped answering. Numeric flags out of range are in serve_test.cpp.
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

}  // namespace
}  // namespace host::testing
