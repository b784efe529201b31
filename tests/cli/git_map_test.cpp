// A running `pathwright map` on a store kept in git, while git merges (with the Pathwright driver),
// stashes and switches branches under it. The file git writes is a change made outside the editor, never a
// save to replay the journal onto: every change the map answered is either in a file git holds or set
// aside and reported, and after a reload the map's JSON-RPC holds the routes of the file as git left it.
#include <httplib.h>
#include <signal.h>

#include <chrono>
#include <string>
#include <thread>

#include "git_repository.h"

namespace host::testing {
namespace {

constexpr const char* kToken = "00112233445566778899aabbccddeeff";
constexpr int kPolls = 200;                                // how often a test looks for a save, 50 ms apart
constexpr auto kPollStep = std::chrono::milliseconds(50);  // ms between two looks
constexpr const char* kMapLine = "Pathwright map: http://127.0.0.1:";

// `pathwright map` on the repository's store, without a game, spoken to over its HTTP JSON-RPC as the
// page speaks to it.
class RunningMap {
 public:
  explicit RunningMap(const Repository& repo)
      : child_(kPathwright, {"map", "--store", repo.folder(), "--port", "0", "--token", kToken},
               repo.folder() + ".err") {
    std::string line;
    EXPECT_TRUE(child_.read_line(line));
    EXPECT_EQ(line.rfind(kMapLine, 0), 0u) << line;
    if (line.rfind(kMapLine, 0) == 0) port_ = std::stoi(line.substr(std::string(kMapLine).size()));
  }
  // The answer to request `method` (null when none came).
  Value answer(const std::string& method, const std::string& params) {
    httplib::Client client("127.0.0.1", port_);
    client.set_read_timeout(20, 0);
    const std::string body = R"({"jsonrpc":"2.0","id":1,"method":")" + method + R"(","params":)" + params + "}";
    auto answer = client.Post("/rpc", {{"Authorization", std::string("Bearer ") + kToken}}, body, "application/json");
    return answer && answer->status == 200 ? parse(answer->body) : Value();
  }
  // The answer's "result" (null after a refusal, with a failed expectation).
  Value rpc(const std::string& method, const std::string& params) {
    const Value answered = answer(method, params);
    EXPECT_TRUE(answered.has("result")) << method << ": " << compact(answered);
    return answered.get("result");
  }
  Child& process() { return child_; }

