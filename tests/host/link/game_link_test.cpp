// The game link against a scripted game on a real loopback socket: what travels each way, bit-exact
// floats, and a game that dies, hangs, babbles, starts late or restarts.
#include "host/link/game_link.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <atomic>
#include <bit>
#include <cmath>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <thread>
#include <utility>

#include "host/json_text/json_text.h"

namespace host {
namespace {

using mods::json::Value;
using story_notebook::WorldPoint;

constexpr double kShortTimeoutSeconds = 0.3;  // s; keeps the hanging-game cases quick
constexpr int kPollMs = 20;                   // ms; how often the fake game looks at its stop flag

// A scripted stand-in for the game: listens on a loopback port, serves one connection at a time on its
// own thread and answers each request line with what the script returns ("" stays silent, nullopt
// closes the connection). Owned by one test; the received lines are read under a lock.
class FakeGame {
 public:
  using Script = std::function<std::optional<std::string>(const Value& request)>;

  explicit FakeGame(Script script, std::uint16_t port = 0) : script_(std::move(script)) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(port);
    socklen_t length = sizeof address;
    int one = 1;
    ::setsockopt(listener_, SOL_SOCKET, SO_REUSEADDR, &one, sizeof one);
    if (::bind(listener_, reinterpret_cast<sockaddr*>(&address), length) != 0 || ::listen(listener_, 4) != 0 ||
        ::getsockname(listener_, reinterpret_cast<sockaddr*>(&address), &length) != 0) {
      ::close(listener_);
      throw std::runtime_error("the fake game cannot listen");
    }
    port_ = ntohs(address.sin_port);
    thread_ = std::thread([this] { serve(); });
  }
  ~FakeGame() {
    stop_ = true;
    thread_.join();
    ::close(listener_);
  }
  std::uint16_t port() const { return port_; }
  std::vector<std::string> lines() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return lines_;
  }

 private:
  void serve() {
    int client = -1;
    std::string pending;
    while (!stop_) {
      pollfd wait{client >= 0 ? client : listener_, POLLIN, 0};
      if (::poll(&wait, 1, kPollMs) <= 0) continue;
      if (client < 0) {
        client = ::accept(listener_, nullptr, nullptr);
        pending.clear();
        continue;
      }
      char chunk[4096];
      ssize_t n = ::recv(client, chunk, sizeof chunk, 0);
      if (n > 0) pending.append(chunk, static_cast<std::size_t>(n));
      for (auto end = pending.find('\n'); n > 0 && end != std::string::npos; end = pending.find('\n')) {
        const std::string line = pending.substr(0, end);
        pending.erase(0, end + 1);
        std::lock_guard<std::mutex> lock(mutex_);
        lines_.push_back(line);
        Value request;
        JsonTextError error;
        std::optional<std::string> reply = script_(parse_json(line, request, error) ? request : Value::object());
        if (!reply) n = 0;
        else if (!reply->empty()) ::send(client, (*reply + "\n").data(), reply->size() + 1, MSG_NOSIGNAL);
      }
      if (n <= 0) ::close(std::exchange(client, -1));
    }
    if (client >= 0) ::close(client);
  }

  Script script_;
  int listener_ = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  std::uint16_t port_ = 0;
  std::atomic<bool> stop_{false};
  mutable std::mutex mutex_;
  std::vector<std::string> lines_;
  std::thread thread_;
};

// The answer to `request`: its id, then `members` ("k":v,...).
std::string answer(const Value& request, const std::string& members) {
  return "{\"id\":" + std::to_string(static_cast<long long>(request.get("id").number)) + "," + members + "}";
}

