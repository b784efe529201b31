#include "game/link_server.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <signal.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <cstdio>
#include <thread>

extern char** environ;

namespace game {
namespace {

// A blocking line client over loopback, enough to drive the server.
class Client {
 public:
  explicit Client(std::uint16_t port) : fd_(::socket(AF_INET, SOCK_STREAM, 0)) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(port);
    connected_ = ::connect(fd_, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0;
  }
  ~Client() { ::close(fd_); }
  bool connected() const { return connected_; }
  void send(const std::string& text) {
    for (std::size_t sent = 0; sent < text.size();) {
      const ssize_t n = ::send(fd_, text.data() + sent, text.size() - sent, MSG_NOSIGNAL);
      if (n <= 0) return;
      sent += static_cast<std::size_t>(n);
    }
  }
  std::string line() {
    for (;;) {
      const std::size_t newline = pending_.find('\n');
      if (newline != std::string::npos) {
        std::string out = pending_.substr(0, newline);
        pending_.erase(0, newline + 1);
        return out;
      }
      char chunk[4096];
      const ssize_t n = ::recv(fd_, chunk, sizeof chunk, 0);
      if (n <= 0) return "<closed>";
      pending_.append(chunk, static_cast<std::size_t>(n));
    }
  }

 private:
  int fd_;
  bool connected_ = false;
  std::string pending_;
};

TEST(LinkServer, ServesPipelinedAndSplitLinesInOrderOnSeveralConnections) {
  std::string error;
  auto world = GameWorld::island(Clock::Manual, error);
  ASSERT_TRUE(world) << error;
  LinkServer server(*world);
  ASSERT_TRUE(server.listen(0, error)) << error;
  std::thread serving([&server] { server.run(); });
  {
    Client first(server.port()), second(server.port());
    ASSERT_TRUE(first.connected());
    ASSERT_TRUE(second.connected());
    first.send("{\"id\":1,\"op\":\"hel");
    second.send("{\"id\":7,\"op\":\"teleport\",\"x\":5,\"y\":6,\"z\":7}\n");
    EXPECT_EQ(second.line(), R"({"id":7,"ok":true})");
    first.send("lo\"}\nnot json\r\n{\"id\":2,\"op\":\"link\"}\n\n");
    EXPECT_EQ(first.line(), R"({"id":1,"ok":true,"protocol":1,"world":"island"})");
    EXPECT_EQ(first.line().rfind(R"({"error":"the line is not json)", 0), 0u);
    EXPECT_EQ(first.line(), R"({"id":2,"ok":true,"x":5,"y":6,"z":7})");
    EXPECT_EQ(first.line().rfind(R"({"error":"the line is not json)", 0), 0u) << "an empty line is answered too";
  }
  server.stop();
  serving.join();
}

TEST(LinkServer, AnswersAnOverlongLineWithAnErrorAndCarriesOn) {
  std::string error;
  auto world = GameWorld::island(Clock::Manual, error);
  ASSERT_TRUE(world) << error;
  constexpr std::size_t kSmallLimit = 64;
  LinkServer server(*world, kSmallLimit);
  ASSERT_TRUE(server.listen(0, error)) << error;
  std::thread serving([&server] { server.run(); });
  {
    Client client(server.port());
    ASSERT_TRUE(client.connected());
    client.send("{\"id\":1,\"op\":\"hello\",\"padding\":\"" + std::string(5000, 'x') +
                "\"}\n{\"id\":2,\"op\":\"hello\"}\n");
    EXPECT_EQ(client.line(), R"({"id":null,"ok":false,"error":"the line is longer than 64 bytes"})");
    EXPECT_EQ(client.line(), R"({"id":2,"ok":true,"protocol":1,"world":"island"})");
    // The same, arriving in pieces: answered once, as soon as it is known to be too long.
    client.send("{\"id\":3,\"op\":\"hello\",\"padding\":\"" + std::string(100, 'x'));
    EXPECT_EQ(client.line(), R"({"id":null,"ok":false,"error":"the line is longer than 64 bytes"})");
    client.send(std::string(300, 'y') + "\"}\n{\"id\":4,\"op\":\"hello\"}\n");
    EXPECT_EQ(client.line(), R"({"id":4,"ok":true,"protocol":1,"world":"island"})");
  }
  server.stop();
  serving.join();
}

// Starts the real binary on a free port and reads the port from its first stderr line.
class GameProcess {
 public:
  GameProcess() {
    int pipe_fds[2];
    if (::pipe(pipe_fds) != 0) return;
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, pipe_fds[1], STDERR_FILENO);
    posix_spawn_file_actions_addclose(&actions, pipe_fds[0]);
    char binary[] = PATHWRIGHT_GAME_BINARY;
    char port_flag[] = "--port", port_value[] = "0", clock_flag[] = "--clock", clock_value[] = "manual";
    char* argv[] = {binary, port_flag, port_value, clock_flag, clock_value, nullptr};
    if (posix_spawn(&pid_, binary, &actions, nullptr, argv, environ) != 0) pid_ = -1;
    posix_spawn_file_actions_destroy(&actions);
    ::close(pipe_fds[1]);
    std::string first_line;
    char c = 0;
    while (::read(pipe_fds[0], &c, 1) == 1 && c != '\n') first_line.push_back(c);
    ::close(pipe_fds[0]);
    const std::size_t colon = first_line.rfind("127.0.0.1:");
    if (colon != std::string::npos) port_ = static_cast<std::uint16_t>(std::stoi(first_line.substr(colon + 10)));
    banner_ = first_line;
  }
  // Asks the game to stop and answers its exit status.
  int stop() {
    if (pid_ <= 0) return -1;
    ::kill(pid_, SIGTERM);
    int status = 0;
    ::waitpid(pid_, &status, 0);
    pid_ = -1;
    return status;
  }
  ~GameProcess() { stop(); }
  std::uint16_t port() const { return port_; }
  const std::string& banner() const { return banner_; }

 private:
  pid_t pid_ = -1;
  std::uint16_t port_ = 0;
  std::string banner_;
};

TEST(PathwrightGame, ServesTheLinkFromItsOwnProcessAndStopsCleanly) {
  GameProcess game;
  ASSERT_NE(game.port(), 0) << "banner: " << game.banner();
  EXPECT_NE(game.banner().find("(world island)"), std::string::npos) << game.banner();
  {
    Client client(game.port());
    ASSERT_TRUE(client.connected());
    client.send(R"({"id":1,"op":"hello"})" "\n" R"({"id":2,"op":"advance","seconds":2})" "\n\x01\xff garbage\n"
                R"({"id":3,"op":"ground_height","x":0,"y":100,"z":-3000})" "\n");
    EXPECT_EQ(client.line(), R"({"id":1,"ok":true,"protocol":1,"world":"island"})");
    EXPECT_EQ(client.line(), R"({"id":2,"ok":true,"time":2})");
    EXPECT_EQ(client.line().rfind(R"({"error":"the line is not json)", 0), 0u);
    EXPECT_EQ(client.line(), R"j({"found":false,"id":3,"note":"open sea below (0, -3000)","ok":true})j");
  }
  const int status = game.stop();
  EXPECT_TRUE(WIFEXITED(status));
  EXPECT_EQ(WEXITSTATUS(status), 0);
}

}  // namespace
}  // namespace game
