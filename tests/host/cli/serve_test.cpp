// `pathwright serve` and `pathwright call` end to end: the real binary on a temporary copy of the demo
// store, spoken to over pipes.
#include <arpa/inet.h>
#include <netinet/in.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <chrono>
#include <fstream>
#include <sstream>
#include <thread>

#include "host/cli/temp_folder.h"
#include "host/json_text/json_text.h"
#include "tests/host/cli/pathwright_process.h"

namespace host::testing {
namespace {

using mods::json::Value;

std::unique_ptr<TempFolder> demo_store() {
  std::string error;
  auto store = TempFolder::copy_of(std::string(PATHWRIGHT_EXAMPLES_DIR) + "/windfall", error);
  EXPECT_NE(store, nullptr) << error;
  return store;
}

std::string file_text(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::stringstream text;
  text << in.rdbuf();
  return text.str();
}

// "code:id" for an error answer, "ok:id" for a result; a batch in brackets.
std::string summary(const Value& answer) {
  if (answer.is_array()) {
    std::string out = "[";
    for (const Value& item : answer.items) {
      if (out.size() > 1) out.push_back(',');
      out.append(summary(item));
    }
    out.push_back(']');
    return out;
  }
  const Value& error = answer.get("error");
  std::string head = error.is_object() ? std::to_string(static_cast<int>(error.get("code").number)) : "ok";
  return head + ":" + compact(answer.get("id"));
}

const Value& actor(const Value& document, const std::string& id) {
  for (const Value& a : document.get("actors").items) {
    if (a.get("id").string("") == id) return a;
  }
  static const Value none;
  return none;
}

TEST(JsonRpcServe, AnswersBadMessagesAsJsonRpcSaysAndGoesOnServing) {
  struct Case {
    const char* line;
    const char* answers;  // summaries of every answer line, "" for none
  };
  const Case cases[] = {
      {"this is not json", "-32700:null"},
      {R"({"jsonrpc":"2.0","id":1,"method":"fly"})", "-32601:1"},
      {R"({"jsonrpc":"2.0","method":"fly"})", ""},
      {R"({"jsonrpc":"2.0","id":2})", "-32600:2"},
      {R"({"id":3,"method":"status"})", "-32600:3"},
      {R"({"jsonrpc":"2.0","id":{"a":1},"method":"status"})", "-32600:null"},
      {R"({"jsonrpc":"2.0","id":4,"method":"status","params":[1]})", "-32602:4"},
      {R"({"jsonrpc":"2.0","id":"five","method":"status","params":"x"})", "-32602:\"five\""},
      {"[]", "-32600:null"},
      {"[1]", "[-32600:null]"},
      {R"([{"jsonrpc":"2.0","id":6,"method":"status"},{"jsonrpc":"2.0","method":"status"},)"
       R"({"jsonrpc":"2.0","id":7,"method":"fly"}])",
       "[ok:6,-32601:7]"},
      {R"([{"jsonrpc":"2.0","method":"status"},{"jsonrpc":"2.0","method":"undo"}])", ""},
      {R"({"jsonrpc":"2.0","id":8,"method":"check_route","params":{"id":"gate_guard"}})", "1:8"},
  };
  auto store = demo_store();
  ServeProcess server({"--store", store->path()}, store->path() + "/serve.log");
  for (const Case& c : cases) {
    // A status request after each case marks where the case's answers end.
    ASSERT_TRUE(server.send(c.line));
    ASSERT_TRUE(server.send(R"({"jsonrpc":"2.0","id":"end","method":"status"})"));
    std::string answers, line;
    for (;;) {
      ASSERT_TRUE(server.read_line(line)) << c.line;
      Value answer = parse(line);
      if (answer.get("id") == Value::of("end")) break;
      if (!answers.empty()) answers.push_back(' ');
      answers.append(summary(answer));
    }
    EXPECT_EQ(answers, c.answers) << c.line;
  }
  EXPECT_EQ(server.finish(), 0);
}

TEST(JsonRpcServe, RunsEveryRouteAndHostCommandAndSavesAtTheEnd) {
  struct Case {
    const char* method;
    const char* params;
    const char* member;  // a member of the result to compare, or "" to compare the error's message
    const char* wanted;  // that member's JSON text, or the error message
  };
  const Case cases[] = {
      {"add_route_point", R"({"id":"gate_guard","position":{"x":-150.04,"y":100,"z":1100}})", "point", "3"},
      {"move_route_point", R"({"id":"gate_guard","point":3,"position":{"x":-150,"y":100,"z":1300}})", "id",
       "\"gate_guard\""},
      {"reorder_route_point", R"({"id":"gate_guard","point":3,"to":1})", "id", "\"gate_guard\""},
      {"remove_route_point", R"({"id":"gate_guard","point":1})", "id", "\"gate_guard\""},
      {"set_route", R"({"id":"gate_guard","mode":"loop"})", "id", "\"gate_guard\""},
      {"remove_route", R"({"id":"bar_worker_uw1"})", "id", "\"bar_worker_uw1\""},
      {"add_route_point", R"({"id":"harbour_seated_ym1","position":{"x":0,"y":100,"z":0}})", "",
       "this villager is seated and does not walk"},
      {"move_route_point", R"({"id":"gate_guard","point":9,"position":{"x":0,"y":100,"z":0}})", "",
       "\"point\" is a point number from 1 to 2"},
      {"check_route", R"({"id":"gate_guard"})", "", "the game is not running"},
      {"route_status", R"({"id":"gate_guard"})", "", "the game is not running"},
      {"add_route_point", R"({"id":"gate_guard","at":"link"})", "",
       "the game is not running: \"at\" needs it to find link or the camera"},
      {"undo", "{}", "undone", "\"Remove the route of bar_worker_uw1\""},
      {"redo", "{}", "redone", "\"Remove the route of bar_worker_uw1\""},
      {"packages", "{}", "packages",
       R"([{"actors":30,"name":"windfall","routes":14}])"},
      {"reload", R"({"package":"windfall"})", "changes", "6"},
      {"status", "{}", "game", R"j({"connected":false,"problem":"no game address was given (--game HOST:PORT or --demo)"})j"},
  };
  auto store = demo_store();
  ServeProcess server({"--store", store->path()}, store->path() + "/serve.log");
  for (const Case& c : cases) {
    Value answer = server.call(c.method, parse(c.params));
    if (*c.member != '\0') {
      EXPECT_EQ(compact(answer.get("result").get(c.member)), c.wanted) << c.method << " " << compact(answer);
    } else {
      EXPECT_EQ(answer.get("error").get("message").string(""), c.wanted) << c.method << " " << compact(answer);
      EXPECT_EQ(answer.get("error").get("code"), Value::of(1.0));
    }
  }
  const Value history = server.result("history", Value::object());
  EXPECT_EQ(history.get("changes").items.size(), 6u);
  const Value document = server.result("document", Value::object()).get("document");
  EXPECT_EQ(compact(actor(document, "gate_guard").get("path")),
            R"({"mode":"loop","pauses":4,"points":[{"x":-600,"y":100,"z":1100},{"x":-300,"y":100,"z":1100}]})");
  EXPECT_EQ(server.finish(), 0);
  // The end of input saved everything into the package file itself.
  EXPECT_EQ(compact(parse(file_text(store->path() + "/windfall.json"))), compact(document));
}

TEST(DemoStore, IsWrittenInTheLayoutThatSavingPrints) {
  // So that saving an unchanged package rewrites the very same bytes.
  const std::string text = file_text(std::string(PATHWRIGHT_EXAMPLES_DIR) + "/windfall/windfall.json");
  std::string printed, error;
  ASSERT_TRUE(print_json(parse(text), JsonLayout::Indented, printed, error)) << error;
  EXPECT_EQ(printed, text);
}

TEST(JsonRpcServe, ReportsAGameThatCannotBeReached) {
  auto store = demo_store();
  ServeProcess server({"--store", store->path(), "--game", "127.0.0.1:1", "--game-timeout", "0.3"},
                      store->path() + "/serve.log");
  const Value status = server.result("status", Value::object());
  EXPECT_EQ(status.get("game").get("connected"), Value::of(false));
  EXPECT_EQ(status.get("game").get("address"), Value::of("127.0.0.1:1"));
  EXPECT_EQ(status.get("game_timeout"), Value::of(0.3));
  EXPECT_EQ(status.get("game").get("problem").string("").rfind("cannot reach the game at 127.0.0.1:1: ", 0), 0u);
  EXPECT_EQ(server.call("route_status", parse(R"({"id":"baker_ub3"})")).get("error").get("message"),
            Value::of("the game is not running"));
  EXPECT_EQ(server.finish(), 0);
}

TEST(CallCommand, ExitStatusSaysHowItWentAndTheChangeIsSaved) {
  auto store = demo_store();
  struct Case {
    std::vector<std::string> args;
    int status;
    const char* err;  // what standard error starts with
  };
  const Case cases[] = {
      {{"call", "status"}, 0, ""},
      {{"call", "add_route_point", R"({"id":"baker_ub3","position":{"x":10,"y":100,"z":10}})"}, 0, ""},
      {{"call", "fly"}, 2, "pathwright: unknown method \"fly\""},
      {{"call", "check_route", R"({"id":"baker_ub3"})"}, 1, "the game is not running"},
      {{"call", "add_route_point", "{bad"}, 2, "pathwright: the parameters are not JSON: line 1, column 2"},
      {{"call", "add_route_point", "[1]"}, 2, "pathwright: the parameters must be a JSON object"},
      {{"call", "status", "--game", "nowhere"}, 2, "pathwright: the game address \"nowhere\" is not HOST:PORT"},
      {{"call"}, 2, ""},
      {{"launch"}, 2, ""},
  };
  for (const Case& c : cases) {
    std::vector<std::string> args = c.args;
    if (args.size() > 1 && args[0] == "call") args.insert(args.begin() + 1, {"--store", store->path()});
    RunResult run = run_pathwright(args);
    EXPECT_EQ(run.exit_status, c.status) << args[1] << "\n" << run.err;
    EXPECT_EQ(run.err.rfind(c.err, 0), 0u) << run.err;
  }
  const Value document = parse(file_text(store->path() + "/windfall.json"));
  EXPECT_EQ(actor(document, "baker_ub3").get("path").get("points").items.size(), 5u);
  RunResult help = run_pathwright({"call", "--help"});
  EXPECT_EQ(help.exit_status, 0);
  EXPECT_NE(help.out.find("--game-timeout"), std::string::npos);
}

// A port on the loopback interface that was free a moment ago.
std::uint16_t free_port() {
  int fd = ::socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  ::bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof address);
  socklen_t length = sizeof address;
  ::getsockname(fd, reinterpret_cast<sockaddr*>(&address), &length);
  ::close(fd);
  return ntohs(address.sin_port);
}

// The simulated game as its own process, killed with SIGKILL when the object goes.
class GameProcess {
 public:
  explicit GameProcess(std::uint16_t port) {
    pid_ = ::fork();
    if (pid_ == 0) {
      // Dies with the test, and keeps no pipe of the test runner open behind it.
      ::prctl(PR_SET_PDEATHSIG, SIGKILL);
      int quiet = ::open("/dev/null", O_WRONLY);
      ::dup2(quiet, 1);
      ::dup2(quiet, 2);
      std::string binary = PATHWRIGHT_GAME_BINARY, port_text = std::to_string(port);
      ::execl(binary.c_str(), binary.c_str(), "--port", port_text.c_str(), "--clock", "manual", nullptr);
      ::_exit(127);
    }
  }
  ~GameProcess() {
    ::kill(pid_, SIGKILL);
    ::waitpid(pid_, nullptr, 0);
  }
  // Freezes the game (it stops answering, its connections stay open) or lets it go on.
  void freeze(bool frozen) { ::kill(pid_, frozen ? SIGSTOP : SIGCONT); }

