// The game link against a scripted game on a real loopback socket: what travels each way, bit-exact
// floats, and a game that hangs up, hangs, babbles, refuses or starts late.
#include "link/game_link.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <bit>
#include <chrono>
#include <cstdint>
#include <memory>
#include <stdexcept>
#include <thread>
#include <utility>

#include "json_text/json_text.h"
#include "protocol/flat_numbers.h"
#include "tests/support/json_helpers.h"

namespace host {

using link::GameAddress;
using link::GameLink;
using link::GameLinkError;
using link::parse_game_address;

namespace {

using mods::json::Value;
using story_notebook::WorldPoint;

constexpr double kShortTimeoutSeconds = 0.3;  // s; keeps the hanging-game cases quick
constexpr int kPollMs = 20;                   // ms; how often the fake game looks at its stop flag
constexpr const char* kHello = R"({"id":1,"ok":true,"protocol":1,"world":"island"})";

// A scripted stand-in for the game on a loopback port. It takes one connection and at once writes all
// of its answer lines (the link reads each only after sending its request, so they pair up in order),
// then hangs up or stays, and records the request lines until `requests` asks for them. Owned by one
// test; its thread is the only one that touches the socket.
class FakeGame {
 public:
  explicit FakeGame(const std::vector<std::string>& answers, bool hang_up = false, std::uint16_t port = 0) {
    sockaddr_in address{
        .sin_family = AF_INET, .sin_port = htons(port), .sin_addr = {htonl(INADDR_LOOPBACK)}, .sin_zero = {}};
    socklen_t length = sizeof address;
    int one = 1;
    ::setsockopt(listener_, SOL_SOCKET, SO_REUSEADDR, &one, sizeof one);
    if (::bind(listener_, reinterpret_cast<sockaddr*>(&address), length) != 0 || ::listen(listener_, 4) != 0 ||
        ::getsockname(listener_, reinterpret_cast<sockaddr*>(&address), &length) != 0) {
      ::close(listener_);
      throw std::runtime_error("the fake game cannot listen");
    }
    port_ = ntohs(address.sin_port);
    std::string text;
    for (const std::string& answer : answers) text += answer + "\n";
    thread_ = std::thread([this, text, hang_up] {
      const int client = wait_for(listener_) ? ::accept(listener_, nullptr, nullptr) : -1;
      if (client < 0) return;
      ::send(client, text.data(), text.size(), MSG_NOSIGNAL);
      if (hang_up) ::shutdown(client, SHUT_WR);
      char chunk[4096];
      for (ssize_t n; wait_for(client) && (n = ::recv(client, chunk, sizeof chunk, 0)) > 0;) {
        received_.append(chunk, chunk + n);
      }
      ::close(client);
    });
  }
  ~FakeGame() { requests(), ::close(listener_); }
  std::uint16_t port() const { return port_; }
  // Stops serving once the link has gone quiet: every request line received.
  std::vector<std::string> requests() {
    stop_ = true;
    if (thread_.joinable()) thread_.join();
    std::vector<std::string> lines;
    for (std::size_t at = 0, end; (end = received_.find('\n', at)) != std::string::npos; at = end + 1) {
      lines.push_back(received_.substr(at, end - at));
    }
    return lines;
  }

 private:
  // True when `fd` has something to read; false once stopped with nothing left.
  bool wait_for(int fd) {
    pollfd ready{fd, POLLIN, 0};
    while (::poll(&ready, 1, kPollMs) == 0)
      if (stop_) return false;
    return true;
  }

