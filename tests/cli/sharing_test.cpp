// Several `pathwright` processes on one store: concurrent `call`s each wait their turn and none loses
// another's change, a second `serve` never edits beside the first, a `call` that waits too long names the
// process that holds the store, and opening a store clears what saves cut short by a crash left behind.
#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <memory>
#include <set>
#include <thread>

#include "store/store_lock.h"
#include "tests/cli/pathwright_process.h"

namespace host::testing {

using store::StoreLock;

namespace {

constexpr int kConcurrentCalls = 20;

// Each test on a copy of the demo store of its own, at `store`.
class Sharing : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_NE(copy_ = demo_store(), nullptr);
    store = copy_->path();
  }
  std::unique_ptr<server::TempFolder> copy_;
  std::string store;
};

std::vector<Value> points_of(const Value& document, const std::string& id) {
  for (const Value& actor : document.get("actors").items) {
    if (actor.get("id").str == id) return actor.get("path").get("points").items;
  }
  return {};
}

// Two `call`s at the same moment take turns on the store: the package keeps every change either answered.
TEST_F(Sharing, ConcurrentCallsLoseNoAnsweredChange) {
  const std::size_t before = points_of(parse(file_text(store + "/windfall.json")), "gate_guard").size();
  std::vector<std::unique_ptr<Child>> calls;
  for (int i = 0; i < kConcurrentCalls; ++i) {
    const std::string params = R"({"id":"gate_guard","position":{"x":)" + std::to_string(i) + R"(,"y":100,"z":7}})";
    calls.push_back(std::make_unique<Child>(
        PATHWRIGHT_BINARY, std::vector<std::string>{"call", "--store", store, "add_route_point", params}));
  }
  for (auto& call : calls) {
    std::string line, output;
    while (call->read_line(line)) output += line;
    EXPECT_EQ(call->finish(), 0) << output;
    EXPECT_TRUE(parse(output).has("point")) << output;
  }
  std::set<double> xs;
  for (const Value& point : points_of(parse(file_text(store + "/windfall.json")), "gate_guard")) {
    if (point.get("z").number == 7) xs.insert(point.get("x").number);
  }
  EXPECT_EQ(xs.size(), static_cast<std::size_t>(kConcurrentCalls)) << "answered changes missing from the file";
  EXPECT_EQ(points_of(parse(file_text(store + "/windfall.json")), "gate_guard").size(), before + kConcurrentCalls);
  std::string output;
  ASSERT_EQ(run({"call", "--store", store, "history"}, output), 0) << output;
  int added = 0;
  const Value history = parse(output);
  for (const Value& change : history.get("changes").items) added += change.get("label").str.find("Add") == 0;
  EXPECT_EQ(added, kConcurrentCalls) << "answered changes missing from the history: " << output;
}

// A store has one editor: a second `serve` on it refuses at start and names the process that holds it.
TEST_F(Sharing, SecondServeRefusesAStoreInUseAndNamesItsHolder) {
  Child first(PATHWRIGHT_BINARY, {"serve", "--store", store});
  ASSERT_TRUE(first.call("status").has("result"));
  std::string output;
  EXPECT_EQ(run({"serve", "--store", store}, output), 1);
  EXPECT_NE(output.find("is in use by process"), std::string::npos) << output;
  EXPECT_NE(output.find("serve --store " + store), std::string::npos) << output;
  EXPECT_EQ(first.finish(), 0);
  EXPECT_EQ(run({"serve", "--store", store}, output), 0) << "the lock outlived its holder: " << output;
}

// A running `serve` answers `call` itself (below); a process that holds the store without listening, such as
// another `call`, makes it wait. This test holds the lock itself, the way such a `call` would.
TEST_F(Sharing, CallWaitsForTheBoundThenNamesTheHolder) {
  bool held = false;
  std::string error;
  auto lock = StoreLock::take(store, 0, held, error);
  ASSERT_NE(lock, nullptr) << error;
  std::string output;
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(run({"call", "--store", store, "--lock-wait", "0.5", "status"}, output), 1);
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(500)) << "did not wait";
  EXPECT_NE(output.find("is in use by process " + std::to_string(::getpid())), std::string::npos) << output;
  EXPECT_NE(output.find("(waited 0.5 s)"), std::string::npos) << output;
  lock.reset();
  EXPECT_EQ(run({"call", "--store", store, "--lock-wait", "5", "status"}, output), 0) << output;
}