 private:
  pid_t pid_;
};

// Asks for status until the game is connected (it needs a moment to start listening).
bool wait_for_game(ServeProcess& server) {
  for (int attempt = 0; attempt < 100; ++attempt) {
    if (server.result("status", Value::object()).get("game").get("connected") == Value::of(true)) return true;
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
  }
  return false;
}

TEST(JsonRpcServe, FollowsTheGameThroughDeathRestartAndHang) {
  auto store = demo_store();
  const std::uint16_t port = free_port();
  const std::string address = "127.0.0.1:" + std::to_string(port);
  ServeProcess server({"--store", store->path(), "--game", address, "--game-timeout", "0.5"},
                      store->path() + "/serve.log");
  auto game = std::make_unique<GameProcess>(port);
  ASSERT_TRUE(wait_for_game(server));
  const Value added = server.result("add_route_point", parse(R"({"id":"baker_ub3","at":"camera"})"));
  EXPECT_EQ(added.get("point"), Value::of(5.0));
  const Value walked = server.result("route_status", parse(R"({"id":"baker_ub3"})"));
  EXPECT_EQ(compact(walked.get("points").items.at(4)), R"({"x":0,"y":100,"z":-100})");  // on the ground

  game.reset();  // killed: the next command finds no game
  EXPECT_EQ(server.call("route_status", parse(R"({"id":"baker_ub3"})")).get("error").get("message"),
            Value::of("the game is not running"));
  game = std::make_unique<GameProcess>(port);
  ASSERT_TRUE(wait_for_game(server));
  // The restarted game was handed the package again, with the point added before it died.
  EXPECT_EQ(server.result("route_status", parse(R"({"id":"baker_ub3"})")).get("points").items.size(), 5u);

  game->freeze(true);  // hung: the command ends after the timeout, the server goes on
  const Value hung = server.call("check_route", parse(R"({"id":"baker_ub3"})"));
  EXPECT_EQ(compact(hung.get("error")), R"({"code":2,"message":"the game did not answer within 0.5 s"})");
  EXPECT_EQ(server.result("status", Value::object()).get("game").get("connected"), Value::of(false));
  game->freeze(false);
  ASSERT_TRUE(wait_for_game(server));
  EXPECT_EQ(server.finish(), 0);
}

}  // namespace
}  // namespace host::testing