  int listener_ = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  std::uint16_t port_ = 0;
  std::atomic<bool> stop_{false};
  std::string received_;
  std::thread thread_;
};

Value parse(const std::string& text) { return support::parsed(text); }

std::unique_ptr<GameLink> link_to(std::uint16_t port, editor::Session::Package* package = nullptr) {
  auto link = std::make_unique<GameLink>(GameAddress{"127.0.0.1", port}, kShortTimeoutSeconds);
  if (package) link->loaded_packages = [=] { return std::vector<const editor::Session::Package*>{package}; };
  return link;
}

TEST(GameAddress, ReadsHostAndPortAndRefusesTheRest) {
  const char* const no_port = "has no port between 1 and 65535";
  const struct {
    const char* text;
    const char* problem;  // "" when it is read
    // clang-format off
  } cases[] = {
      {.text = "127.0.0.1:47800", .problem = ""},
      {.text = "localhost:1", .problem = ""},
      {.text = "127.0.0.1", .problem = "is not HOST:PORT"},
      {.text = ":47800", .problem = "is not HOST:PORT"},
      {.text = "127.0.0.1:0", .problem = no_port},
      {.text = "127.0.0.1:65536", .problem = no_port},
      {.text = "127.0.0.1:47x", .problem = no_port},
  };
  // clang-format on
  for (const auto& [text, problem] : cases) {
    GameAddress address;
    std::string error;
    EXPECT_EQ(parse_game_address(text, address, error), !*problem) << text;
    EXPECT_EQ(error, *problem ? "the game address \"" + std::string(text) + "\" " + problem : "");
    EXPECT_EQ(address.text(), *problem ? "127.0.0.1:47800" : text);  // unchanged after a refusal
  }
}

TEST(GameLink, GreetsLoadsEveryPackageAndSpeaksEachOp) {
  FakeGame game({
      R"({"id":1,"ok":true,"protocol":1,"world":"island",)"
      R"("bounds":{"low":{"x":-1,"y":0,"z":-2},"high":{"x":1,"y":3,"z":2}}})",
      R"({"id":2,"ok":true,"walking":0})",
      R"({"id":3,"ok":true,"found":true,"height":100})",
      R"({"id":4,"ok":true,"found":false,"note":"open sea below"})",
      R"({"id":5,"ok":true,"heights":[100,0],"found":[1,0]})",
      R"({"id":6,"ok":true,"heights":[],"found":[]})",
      R"({"id":7,"ok":true,"x":0,"y":100,"z":200})",
      R"({"id":8,"ok":false,"error":"unknown op \"camera\""})",
      R"({"id":9,"ok":true,"route":null})",
      R"({"id":10,"ok":true,"time":2.5,"actors":[{"id":"gate_1","position":{"x":1,"y":2,"z":3},"point":2}]})",
      R"({"id":11,"ok":false,"error":"no package \"other\" is loaded"})",
  });
  editor::Session::Package package{"windfall_walks", parse(R"({"actors":[{"id":"gate_1"}]})")};
  auto link = link_to(game.port(), &package);
  ASSERT_TRUE(link->ensure_connected()) << link->last_problem();
  EXPECT_EQ(link->world(), "island");
  EXPECT_EQ(link->bounds(), parse(R"({"low":{"x":-1,"y":0,"z":-2},"high":{"x":1,"y":3,"z":2}})"));

  float height = 0;
  std::string error;
  EXPECT_TRUE(link->ground_height({0, 200, 0}, height, error));
  EXPECT_EQ(height, 100.0f);
  EXPECT_FALSE(link->ground_height({2000, 200, 0}, height, error));
  EXPECT_EQ(error, "open sea below");
  std::vector<float> heights;
  std::vector<bool> found;
  ASSERT_TRUE(link->ground_heights({{0, 200, 0}, {5000, 1, 2}}, heights, found, error)) << error;
  EXPECT_EQ(std::pair(heights, found), (std::pair<std::vector<float>, std::vector<bool>>{{100, 0}, {1, 0}}));
  ASSERT_TRUE(link->ground_heights({}, heights, found, error)) << error;
  EXPECT_TRUE(heights.empty() && found.empty());
  WorldPoint at;
  ASSERT_TRUE(link->link_position(at, error)) << error;
  EXPECT_EQ(at.z, 200.0f);
  EXPECT_FALSE(link->camera_position(at, error));
  EXPECT_EQ(error, "the game refused \"camera\": unknown op \"camera\"");
  EXPECT_TRUE(link->connected());  // a refusal is an answer, not a broken link
  EXPECT_TRUE(link->live_route(package, "gate_1").is_null());
  Value live;
  ASSERT_TRUE(link->live_actors("windfall_walks", live, error)) << error;
  EXPECT_EQ(live, parse(R"({"time":2.5,"actors":[{"id":"gate_1","position":{"x":1,"y":2,"z":3},"point":2}]})"));
  EXPECT_FALSE(link->live_actors("other", live, error));
  EXPECT_EQ(error, R"(the game refused "live_actors": no package "other" is loaded)");

  const std::vector<std::string> requests = {
      R"({"id":1,"op":"hello"})",
      R"({"id":2,"op":"load","package":"windfall_walks","document":{"actors":[{"id":"gate_1"}]}})",
      R"({"id":3,"op":"ground_height","x":0,"y":200,"z":0})",
      R"({"id":4,"op":"ground_height","x":2000,"y":200,"z":0})",
      R"({"id":5,"op":"ground_heights","probes":[0,200,0,5000,1,2]})",
      R"({"id":6,"op":"ground_heights","probes":[]})",
      R"({"id":7,"op":"link"})",
      R"({"id":8,"op":"camera"})",
      R"({"id":9,"op":"live_route","package":"windfall_walks","actor":"gate_1"})",
      R"({"id":10,"op":"live_actors","package":"windfall_walks"})",
      R"({"id":11,"op":"live_actors","package":"other"})",
  };
  EXPECT_EQ(game.requests(), requests);
}

