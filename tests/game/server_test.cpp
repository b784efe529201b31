#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <signal.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <thread>
#include <utility>

#include "game/link_server.h"
#include "tests/game/game_test_helpers.h"

namespace game {
namespace {

// A blocking line client over loopback, enough to drive the server. A client that could not connect reads
// only "<closed>".
struct Client {
  explicit Client(std::uint16_t port) {
    sockaddr_in address{
        .sin_family = AF_INET, .sin_port = htons(port), .sin_addr = {htonl(INADDR_LOOPBACK)}, .sin_zero = {}};
    ::connect(fd_, reinterpret_cast<sockaddr*>(&address), sizeof address);
  }
  ~Client() { ::close(fd_); }
  // A blocking send takes everything unless the server is gone, which the next line() then shows.
  void send(const std::string& text) { ::send(fd_, text.data(), text.size(), MSG_NOSIGNAL); }
  // The next line without its newline; "<closed>" once the server has closed the connection.
  std::string line() {
    std::string out;
    for (char c; ::recv(fd_, &c, 1, 0) == 1; out.push_back(c))
      if (c == '\n') return out;
    return "<closed>";
  }
  int fd_ = ::socket(AF_INET, SOCK_STREAM, 0);
};

// The island's whole answer to a hello request with `id`.
std::string hello_answer(int id) {
  return R"({"bounds":{"high":{"x":2500.01,"y":300,"z":1500.01},"low":{"x":-2000.01,"y":0,"z":-2600.01}},"id":)" +
         std::to_string(id) + R"(,"ok":true,"protocol":1,"world":"island"})";
}

// A server on a free port, serving on its own thread.
class LinkServerTest : public testing::Test {
 protected:
  void SetUp() override {
    std::string error;
    ASSERT_TRUE(server_.listen(0, error)) << error;
    serving_ = std::jthread([this] { server_.run(); });
  }
  void TearDown() override { server_.stop(); }  // the thread is joined as the fixture goes
  std::unique_ptr<GameWorld> world_ = manual_island();
  LinkServer server_{*world_, 64};  // a line limit in bytes, small enough to pass cheaply
  std::jthread serving_;
};

TEST_F(LinkServerTest, ServesPipelinedAndSplitLinesInOrderOnSeveralConnections) {
  Client first(server_.port()), second(server_.port());
  first.send("{\"id\":1,\"op\":\"hel");
  second.send("{\"id\":7,\"op\":\"teleport\",\"x\":5,\"y\":6,\"z\":7}\n");
  EXPECT_EQ(second.line(), R"({"id":7,"ok":true})");
  first.send("lo\"}\nnot json\r\n{\"id\":2,\"op\":\"link\"}\n\n");
  EXPECT_EQ(first.line(), hello_answer(1));
  EXPECT_EQ(first.line().rfind(R"({"error":"the line is not json)", 0), 0u);
  EXPECT_EQ(first.line(), R"({"id":2,"ok":true,"x":5,"y":6,"z":7})");
  EXPECT_EQ(first.line().rfind(R"({"error":"the line is not json)", 0), 0u) << "an empty line is answered too";
}

TEST_F(LinkServerTest, AnswersAnOverlongLineWithAnErrorAndCarriesOn) {
  Client client(server_.port());
  client.send(R"({"id":1,"op":"hello","padding":")" + std::string(5000, 'x') +
              "\"}\n"
              R"({"id":2,"op":"hello"})"
              "\n");
  EXPECT_EQ(client.line(), R"({"id":null,"ok":false,"error":"the line is longer than 64 bytes"})");
  EXPECT_EQ(client.line(), hello_answer(2));
  // The same, arriving in pieces: answered once, as soon as it is known to be too long.
  client.send("{\"id\":3,\"op\":\"hello\",\"padding\":\"" + std::string(100, 'x'));
  EXPECT_EQ(client.line(), R"({"id":null,"ok":false,"error":"the line is longer than 64 bytes"})");
  client.send(std::string(300, 'y') + "\"}\n{\"id\":4,\"op\":\"hello\"}\n");
  EXPECT_EQ(client.line(), hello_answer(4));
}

// The real binary on a free port, started by a shell that prints its own pid and then becomes the game;
// the game's first stderr line names its port.
struct GameProcess {
  GameProcess() {
    char text[256];
    if (out && std::fgets(text, sizeof text, out)) pid = std::atoi(text);
    if (out && std::fgets(text, sizeof text, out)) banner = text;
    std::sscanf(banner.c_str(), "pathwright-game: listening on 127.0.0.1:%hu", &port);
  }
  ~GameProcess() { stop(); }
  // Asks the game to stop and answers its exit status.
  int stop() {
    if (!out) return -1;
    if (pid > 0) ::kill(pid, SIGTERM);
    return ::pclose(std::exchange(out, nullptr));
  }

  FILE* out = ::popen("echo $$; exec '" PATHWRIGHT_GAME_BINARY "' --port 0 --clock manual 2>&1", "r");
  pid_t pid = 0;
  std::uint16_t port = 0;
  std::string banner;
};

// Answers over a socket are pinned in-process above; here only what the process adds: its banner, the
// --clock flag, and a clean exit on SIGTERM.
TEST(PathwrightGame, ServesTheLinkFromItsOwnProcessAndStopsCleanly) {
  GameProcess game;
  ASSERT_TRUE(game.port != 0 && game.banner.find("(world island)") != std::string::npos) << game.banner;
  {
    Client client(game.port);
    client.send(R"({"id":1,"op":"advance","seconds":2})"
                "\n");
    EXPECT_EQ(client.line(), R"({"id":1,"ok":true,"time":2})") << "the game runs on the manual clock";
  }
  EXPECT_EQ(game.stop(), 0) << "a wait status: exited, with status 0";
}

}  // namespace
}  // namespace game