// An island-like game: ground at y = 100 where |x| <= 1000 and open sea elsewhere, Link at (0, 100, 200).
std::optional<std::string> island(const Value& request) {
  const std::string op = request.get("op").string("");
  auto ground = [](const Value& x) { return std::fabs(x.number) <= 1000.0; };
  std::string members;
  if (op == "hello") members = R"("protocol":1,"world":"island")";
  if (op == "ground_height") {
    members = ground(request.get("x")) ? R"("found":true,"height":100)" : R"("found":false,"note":"open sea below")";
  }
  if (op == "ground_heights") {
    std::string heights, found;
    for (std::size_t k = 0; k + 2 < request.get("probes").items.size(); k += 3) {
      const bool on = ground(request.get("probes").items[k]);
      heights += std::string(k ? "," : "") + (on ? "100" : "0");
      found += std::string(k ? "," : "") + (on ? "1" : "0");
    }
    members = "\"heights\":[" + heights + "],\"found\":[" + found + "]";
  }
  if (op == "link") members = R"("x":0,"y":100,"z":200)";
  if (op == "load") members = R"("walking":0)";
  if (op == "live_route") members = R"("route":null)";
  if (members.empty()) return answer(request, R"("ok":false,"error":"unknown op \")" + op + "\\\"\"");
  return answer(request, "\"ok\":true," + members);
}

Value parse(const std::string& text) {
  Value value;
  JsonTextError error;
  EXPECT_TRUE(parse_json(text, value, error)) << error.message();
  return value;
}

std::unique_ptr<GameLink> link_to(std::uint16_t port, editor::Session::Package* package = nullptr) {
  GameAddress address;
  address.port = port;
  auto link = std::make_unique<GameLink>(address, kShortTimeoutSeconds);
  if (package) link->loaded_packages = [=] { return std::vector<const editor::Session::Package*>{package}; };
  return link;
}

TEST(GameAddress, ReadsHostAndPortAndRefusesTheRest) {
  const std::pair<const char*, const char*> cases[] = {  // text, error
      {"127.0.0.1:47800", ""},
      {"localhost:1", ""},
      {"127.0.0.1", "the game address \"127.0.0.1\" is not HOST:PORT"},
      {":47800", "the game address \":47800\" is not HOST:PORT"},
      {"127.0.0.1:0", "the game address \"127.0.0.1:0\" has no port between 1 and 65535"},
      {"127.0.0.1:65536", "the game address \"127.0.0.1:65536\" has no port between 1 and 65535"},
      {"127.0.0.1:47x", "the game address \"127.0.0.1:47x\" has no port between 1 and 65535"},
  };
  for (const auto& [text, expected] : cases) {
    GameAddress address;
    std::string error;
    EXPECT_EQ(parse_game_address(text, address, error), !*expected) << text;
    EXPECT_EQ(error, expected);
    EXPECT_EQ(address.text(), *expected ? "127.0.0.1:47800" : text);  // unchanged after a refusal
  }
}

TEST(GameLink, GreetsLoadsEveryPackageAndSpeaksEachOp) {
  FakeGame game(island);
  editor::Session::Package package{"windfall_walks", parse(R"({"actors":[{"id":"gate_1"}]})")};
  auto link = link_to(game.port(), &package);
  ASSERT_TRUE(link->ensure_connected()) << link->last_problem();
  EXPECT_EQ(link->world(), "island");

  float height = 0;
  std::string note, error;
  EXPECT_TRUE(link->ground_height({0, 200, 0}, height, note));
  EXPECT_EQ(height, 100.0f);
  EXPECT_FALSE(link->ground_height({2000, 200, 0}, height, note));
  EXPECT_EQ(note, "open sea below");
  std::vector<float> heights;
  std::vector<bool> found;
  ASSERT_TRUE(link->ground_heights({{0, 200, 0}, {5000, 1, 2}}, heights, found, error)) << error;
  EXPECT_EQ(heights, (std::vector<float>{100, 0}));
  EXPECT_EQ(found, (std::vector<bool>{true, false}));
  ASSERT_TRUE(link->ground_heights({}, heights, found, error)) << error;
  EXPECT_TRUE(heights.empty() && found.empty());
  WorldPoint at;
  ASSERT_TRUE(link->link_position(at, error)) << error;
  EXPECT_EQ(at.z, 200.0f);
  EXPECT_FALSE(link->camera_position(at, error));
  EXPECT_EQ(error, "the game refused \"camera\": unknown op \"camera\"");
  EXPECT_TRUE(link->connected());  // a refusal is an answer, not a broken link
  EXPECT_TRUE(link->live_route(package, "gate_1").is_null());

  const std::vector<std::string> lines = game.lines();
  ASSERT_EQ(lines.size(), 9u);
  EXPECT_EQ(lines[0], R"({"id":1,"op":"hello"})");
  EXPECT_EQ(lines[1], R"({"id":2,"op":"load","package":"windfall_walks","document":{"actors":[{"id":"gate_1"}]}})");
  EXPECT_EQ(lines[2], R"({"id":3,"op":"ground_height","x":0,"y":200,"z":0})");
  EXPECT_EQ(lines[4], R"({"id":5,"op":"ground_heights","probes":[0,200,0,5000,1,2]})");
  EXPECT_EQ(lines[5], R"({"id":6,"op":"ground_heights","probes":[]})");
  EXPECT_EQ(lines[8], R"({"id":9,"op":"live_route","package":"windfall_walks","actor":"gate_1"})");
}