TEST(GameLink, ProbesAndHeightsTravelBitExact) {
  // Heights come back as the game prints them: the shortest text of the float it found.
  const std::vector<float> samples{
      0.1f,
      -40.5f,
      1e-7f,
      3.4028235e38f,  // the largest float
      16777215.0f,
      1234.5678f,
      -0.0f,
      1.17549435e-38f,  // the smallest normal float
  };
  std::vector<std::string> answers{kHello};
  std::string batch = R"({"id":)" + std::to_string(samples.size() + 2) + R"(,"ok":true,"heights":[)";
  for (float y : samples) {
    answers.push_back(R"({"id":)" + std::to_string(answers.size() + 1) + R"(,"ok":true,"found":true,"height":)" +
                      protocol::float_text(y) + "}");
    batch += protocol::float_text(y) + (y == samples.back() ? "]" : ",");
  }
  answers.push_back(batch + R"(,"found":[1,1,1,1,1,1,1,1]})");
  FakeGame game(answers);
  auto link = link_to(game.port());
  ASSERT_TRUE(link->connect_now()) << link->last_problem();
  for (float y : samples) {
    float height = 0;
    std::string note;
    ASSERT_TRUE(link->ground_height({1.0f / 3.0f, y, 2.0f / 3.0f}, height, note));
    EXPECT_EQ(std::bit_cast<std::uint32_t>(height), std::bit_cast<std::uint32_t>(y)) << y;
  }
  // The batched answer's own reader gives the same floats (its JSON reader takes "-0" for the integer 0,
  // equal to -0 though not in its sign bit).
  std::vector<float> heights;
  std::vector<bool> found;
  std::string error;
  ASSERT_TRUE(link->ground_heights(std::vector<story_notebook::WorldPoint>(samples.size()), heights, found, error))
      << error;
  for (std::size_t k = 0; k < samples.size(); ++k) { EXPECT_EQ(heights[k], samples[k]); }
  const std::vector<std::string> sent = game.requests();
  ASSERT_EQ(sent.size(), samples.size() + 2);
  for (std::size_t k = 0; k < samples.size(); ++k) {
    const Value probe = parse(sent[k + 1]);
    EXPECT_EQ(std::bit_cast<std::uint32_t>(static_cast<float>(probe.get("y").number)),
              std::bit_cast<std::uint32_t>(samples[k]));
    EXPECT_EQ(static_cast<float>(probe.get("x").number), 1.0f / 3.0f);
  }
}

