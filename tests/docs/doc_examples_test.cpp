// The request/answer examples of docs/game-link.md and docs/json-rpc.md, run in the order of the page
// against the simulated game's request handler and against `pathwright serve --demo`: an example the
// programs no longer answer as shown fails here, with the doc's line.
#include "tests/docs/doc_examples.h"

#include <gtest/gtest.h>

#include <functional>

#include "game/game_world.h"
#include "game/link_ops.h"
#include "tests/cli/pathwright_process.h"

namespace doc_examples {
namespace {

const std::string kDocs = PATHWRIGHT_DOCS_DIR;

// Runs every exchange of `doc` through `ask` and compares each answer with the doc's.
void check_doc(const std::string& doc, const std::function<std::string(const std::string&)>& ask) {
  std::vector<Exchange> exchanges;
  std::string error;
  ASSERT_TRUE(read_exchanges(file_text(kDocs + "/" + doc), exchanges, error)) << doc << ": " << error;
  ASSERT_FALSE(exchanges.empty()) << doc << " shows no exchange";
  for (const Exchange& exchange : exchanges) {
    SCOPED_TRACE(doc + ":" + std::to_string(exchange.line));
    const nlohmann::json expected = nlohmann::json::parse(exchange.answer, nullptr, false);
    ASSERT_FALSE(expected.is_discarded()) << "the doc's answer is not JSON: " << exchange.answer;
    const std::string answer = ask(exchange.request);
    const nlohmann::json actual = nlohmann::json::parse(answer, nullptr, false);
    std::string where;
    EXPECT_TRUE(!actual.is_discarded() && matches(expected, actual, where))
        << "sent     " << exchange.request << "\nanswered " << answer << "\ndiffers at " << where;
  }
}

struct ReadCase {
  const char* doc;
  bool ok;
  std::size_t exchanges;
  const char* last_request;  // continuations joined
  const char* error;
};

TEST(DocExamples, ReaderJoinsContinuationsAndRefusesAHalfExchange) {
  // clang-format off
  const ReadCase cases[] = {
      {.doc = "```\n-> {\"a\":\n    1}\n<- {}\n```\n", .ok = true, .exchanges = 1, .last_request = "{\"a\":1}", .error = ""},
      {.doc = "-> outside a block\n<- is prose\n", .ok = true, .exchanges = 0, .last_request = "", .error = ""},
      {.doc = "```\n-> {}\n\n    \n```\n", .ok = false, .exchanges = 0, .last_request = "", .error = "line 2: a request (->) without its answer (<-)"},
      {.doc = "```\n-> {}\n-> {}\n<- {}\n```\n", .ok = false, .exchanges = 0, .last_request = "", .error = "line 2: a request (->) without its answer (<-)"},
      {.doc = "```\n<- {}\n```\n", .ok = false, .exchanges = 0, .last_request = "", .error = "line 2: an answer (<-) without a request (->) before it"},
  };
  // clang-format on
  for (const ReadCase& c : cases) {
    std::vector<Exchange> exchanges;
    std::string error;
    EXPECT_EQ(read_exchanges(c.doc, exchanges, error), c.ok) << c.doc;
    EXPECT_EQ(exchanges.size(), c.exchanges) << c.doc;
    EXPECT_EQ(error, c.error) << c.doc;
    if (!exchanges.empty()) { EXPECT_EQ(exchanges.back().request, c.last_request); }
  }
}

struct MatchCase {
  const char* expected;
  const char* actual;
  bool matches;
};

TEST(DocExamples, PlaceholdersStandForAnyValueAndNothingElseIsLoose) {
  // clang-format off
  const MatchCase cases[] = {
      {.expected = R"({"a":1,"b":[2]})", .actual = R"({"b":[2.0],"a":1})", .matches = true},
      {.expected = R"({"store":"<the store folder>"})", .actual = R"({"store":{"x":1}})", .matches = true},
      {.expected = R"({"a":1})", .actual = R"({"a":1,"b":2})", .matches = false},
      {.expected = R"({"a":1,"b":2})", .actual = R"({"a":1})", .matches = false},
      {.expected = R"([1,2])", .actual = R"([2,1])", .matches = false},
      {.expected = R"({"a":"<"})", .actual = R"({"a":"x"})", .matches = false},
  };
  // clang-format on
  for (const MatchCase& c : cases) {
    std::string where;
    EXPECT_EQ(matches(nlohmann::json::parse(c.expected), nlohmann::json::parse(c.actual), where), c.matches)
        << c.expected << " against " << c.actual;
  }
}

// Through the game's own request handler: carrying lines over a connection is tests/game/server_test.cpp's.
TEST(DocExamples, GameLinkPageAnswersAsTheSimulatedGame) {
  std::string error;
  auto world = game::GameWorld::island(game::Clock::Manual, error);
  ASSERT_NE(world, nullptr) << error;
  const game::LinkProtocol protocol(*world);
  check_doc("game-link.md", [&](const std::string& line) { return protocol.answer(line); });
}

TEST(DocExamples, JsonRpcPageAnswersAsServeOnTheDemo) {
  host::testing::Child serve(PATHWRIGHT_BINARY, {"serve", "--demo", "--examples", PATHWRIGHT_EXAMPLES_DIR},
                             "/dev/null");
  check_doc("json-rpc.md", [&](const std::string& line) {
    std::string answer;
    return serve.send(line) && serve.read_line(answer) ? answer : std::string();
  });
  EXPECT_EQ(serve.finish(), 0);
}

}  // namespace
}  // namespace doc_examples
