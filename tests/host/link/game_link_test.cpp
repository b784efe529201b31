// The game link against a scripted game on a real loopback socket: what travels each way, bit-exact
// floats, and a game that dies, hangs, babbles, starts late or restarts.
#include "host/link/game_link.h"

#include <gtest/gtest.h>

#include <bit>
#include <cstdint>
#include <cstring>
#include <memory>
#include <thread>

#include "host/json_text/json_text.h"
#include "tests/host/link/fake_game.h"

namespace host {
namespace {

using mods::json::Value;
using story_notebook::WorldPoint;
using testing::FakeGame;
using testing::Reply;

constexpr double kShortTimeoutSeconds = 0.3;  // s; keeps the hanging-game cases quick

Value parse(const std::string& text) {
  Value value;
  JsonTextError error;
  EXPECT_TRUE(parse_json(text, value, error)) << error.message();
  return value;
}

std::unique_ptr<GameLink> link_to(std::uint16_t port, double timeout = kShortTimeoutSeconds) {
  GameAddress address;
  address.port = port;
  return std::make_unique<GameLink>(address, timeout);
}

editor::Session::Package walks_package() {
  editor::Session::Package package{"windfall_walks", parse(R"({"actors":[{"id":"gate_1"}]})")};
  return package;
}

TEST(GameAddress, ReadsHostAndPortAndRefusesTheRest) {
  struct Case {
    const char* text;
    bool ok;
    const char* error;
  };
  const Case cases[] = {
      {"127.0.0.1:47800", true, ""},
      {"localhost:1", true, ""},
      {"127.0.0.1", false, "the game address \"127.0.0.1\" is not HOST:PORT"},
      {":47800", false, "the game address \":47800\" is not HOST:PORT"},
      {"127.0.0.1:0", false, "the game address \"127.0.0.1:0\" has no port between 1 and 65535"},
      {"127.0.0.1:65536", false, "the game address \"127.0.0.1:65536\" has no port between 1 and 65535"},
      {"127.0.0.1:47x", false, "the game address \"127.0.0.1:47x\" has no port between 1 and 65535"},
  };
  for (const Case& c : cases) {
    GameAddress address;
    std::string error;
    EXPECT_EQ(parse_game_address(c.text, address, error), c.ok) << c.text;
    EXPECT_EQ(error, c.error) << c.text;
    if (c.ok) {
      EXPECT_EQ(address.text(), c.text);
    }
  }
}

TEST(GameLink, GreetsLoadsEveryPackageAndSpeaksEachOp) {
  FakeGame game(testing::island_reply);
  auto link = link_to(game.port());
  editor::Session::Package package = walks_package();
  link->loaded_packages = [&] { return std::vector<const editor::Session::Package*>{&package}; };
  ASSERT_TRUE(link->ensure_connected()) << link->last_problem();
  EXPECT_EQ(link->world(), "island");

  float height = 0;
  std::string note;
  EXPECT_TRUE(link->ground_height({0, 200, 0}, height, note));
  EXPECT_EQ(height, 100.0f);
  EXPECT_FALSE(link->ground_height({2000, 200, 0}, height, note));
  EXPECT_EQ(note, "open sea below");

  std::vector<float> heights;
  std::vector<bool> found;
  std::string error;
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
    if (request.get("op").string("") != "ground_height") return testing::island_reply(request);
    Value fields = Value::object();
    fields["found"] = Value::of(true);
    float y = static_cast<float>(request.get("y").number);
    return Reply{Reply::Act::Answer, R"({"id":)" + std::to_string(static_cast<int>(request.get("id").number)) +
                                         R"(,"ok":true,"found":true,"height":)" + GameLink::float_text(y) + "}"};
  });
  auto link = link_to(game.port());
  ASSERT_TRUE(link->connect_now()) << link->last_problem();
  const float samples[] = {0.1f, -40.5f, 1e-7f, 3.4028235e38f, 16777215.0f, 1234.5678f, -0.0f, 1.17549435e-38f};
  for (float y : samples) {
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

TEST(GameLink, ABrokenGameEndsTheCommandWithAClearErrorAndDropsTheConnection) {
  struct Case {
    const char* name;
    Reply::Act act;
    const char* line;
    const char* error;
  };
  const Case cases[] = {
      {"killed mid-command", Reply::Act::Close, "", "the game closed the connection"},
      {"never answers", Reply::Act::Silent, "", "the game did not answer within 0.3 s"},
      {"sends garbage", Reply::Act::Answer, "Segmentation fault",
       "the game sent a malformed answer: line 1, column 1"},
      {"sends an array", Reply::Act::Answer, "[1,2]", "the game sent a malformed answer: not a JSON object"},
      {"answers another id", Reply::Act::Answer, R"({"id":99,"ok":true,"found":false})",
       "the game sent a malformed answer: its \"id\" is not the request's 2"},
      {"omits ok", Reply::Act::Answer, R"({"id":2,"found":false})",
       "the game sent a malformed answer: no boolean \"ok\""},
      {"sends a height as text", Reply::Act::Answer, R"({"id":2,"ok":true,"found":true,"height":"100"})",
       "the game sent a malformed answer: \"height\" is not a number"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    const Reply reply{c.act, c.line};
    const std::string expected = c.error;
    FakeGame game([&](const Value& request) {
      return request.get("op").string("") == "hello" ? testing::island_reply(request) : reply;
    });
    auto link = link_to(game.port());
    ASSERT_TRUE(link->connect_now()) << link->last_problem();
    float height = 0;
    std::string note;
    try {
      link->ground_height({0, 200, 0}, height, note);
      ADD_FAILURE() << "no GameLinkError";
    } catch (const GameLinkError& e) {
      EXPECT_EQ(std::string(e.what()).substr(0, expected.size()), expected);
    }
    EXPECT_FALSE(link->connected());
    std::vector<float> heights;
    std::vector<bool> found;
    std::string error;
    EXPECT_FALSE(link->ground_heights({{0, 0, 0}}, heights, found, error));
    EXPECT_EQ(error, "the game is not connected");
  }
}

TEST(GameLink, GroundHeightsTakesOnlyOneWellFormedEntryPerProbe) {
  struct Case {
    const char* fields;  // the answer's members after "id"
    bool ok;
    std::vector<bool> found;
    const char* error;
  };
  const Case cases[] = {
      {R"("ok":true,"heights":[100,0.1],"found":[1,0])", true, {true, false}, ""},
      {R"("ok":true,"found":[true,false],"heights":[100,0.1])", true, {true, false}, ""},
      {R"("ok":true,"heights":[100],"found":[1])", false, {},
       "the game sent a malformed answer: \"heights\" and \"found\" do not hold one entry per probe"},
      {R"("ok":true,"heights":["100",0],"found":[1,0])", false, {},
       "the game sent a malformed answer: entry 1 is not a number"},
      {R"("ok":false,"error":"probes must be numbers")", false, {},
       "the game refused \"ground_heights\": probes must be numbers"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.fields);
    FakeGame game([&](const Value& request) {
      if (request.get("op").string("") == "hello") return testing::island_reply(request);
      const int id = static_cast<int>(request.get("id").number);
      return Reply{Reply::Act::Answer, "{\"id\":" + std::to_string(id) + "," + c.fields + "}"};
    });
    auto link = link_to(game.port());
    ASSERT_TRUE(link->connect_now()) << link->last_problem();
    std::vector<float> heights;
    std::vector<bool> found;
    std::string error;
    EXPECT_EQ(link->ground_heights({{0, 200, 0}, {0, 200, 25}}, heights, found, error), c.ok);
    EXPECT_EQ(error, c.error);
    if (c.ok) {
      EXPECT_EQ(found, c.found);
      EXPECT_EQ(heights, (std::vector<float>{100.0f, 0.1f}));
    }
  }
}

TEST(GameLink, OperationsWithAnErrorTextReportALinkFailureThere) {
  FakeGame game([](const Value& request) {
    return request.get("op").string("") == "hello" ? testing::island_reply(request) : Reply{Reply::Act::Close, ""};
  });
  auto link = link_to(game.port());
  ASSERT_TRUE(link->connect_now());
  WorldPoint at;
  std::string error;
  EXPECT_FALSE(link->link_position(at, error));
  EXPECT_EQ(error, "the game closed the connection");
  EXPECT_FALSE(link->connected());
  editor::Session::Package package = walks_package();
  EXPECT_THROW(link->live_route(package, "gate_1"), GameLinkError);
}

TEST(GameLink, ConnectsToAGameThatStartsLateAndAgainAfterItRestarts) {
  const std::uint16_t port = FakeGame::free_port();
  auto link = link_to(port);
  editor::Session::Package package = walks_package();
  link->loaded_packages = [&] { return std::vector<const editor::Session::Package*>{&package}; };
  EXPECT_FALSE(link->ensure_connected());
  EXPECT_NE(link->last_problem().find("cannot reach the game at 127.0.0.1:" + std::to_string(port)),
            std::string::npos);
  {
    FakeGame game(testing::island_reply, port);
    EXPECT_FALSE(link->ensure_connected());  // too soon after the last attempt
    std::this_thread::sleep_for(std::chrono::milliseconds(GameLink::kRetryIntervalMs + 50));
    ASSERT_TRUE(link->ensure_connected()) << link->last_problem();
    EXPECT_EQ(game.ops(), (std::vector<std::string>{"hello", "load"}));
  }
  // The game went away: the link notices before the next command instead of failing inside it.
  EXPECT_FALSE(link->ensure_connected());
  EXPECT_FALSE(link->connected());
  FakeGame restarted(testing::island_reply, port);
  std::this_thread::sleep_for(std::chrono::milliseconds(GameLink::kRetryIntervalMs + 50));
  ASSERT_TRUE(link->ensure_connected()) << link->last_problem();
  EXPECT_EQ(restarted.ops(), (std::vector<std::string>{"hello", "load"}));
  std::string error;
  package.document["actors"].items.push_back(parse(R"({"id":"gate_2"})"));
  ASSERT_TRUE(link->load_package(package, error)) << error;
  EXPECT_NE(restarted.lines().back().find("gate_2"), std::string::npos);
}

}  // namespace
}  // namespace host