TEST(GameLink, ProbesAndHeightsTravelBitExact) {
  // Heights come back as the game prints them: the shortest text of the float it found.
  FakeGame game([](const Value& request) {
    if (request.get("op").string("") != "ground_height") return island(request);
    const float y = static_cast<float>(request.get("y").number);
    return std::optional(answer(request, R"("ok":true,"found":true,"height":)" + GameLink::float_text(y)));
  });
  auto link = link_to(game.port());
  ASSERT_TRUE(link->connect_now()) << link->last_problem();
  for (float y : {0.1f, -40.5f, 1e-7f, 3.4028235e38f, 16777215.0f, 1234.5678f, -0.0f, 1.17549435e-38f}) {
    float height = 0;
    std::string note;
    ASSERT_TRUE(link->ground_height({1.0f / 3.0f, y, 2.0f / 3.0f}, height, note));
    EXPECT_EQ(std::bit_cast<std::uint32_t>(height), std::bit_cast<std::uint32_t>(y)) << y;
    const Value sent = parse(game.lines().back());
    EXPECT_EQ(std::bit_cast<std::uint32_t>(static_cast<float>(sent.get("y").number)), std::bit_cast<std::uint32_t>(y));
    EXPECT_EQ(static_cast<float>(sent.get("x").number), 1.0f / 3.0f);
  }
  EXPECT_EQ(GameLink::float_text(0.1f), "0.1");  // the float's shortest form, not the double's
}