 private:
  Child child_;
  int port_ = 0;
};

// The x of each point of actor `id`'s route in `document`, one digit each, as route() takes them.
std::string route_xs(const Value& document, const std::string& id) {
  std::string xs;
  for (const Value& actor : document.get("actors").items) {
    if (actor.get("id").str != id) continue;
    for (const Value& point : actor.get("path").get("points").items) xs += std::to_string(int(point.get("x").number));
  }
  return xs;
}

// Polls until the package file holds `xs` as actor a's route: the map saved its change.
bool saved(const Repository& repo, const std::string& xs) {
  for (int poll = 0; poll < kPolls; ++poll) {
    if (route_xs(parse(file_text(repo.path("yard.json"))), "a") == xs) return true;
    std::this_thread::sleep_for(kPollStep);
  }
  return false;
}

TEST(GitUnderRunningMap, TheFileGitWritesIsAnOutsideChangeAndNothingAnsweredIsLost) {
  const struct {
    const char* name;
    bool commit_saved;  // whether the saved change is committed before git acts
    const char* git;    // what git does while the next change waits to be saved
    const char *a, *b;  // the routes of actors a and b in the file git leaves
    const char* back;   // what git does next, which brings the saved change back; "" for nothing
    // clang-format off
  } cases[] = {
      {.name = "merge with the driver", .commit_saved = true,  .git = "git merge -q -m merge other", .a = "154", .b = "173", .back = ""},
      {.name = "stash, then pop",       .commit_saved = false, .git = "git stash -q",                .a = "123", .b = "123", .back = "git stash pop -q"},
      {.name = "checkout of a branch",  .commit_saved = true,  .git = "git checkout -q other",       .a = "124", .b = "173", .back = "git checkout -q trunk"},
  };
  // clang-format on
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    Repository repo;
    repo.commit("yard.json", two(route("a", "123"), route("b", "123")), "base");
    ASSERT_EQ(repo.run("git checkout -q -b other").status, 0);
    repo.commit("yard.json", two(route("a", "124"), route("b", "173")), "other");  // a: beside the map's edit
    ASSERT_EQ(repo.run("git checkout -q trunk").status, 0);
    RunningMap map(repo);

    // A change the map saves into the file, and (maybe) commits.
    map.rpc("move_route_point",
            R"({"package": "yard", "id": "a", "point": 2, "position": {"x": 5, "y": 0, "z": 0}, "snap": false})");
    ASSERT_TRUE(saved(repo, "153")) << "the map never saved its change";
    if (c.commit_saved) { ASSERT_EQ(repo.run("git commit -q -a -m saved").status, 0); }
    // A change still waiting to be saved (at least 400 ms) when git writes the file: the map stands still
    // meanwhile, so git comes first.
    map.rpc("set_route", R"({"package": "yard", "id": "a", "mode": "loop"})");
    map.process().signal(SIGSTOP);
    const std::string before_git = file_text(repo.path("yard.json"));
    ASSERT_EQ(parse(before_git).get("actors").items.at(0).get("path").get("mode").str, "once")
        << "the waiting change was saved before git came";
    const Outcome git = repo.run(c.git);
    map.process().signal(SIGCONT);
    ASSERT_EQ(git.status, 0) << git.out;
    std::string from_git = file_text(repo.path("yard.json"));

    // The waiting change is reported, then set aside by the reload and kept.
    const Value history = map.rpc("history", R"({"package": "yard"})");
    Value waiting = Value::array();  // the label of the waiting change, alone
    waiting.items.push_back(history.get("changes").items.at(1).get("label"));
    const Value conflicts = map.rpc("status", "{}").get("conflicts");
    ASSERT_EQ(conflicts.items.size(), 1u) << compact(conflicts);
    EXPECT_EQ(compact(conflicts.items[0].get("waiting")), compact(waiting));
    const Value reload = map.rpc("reload", R"({"package": "yard"})");
    EXPECT_EQ(compact(reload.get("discarded")), compact(waiting));
    const Value kept = parse(file_text(repo.path(".pathwright/yard.discarded")));
    EXPECT_EQ(compact(kept.get("labels")), compact(waiting));
    EXPECT_EQ(kept.get("document").get("actors").items.at(0).get("path").get("mode").str, "loop");

    // The map now holds the file as git left it: what the page draws.
    const Value document = map.rpc("document", R"({"package": "yard"})").get("document");
    EXPECT_EQ(document, parse(from_git));
    EXPECT_EQ(route_xs(document, "a"), c.a);
    EXPECT_EQ(route_xs(document, "b"), c.b);
    EXPECT_TRUE(map.rpc("status", "{}").get("conflicts").items.empty());
    EXPECT_TRUE(map.rpc("history", R"({"package": "yard"})").get("changes").items.empty());

    // Git brings the saved change back (from trunk, from the stash): with nothing waiting, the next edit
    // is refused as for any outside change, and after a reload the map holds the change again.
    if (*c.back != '\0') {
      ASSERT_EQ(repo.run(c.back).status, 0) << c.back;
      const Value refused = map.answer("set_route", R"({"package": "yard", "id": "b", "mode": "loop"})");
      EXPECT_NE(refused.get("error").get("message").str.find("changed outside the editor"), std::string::npos)
          << compact(refused);
      EXPECT_FALSE(map.rpc("reload", R"({"package": "yard"})").has("discarded"));
      from_git = file_text(repo.path("yard.json"));
      EXPECT_EQ(map.rpc("document", R"({"package": "yard"})").get("document"), parse(from_git));
      EXPECT_EQ(route_xs(parse(from_git), "a"), "153");
    }

    map.process().signal(SIGTERM);
    EXPECT_EQ(map.process().finish(), 0) << file_text(repo.folder() + ".err");
    EXPECT_EQ(file_text(repo.path("yard.json")), from_git) << "the map wrote over the file git left";
    std::filesystem::remove(repo.folder() + ".err");
  }
}

}  // namespace
}  // namespace host::testing