// `call` beside a running `serve` runs through the editor, over the store's socket, as one more change in
// the editor's history (never behind its back).
TEST_F(Sharing, CallBesideARunningServeGoesThroughIt) {
  Child editor(PATHWRIGHT_BINARY, {"serve", "--store", store});
  ASSERT_TRUE(editor.call("status").has("result"));
  const auto socket = std::filesystem::status(store + "/.pathwright/socket");
  EXPECT_EQ(socket.type(), std::filesystem::file_type::socket);
  EXPECT_EQ(socket.permissions() & std::filesystem::perms::all,
            std::filesystem::perms::owner_read | std::filesystem::perms::owner_write);

  std::string output;
  const std::string params = R"({"id":"gate_guard","position":{"x":5,"y":100,"z":7}})";
  ASSERT_EQ(run({"call", "--store", store, "add_route_point", params}, output), 0) << output;
  EXPECT_TRUE(parse(output).has("point")) << output;
  const Value history = editor.call("history", parse(R"({"package":"windfall"})"));
  ASSERT_FALSE(history.get("result").get("changes").items.empty()) << "the editor did not see the call's change";
  EXPECT_EQ(history.get("result").get("changes").items.back().get("label").str, "Add a route point to gate_guard");

  EXPECT_EQ(run({"call", "--store", store, "no_such_method"}, output), 2) << output;
  EXPECT_EQ(run({"call", "--store", store, "remove_route_point", R"({"id":"nobody","point":1})"}, output), 1) << output;
  EXPECT_NE(output.find("nobody"), std::string::npos) << output;
  EXPECT_EQ(editor.finish(), 0);
  EXPECT_FALSE(std::filesystem::exists(store + "/.pathwright/socket")) << "the socket outlived serve";
}

// A hand edit in place that keeps the size and the editor's last time stamp is still an outside change:
// the next edit is refused and the hand edit stays.
TEST_F(Sharing, SameSizeHandEditWithTheSameTimeIsFound) {
  const std::string file = store + "/windfall.json";
  Child server(PATHWRIGHT_BINARY, {"serve", "--store", store});
  ASSERT_TRUE(
      server.call("add_route_point", parse(R"({"id":"gate_guard","position":{"x":3,"y":100,"z":4}})")).has("result"));
  const std::string saved = file_text(file);
  for (int tries = 0; file_text(file) == saved && tries < 100; ++tries) {
    std::this_thread::sleep_for(std::chrono::milliseconds(50));  // until the change is folded into the file
  }
  const std::string folded = file_text(file);
  ASSERT_NE(folded, saved) << "the change was never saved";
  const auto stamp = std::filesystem::last_write_time(file);
  std::string edited = folded;
  edited.replace(edited.find("gate_guard"), 10, "gate_guarx");
  std::ofstream(file, std::ios::binary | std::ios::in | std::ios::out) << edited;  // in place, same inode
  std::filesystem::last_write_time(file, stamp);
  const Value refused =
      server.call("move_route_point", parse(R"({"id":"bar_sailor_sa1","point":1,"position":{"x":1,"y":100,"z":1}})"));
  EXPECT_NE(refused.get("error").get("message").str.find("changed outside the editor"), std::string::npos)
      << compact(refused);
  EXPECT_EQ(server.finish(), 0);
  EXPECT_EQ(file_text(file), edited) << "the hand edit was overwritten";
}

// Opening removes the temporaries of saves a kill cut short, and nothing else.
TEST_F(Sharing, OpeningRemovesOnlyTemporariesOfInterruptedSaves) {
  const std::string root = store + "/";
  std::filesystem::create_directories(root + ".pathwright");
  struct Case {
    std::string file;
    bool removed;
  };
  // clang-format off
  const Case cases[] = {
      {.file = "windfall.json.tmp-Ab3xY9", .removed = true},
      {.file = ".pathwright/windfall.journal.tmp-q1W2e3", .removed = true},
      {.file = "notes.txt.tmp-Ab3xY9", .removed = false},
      {.file = "windfall.json.tmp-short", .removed = false},
      {.file = ".json.tmp-Ab3xY9", .removed = false},
  };
  // clang-format on
  for (const Case& c : cases) std::ofstream(root + c.file) << "{";
  std::string output;
  ASSERT_EQ(run({"call", "--store", store, "status"}, output), 0) << output;
  for (const Case& c : cases) EXPECT_EQ(!std::filesystem::exists(root + c.file), c.removed) << c.file;
}

}  // namespace
}  // namespace host::testing