TEST(GameLink, ALinkFailureEndsTheCommandWithAClearErrorAndDropsTheConnectionWhileARefusalKeepsIt) {
  enum Op { Height, Heights, LinkPosition, LiveRoute };  // ground_height and live_route throw, the others answer
  struct Case {
    Op op;
    std::optional<std::string> reply;  // to the command, which is request 2
    const char* error;
    bool connected;
  };
  const std::string malformed = "the game sent a malformed answer: ";
  const Case cases[] = {
      {Height, std::nullopt, "the game closed the connection", false},
      {Height, "", "the game did not answer within 0.3 s", false},
      {Height, "Segmentation fault", "the game sent a malformed answer: line 1, column 1: ...", false},
      {Height, "[1,2]", "the game sent a malformed answer: not a JSON object", false},
      {Height, R"({"id":99,"ok":true,"found":false})",
       "the game sent a malformed answer: its \"id\" is not the request's 2", false},
      {Height, R"({"id":2,"found":false})", "the game sent a malformed answer: no boolean \"ok\"", false},
      {Height, R"({"id":2,"ok":true,"found":true,"height":"100"})",
       "the game sent a malformed answer: \"height\" is not a number", false},
      {Heights, R"({"id":2,"ok":true,"heights":[100,0.1],"found":[1,0]})", "", true},
      {Heights, R"({"id":2,"ok":true,"found":[true,false],"heights":[100,0.1]})", "", true},
      {Heights, R"({"id":2,"ok":true,"heights":[100],"found":[1]})",
       "the game sent a malformed answer: \"heights\" and \"found\" do not hold one entry per probe", false},
      {Heights, R"({"id":2,"ok":true,"heights":["100",0],"found":[1,0]})",
       "the game sent a malformed answer: entry 1 is not a number", false},
      {Heights, R"({"id":2,"ok":false,"error":"probes must be numbers"})",
       "the game refused \"ground_heights\": probes must be numbers", true},
      {LinkPosition, std::nullopt, "the game closed the connection", false},
      {LiveRoute, std::nullopt, "the game closed the connection", false},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.reply.value_or("(closes)"));
    FakeGame game([&](const Value& request) {
      return request.get("op").string("") == "hello" ? island(request) : c.reply;
    });
    auto link = link_to(game.port());
    ASSERT_TRUE(link->connect_now()) << link->last_problem();
    std::string error;
    std::vector<float> heights;
    std::vector<bool> found;
    float height = 0;
    WorldPoint at;
    editor::Session::Package package{"windfall_walks", Value::object()};
    bool ok = false, threw = false;
    try {
      if (c.op == Height) link->ground_height({0, 200, 0}, height, error);
      else if (c.op == Heights) ok = link->ground_heights({{0, 200, 0}, {0, 200, 25}}, heights, found, error);
      else if (c.op == LinkPosition) ok = link->link_position(at, error);
      else link->live_route(package, "gate_1");
    } catch (const GameLinkError& e) {
      threw = true;
      error = e.what();
    }
    const std::string expected = c.error;  // "..." at the end: the rest is the JSON reader's own words
    if (!expected.ends_with("...")) EXPECT_EQ(error, expected);
    else EXPECT_EQ(error.substr(0, expected.size() - 3), expected.substr(0, expected.size() - 3));
    EXPECT_EQ(ok, expected.empty());
    EXPECT_EQ(threw, c.op == Height || c.op == LiveRoute);
    EXPECT_EQ(link->connected(), c.connected);
    if (c.connected && !*c.error) {
      EXPECT_EQ(heights, (std::vector<float>{100.0f, 0.1f}));
      EXPECT_EQ(found, (std::vector<bool>{true, false}));
    }
    if (!c.connected) {
      EXPECT_FALSE(link->ground_heights({{0, 0, 0}}, heights, found, error));
      EXPECT_EQ(error, "the game is not connected");
    }
  }
}

TEST(GameLink, ConnectsToAGameThatStartsLateAndAgainAfterItRestarts) {
  const std::uint16_t port = FakeGame(island).port();  // free a moment ago
  editor::Session::Package package{"windfall_walks", parse(R"({"actors":[{"id":"gate_1"}]})")};
  auto link = link_to(port, &package);
  auto wait_and_connect = [&](const FakeGame& game) {
    std::this_thread::sleep_for(std::chrono::milliseconds(GameLink::kRetryIntervalMs + 50));
    ASSERT_TRUE(link->ensure_connected()) << link->last_problem();
    ASSERT_EQ(game.lines().size(), 2u);  // hello, then the package
    EXPECT_NE(game.lines()[1].find(R"("op":"load","package":"windfall_walks")"), std::string::npos);
  };
  EXPECT_FALSE(link->ensure_connected());
  EXPECT_EQ(link->last_problem().rfind("cannot reach the game at 127.0.0.1:" + std::to_string(port), 0), 0u);
  {
    FakeGame game(island, port);
    EXPECT_FALSE(link->ensure_connected());  // too soon after the last attempt
    wait_and_connect(game);
  }
  // The game went away: the link notices before the next command instead of failing inside it.
  EXPECT_FALSE(link->ensure_connected());
  EXPECT_FALSE(link->connected());
  FakeGame restarted(island, port);
  wait_and_connect(restarted);
  std::string error;
  package.document["actors"].items.push_back(parse(R"({"id":"gate_2"})"));
  ASSERT_TRUE(link->load_package(package, error)) << error;
  EXPECT_NE(restarted.lines().back().find("gate_2"), std::string::npos);
}

}  // namespace
}  // namespace host
