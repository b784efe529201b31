// `pathwright serve` and `pathwright call` end to end: the real binary on a temporary copy of the demo
// store, spoken to over pipes, with the simulated game as its own process.
#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>
#include <thread>

#include "link/game_link.h"
#include "tests/cli/pathwright_process.h"

namespace host::testing {

using link::GameLink;

namespace {

// "code:id" for an error answer, "ok:id" for a result; a batch in brackets.
std::string summary(const Value& answer) {
  std::string items;
  for (const Value& item : answer.items) (items += items.empty() ? "" : ",") += summary(item);
  if (answer.is_array()) return "[" + items + "]";
  const Value& code = answer.get("error").get("code");
  return (code.is_number() ? std::to_string(static_cast<int>(code.number)) : "ok") + ":" + compact(answer.get("id"));
}

// Beside the error answers that docs/json-rpc.md shows (and doc_tests runs against `serve`).
TEST(JsonRpcServe, AnswersBadMessagesAsJsonRpcSaysAndGoesOnServing) {
  // A line, and the summaries of its answers.
  const struct {
    const char* line;
    const char* answers;  // "" when nothing is answered
    // clang-format off
  } cases[] = {
      {.line = R"({"jsonrpc":"2.0","method":"fly"})", .answers = ""},
      {.line = R"({"jsonrpc":"2.0","id":2})", .answers = "-32600:2"},
      {.line = R"({"jsonrpc":"2.0","id":{"a":1},"method":"status"})", .answers = "-32600:null"},
      {.line = R"({"jsonrpc":"2.0","id":"five","method":"status","params":"x"})", .answers = "-32602:\"five\""},
      {.line = "[1]", .answers = "[-32600:null]"},
      {.line = R"([{"jsonrpc":"2.0","id":6,"method":"status"},{"jsonrpc":"2.0","method":"status"},)"
               R"({"jsonrpc":"2.0","id":7,"method":"fly"}])",
       .answers = "[ok:6,-32601:7]"},
      {.line = R"([{"jsonrpc":"2.0","method":"status"},{"jsonrpc":"2.0","method":"undo"}])", .answers = ""},
      {.line = R"({"jsonrpc":"2.0","id":8,"method":"check_route","params":{"id":"gate_guard"}})", .answers = "1:8"},
  };
  // clang-format on
  auto store = demo_store();
  Child server(PATHWRIGHT_BINARY, {"serve", "--store", store->path()}, store->path() + "/serve.log");
  for (const auto& [request, expected] : cases) {
    // A status request after each case marks where the case's answers end.
    ASSERT_TRUE(server.send(request) && server.send(R"({"jsonrpc":"2.0","id":"end","method":"status"})"));
    std::string got, line;
    while (server.read_line(line) && parse(line).get("id") != Value::of("end")) (got += ' ') += summary(parse(line));
    EXPECT_EQ(got, *expected ? ' ' + std::string(expected) : "") << request;
  }
  EXPECT_EQ(server.finish(), 0);
}

// What each command does is guarded beside the code (tests/editor, tests/session, tests/store); here serve
// runs route and host commands on a real store and saves them when its input ends.
TEST(JsonRpcServe, RunsRouteAndHostCommandsAndSavesAtTheEnd) {
  // The method, its params, and the result or error it answers.
  const char* const guard = R"({"id":"gate_guard"})";
  const char* const no_game = R"({"code":1,"message":"the game is not running"})";
  const struct {
    const char* method;
    const char* params;
    const char* answer;  // the result, or the error
    // clang-format off
  } cases[] = {
      {.method = "add_route_point", .params = R"({"id":"gate_guard","position":{"x":-150.04,"y":100,"z":1100}})", .answer = R"({"id":"gate_guard","point":3})"},
      {.method = "set_route", .params = R"({"id":"gate_guard","mode":"loop"})", .answer = guard},
      {.method = "check_route", .params = guard, .answer = no_game},
      {.method = "remove_route", .params = R"({"id":"bar_worker_uw1"})", .answer = R"({"id":"bar_worker_uw1"})"},
      {.method = "undo", .params = "{}", .answer = R"({"package":"windfall","undone":"Remove the route of bar_worker_uw1"})"},
      {.method = "redo", .params = "{}", .answer = R"({"package":"windfall","redone":"Remove the route of bar_worker_uw1"})"},
      {.method = "packages", .params = "{}", .answer = R"({"packages":[{"actors":32,"name":"windfall","routes":16}]})"},
      {.method = "reload", .params = R"({"package":"windfall"})", .answer = R"({"actors":32,"changes":3,"package":"windfall"})"},
  };
  // clang-format on
  auto store = demo_store();
  Child server(PATHWRIGHT_BINARY, {"serve", "--store", store->path()}, store->path() + "/serve.log");
  for (const auto& [method, params, expected] : cases) {
    const Value answer = server.call(method, parse(params));
    EXPECT_EQ(compact(answer.has("result") ? answer.get("result") : answer.get("error")), expected) << method;
  }
  EXPECT_EQ(compact(server.call("status").get("result").get("game")),
            R"j({"connected":false,"problem":"no game address was given (--game HOST:PORT, --demo or )j"
            R"j(--world FILE.obj)"})j");
  EXPECT_EQ(server.call("history").get("result").get("changes").items.size(), 3u);
  const Value document = server.call("document").get("result").get("document");
  EXPECT_EQ(
      compact(document.get("actors").items.at(0).get("path")),  // gate_guard, the demo's first actor
      R"({"mode":"loop","pauses":4,"points":[{"x":-600,"y":100,"z":1100},{"x":-300,"y":100,"z":1100},{"x":-150,"y":100,"z":1100}]})");
  EXPECT_EQ(server.finish(), 0);
  // The end of input saved everything into the package file itself.
  EXPECT_EQ(parse(file_text(store->path() + "/windfall.json")), document);
}

TEST(DemoStore, IsWrittenInTheLayoutThatSavingPrints) {
  // So that saving an unchanged package rewrites the very same bytes.
  const std::string text = file_text(std::string(PATHWRIGHT_EXAMPLES_DIR) + "/windfall/windfall.json");
  std::string printed, error;
  ASSERT_TRUE(json_text::print_json(parse(text), json_text::JsonLayout::Indented, printed, error)) << error;
  EXPECT_EQ(printed, text);
}

// Regression (the flags' rows): `--lock-wait -1` printed a range with a 309-digit upper end.
TEST(CommandLine, ExitStatusAndErrorSayHowItWentAndTheChangeIsSaved) {
  auto store = demo_store();
  const std::string err_file = store->path() + "/call.err";
  // The arguments, the exit status, and standard error ("..." at the end when only its start is pinned).
  struct Case {
    std::vector<std::string> args;
    int status;
    const char* err;
  };
  // clang-format off
  const Case cases[] = {
      {.args = {"call", "status"}, .status = 0, .err = ""},
      {.args = {"call", "add_route_point", R"({"id":"baker_ub3","position":{"x":10,"y":100,"z":10}})"}, .status = 0, .err = ""},
      // The next call finds the point saved.
      {.args = {"call", "remove_route_point", R"({"id":"baker_ub3","point":6})"}, .status = 1, .err = "\"point\" is a point number from 1 to 5\n"},
      {.args = {"call", "remove_route_point", R"({"id":"baker_ub3","point":5})"}, .status = 0, .err = ""},
      {.args = {"call", "fly"}, .status = 2, .err = "pathwright: unknown method \"fly\"\n"},
      {.args = {"call", "check_route", R"({"id":"baker_ub3"})"}, .status = 1, .err = "the game is not running\n"},
      {.args = {"call", "add_route_point", "{bad"}, .status = 2, .err = "pathwright: the parameters are not JSON: line 1, column 2..."},
      {.args = {"call", "add_route_point", "[1]"}, .status = 2, .err = "pathwright: the parameters must be a JSON object\n"},
      {.args = {"call", "status", "--game", "nowhere"}, .status = 2, .err = "pathwright: the game address \"nowhere\" is not HOST:PORT\n"},
      {.args = {"call"}, .status = 2, .err = "..."},
      {.args = {"fly"}, .status = 2, .err = "pathwright: unknown command \"fly\" (the commands are serve, call, map, check, diff, merge, resolve, bridge-check and tour)\n"},
      {.args = {"call", "--lock-wait", "-1", "status"}, .status = 2, .err = "--lock-wait: the lock wait is 0 to 86400 seconds, not -1\n..."},
      {.args = {"call", "--lock-wait", "1e400", "status"}, .status = 2, .err = "--lock-wait: the lock wait is 0 to 86400 seconds, not 1e400\n..."},
      {.args = {"call", "--game-timeout", "0", "status"}, .status = 2, .err = "--game-timeout: the game timeout is 0.001 to 3600 seconds, not 0\n..."},
      {.args = {"serve", "--max-request", "0"}, .status = 2, .err = "--max-request: the longest request is 1 to 1073741824 bytes, not 0\n..."},
      {.args = {"map", "--port", "70000"}, .status = 2, .err = "--port: the port is 0 to 65535 (0 picks a free one), not 70000\n..."},
      {.args = {"map", "--port", "-1"}, .status = 2, .err = "--port: the port is 0 to 65535 (0 picks a free one), not -1\n..."},
  };
  // clang-format on
  for (const Case& c : cases) {
    std::vector<std::string> args = c.args;
    if (args.size() > 1) args.insert(args.begin() + 1, {"--store", store->path()});
    Child run(PATHWRIGHT_BINARY, args, err_file);
    EXPECT_EQ(run.finish(), c.status) << args[1];
    const std::string err = file_text(err_file), expected = c.err;
    std::remove(err_file.c_str());
    EXPECT_EQ(err.substr(0, expected.find("...")), expected.substr(0, expected.find("...")));
  }
  Child game(PATHWRIGHT_GAME_BINARY, {"--port", "70000"});
  std::string line, text;
  ASSERT_TRUE(game.read_line(line));
  EXPECT_EQ(line, "--port: the port is 0 to 65535 (0 picks a free one), not 70000");
  EXPECT_NE(game.finish(), 0);
  Child help(PATHWRIGHT_BINARY, {"call", "--help"});
  while (help.read_line(line)) text += line + "\n";
  EXPECT_NE(text.find("--game-timeout"), std::string::npos);
  EXPECT_EQ(help.finish(), 0);
}

// Asks for status until the game is connected (the server tries at most every half second).
bool wait_for_game(Child& server) {
  for (int attempt = 0; attempt < 100; ++attempt) {
    if (server.call("status").get("result").get("game").get("connected") == Value::of(true)) return true;
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
  }
  return false;
}

TEST(JsonRpcServe, FollowsTheGameThroughAbsenceStartDeathRestartAndHang) {
  // The simulated game picks a free port and says which; it is started again on that port later.
  std::vector<std::string> args{"--port", "0", "--clock", "manual"};
  auto game = std::make_unique<Child>(PATHWRIGHT_GAME_BINARY, args);
  std::string line;
  ASSERT_TRUE(game->read_line(line)) << "the game did not start";  // "... listening on 127.0.0.1:PORT (...)"
  args[1] = line.substr(line.find("127.0.0.1:") + 10);
  args[1].resize(args[1].find(' '));
  const std::string address = "127.0.0.1:" + args[1];
  game.reset();
  auto store = demo_store();
  Child server(PATHWRIGHT_BINARY, {"serve", "--store", store->path(), "--game", address, "--game-timeout", "0.5"},
               store->path() + "/serve.log");
  const Value status = server.call("status").get("result");
  EXPECT_EQ(status.get("game").get("address"), Value::of(address));
  EXPECT_EQ(status.get("game").get("problem").string("").rfind("cannot reach the game at " + address + ": ", 0), 0u);
  const Value baker = parse(R"({"id":"baker_ub3"})");
  EXPECT_EQ(server.call("route_status", baker).get("error").get("message"), Value::of("the game is not running"));

  game = std::make_unique<Child>(PATHWRIGHT_GAME_BINARY, args);  // starts late
  ASSERT_TRUE(game->read_line(line) && line.find("listening") != std::string::npos) << "not listening again: " << line;
  ASSERT_TRUE(wait_for_game(server));
  const Value added = server.call("add_route_point", parse(R"({"id":"baker_ub3","at":"camera"})"));
  EXPECT_EQ(added.get("result").get("point"), Value::of(5.0));
  const Value walked = server.call("route_status", baker).get("result");
  EXPECT_EQ(compact(walked.get("points").items.at(4)), R"({"x":0,"y":100,"z":-100})");  // on the ground

  game.reset();  // killed: the next command finds no game rather than failing on the dead connection
  EXPECT_EQ(server.call("route_status", baker).get("error").get("message"), Value::of("the game is not running"));
  game = std::make_unique<Child>(PATHWRIGHT_GAME_BINARY, args);
  ASSERT_TRUE(game->read_line(line) && line.find("listening") != std::string::npos) << "not listening again: " << line;
  ASSERT_TRUE(wait_for_game(server));
  // The restarted game was handed the package again, with the point added before it died.
  EXPECT_EQ(server.call("route_status", baker).get("result").get("points").items.size(), 5u);

  game->signal(SIGSTOP);  // hung: the command ends after the timeout, the server goes on
  EXPECT_EQ(compact(server.call("check_route", baker).get("error")),
            R"({"code":2,"message":"the game did not answer within 0.5 s"})");
  // After one timeout the link backs off: status, and an edit that does not need the game, answer at once
  // while the game stays hung, instead of each waiting the whole timeout again.
  const auto start = std::chrono::steady_clock::now();
  const Value state = server.call("status").get("result").get("game");
  EXPECT_EQ(state.get("connected"), Value::of(false));
  EXPECT_GT(state.get("retry_in").number, 0) << compact(state);
  EXPECT_TRUE(server.call("history", parse(R"({"package":"windfall"})")).has("result"));
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(400)) << "waited for a hung game";
  // Once the back-off is over, commands that need no game still do not try the hung one.
  std::this_thread::sleep_for(std::chrono::milliseconds(GameLink::kFirstBackOffMs + 100));
  const auto later = std::chrono::steady_clock::now();
  EXPECT_TRUE(server.call("undo", parse(R"({"package":"windfall"})")).has("result"));
  EXPECT_LT(std::chrono::steady_clock::now() - later, std::chrono::milliseconds(400)) << "undo waited for the game";
  game->signal(SIGCONT);
  ASSERT_TRUE(wait_for_game(server));
  EXPECT_EQ(server.finish(), 0);
}

}  // namespace
}  // namespace host::testing