TEST(GameLink, ALinkFailureEndsTheCommandWithAClearErrorAndDropsTheConnectionWhileARefusalKeepsIt) {
  // ground_height and live_route throw, the others answer false. `reply` answers the command, which is
  // request 2 (nullptr: the game hangs up instead); "..." ends an `error` whose rest is the JSON reader's.
  enum Op { Height, Heights, LinkPosition, LiveRoute };
  struct Case {
    Op op;
    const char* reply;
    const char* error;
    bool connected;
  };
  const std::string malformed = "the game sent a malformed answer: ";
  // clang-format off
  const Case cases[] = {
      {.op = Height, .reply = nullptr, .error = "the game closed the connection", .connected = false},
      {.op = Height, .reply = "", .error = "the game did not answer within 0.3 s", .connected = false},
      {.op = Height, .reply = "Segmentation fault", .error = "line 1, column 1: ...", .connected = false},
      {.op = Height, .reply = "[1,2]", .error = "not a JSON object", .connected = false},
      {.op = Height, .reply = R"({"id":99,"ok":true,"found":false})", .error = "its \"id\" is not the request's 2", .connected = false},
      {.op = Height, .reply = R"({"id":2,"found":false})", .error = "no boolean \"ok\"", .connected = false},
      {.op = Height, .reply = R"({"id":2,"ok":true,"found":true,"height":"100"})", .error = "\"height\" is not a number", .connected = false},
      {.op = Heights, .reply = R"({"id":2,"ok":true,"heights":[100,0.1],"found":[1,0]})", .error = "", .connected = true},
      // "found" may hold booleans as well as 1 and 0, and the members may come in any order.
      {.op = Heights, .reply = R"({"id":2,"ok":true,"found":[true,false],"heights":[100,0.1]})", .error = "", .connected = true},
      {.op = Heights, .reply = R"({"id":2,"ok":true,"heights":[100],"found":[1]})", .error = "\"heights\" and \"found\" do not hold one entry per probe", .connected = false},
      {.op = Heights, .reply = R"({"id":2,"ok":true,"heights":["100",0],"found":[1,0]})", .error = "entry 1 is not a number", .connected = false},
      {.op = Heights, .reply = R"({"id":2,"ok":false,"error":"probes must be numbers"})", .error = "the game refused \"ground_heights\": probes must be numbers", .connected = true},
      {.op = LinkPosition, .reply = nullptr, .error = "the game closed the connection", .connected = false},
      {.op = LiveRoute, .reply = nullptr, .error = "the game closed the connection", .connected = false},
  };
  // clang-format on
  editor::Session::Package package{"windfall_walks", Value::object()};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.reply ? c.reply : "(hangs up)");
    FakeGame game(c.reply && *c.reply ? std::vector<std::string>{kHello, c.reply} : std::vector<std::string>{kHello},
                  !c.reply);
    auto link = link_to(game.port());
    ASSERT_TRUE(link->connect_now()) << link->last_problem();
    std::string error;
    std::vector<float> heights;
    std::vector<bool> found;
    float height = 0;
    WorldPoint at;
    bool ok = false, threw = false;
    try {
      if (c.op == Height)
        link->ground_height({0, 200, 0}, height, error);
      else if (c.op == Heights)
        ok = link->ground_heights({{0, 200, 0}, {0, 200, 25}}, heights, found, error);
      else if (c.op == LinkPosition)
        ok = link->link_position(at, error);
      else
        link->live_route(package, "gate_1");
    } catch (const GameLinkError& e) {
      threw = true;
      error = e.what();
    }
    // Answers other than the closed, silent, refused and good ones are malformed.
    const std::string expected = (c.reply && *c.reply && !c.connected ? malformed : "") + c.error;
    EXPECT_EQ(error.substr(0, expected.find("...")), expected.substr(0, expected.find("...")));
    EXPECT_EQ(ok, expected.empty());
    EXPECT_EQ(threw, c.op == Height || c.op == LiveRoute);
    EXPECT_EQ(link->connected(), c.connected);
    if (ok) {
      EXPECT_EQ(std::pair(heights, found), (std::pair<std::vector<float>, std::vector<bool>>{{100.0f, 0.1f}, {1, 0}}));
    }
    if (c.connected) continue;
    EXPECT_FALSE(link->ground_heights({{0, 0, 0}}, heights, found, error));
    EXPECT_EQ(error, "the game is not connected");
  }
}

// A game that restarts, and the packages it is handed again, are followed end to end in the cli tests.
TEST(GameLink, TriesAnAbsentGameAtMostOncePerRetryIntervalAndConnectsOnceItListens) {
  const std::uint16_t port = FakeGame({}).port();  // free a moment ago
  auto link = link_to(port);
  EXPECT_FALSE(link->ensure_connected());
  EXPECT_EQ(link->last_problem().rfind("cannot reach the game at 127.0.0.1:" + std::to_string(port) + ": ", 0), 0u);
  FakeGame game({kHello}, false, port);
  EXPECT_FALSE(link->ensure_connected());  // too soon after the last attempt
  std::this_thread::sleep_for(std::chrono::milliseconds(GameLink::kRetryIntervalMs + 50));
  EXPECT_TRUE(link->ensure_connected()) << link->last_problem();
}

}  // namespace
}  // namespace host
