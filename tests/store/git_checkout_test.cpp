// A package kept in git: a file that git puts back (stash, checkout, reset) is a change made outside the
// editor, never a save to replay the journal onto, even when its content is a version the store once
// wrote. Real git in a temporary repository around the store folder; each reopen stands for the next
// one-shot `pathwright call`, a session kept open for a running `serve` or `map`.
#include <cstdlib>
#include <string>

#include "tests/store/store_fixture.h"

namespace store_test {
namespace {

struct GitCheckout : StoreTest {
  GitCheckout() {
    // The journal stays outside git, as a modder's .gitignore would keep it.
    EXPECT_EQ(git("init -q -b main"), 0);
    write_text(folder + "/.git/info/exclude", ".pathwright/\n");
    EXPECT_TRUE(set_walker_mode("loop").ok);  // so that the committed file is the store's own print
    EXPECT_EQ(flush_error(), "");
    EXPECT_EQ(git("add windfall.json"), 0);
    commit("base");
    base = read_text(package_path());
  }
  // `git ARGS` in the store folder, quietly: its exit status.
  int git(const std::string& args) {
    const std::string command =
        "git -C '" + folder + "' -c user.name=modder -c user.email=modder@example.org " + args + " >/dev/null 2>&1";
    return std::system(command.c_str());
  }
  void commit(const std::string& message) { ASSERT_EQ(git("commit -q -a -m '" + message + "'"), 0) << message; }
  // A one-shot call: a change, saved as the call ends, and a fresh session for whatever comes next.
  void call(const std::string& method, const std::string& params) {
    ASSERT_TRUE(run(method, params).ok) << method;
    ASSERT_EQ(flush_error(), "");
    reopen();
  }
  Value file() { return parse(read_text(package_path())); }
  std::size_t walker_points(const Value& document) {
    return document.get("actors").items[1].get("path").get("points").items.size();
  }
  bool statue_route(const Value& document) { return document.get("actors").items[3].has("path"); }

  std::string base;  // the committed file
  const std::string add_to_walker = R"({"id": "walker", "position": {"x": 30, "y": 0, "z": 0}})";
  const std::string remove_statue_route = R"({"id": "statue"})";
};

// A stash (as a reset --hard) puts back a version the store once wrote: the history that led away from it
// is no longer offered, and the next change holds only itself.
TEST_F(GitCheckout, StashThenChangeHoldsOnlyTheSecondChangeAndPopMergesTheFirst) {
  call("add_route_point", add_to_walker);
  ASSERT_EQ(git("stash -q"), 0);
  ASSERT_EQ(read_text(package_path()), base);
  EXPECT_EQ(document(), parse(base));
  EXPECT_EQ(run("undo").error, "nothing to undo in \"windfall\"");
  EXPECT_EQ(history().items.size(), 0u);
  call("remove_route", remove_statue_route);
  EXPECT_EQ(walker_points(file()), 2u);
  EXPECT_FALSE(statue_route(file()));
  EXPECT_EQ(walker_points(document()), 2u);
  EXPECT_EQ(git("diff --quiet -G'\"x\": 30'"), 0);  // the diff holds no trace of the stashed point

  commit("statue");  // git pops a stash only onto a file without changes of its own
  ASSERT_EQ(git("stash pop -q"), 0);
  EXPECT_EQ(walker_points(file()), 3u);
  EXPECT_FALSE(statue_route(file()));
  reopen();
  EXPECT_EQ(document(), file());
}

TEST_F(GitCheckout, EachBranchHoldsOnlyItsOwnChange) {
  ASSERT_EQ(git("branch other"), 0);
  call("add_route_point", add_to_walker);
  commit("walker");
  const std::string on_main = read_text(package_path());
  ASSERT_EQ(git("checkout -q other"), 0);
  ASSERT_EQ(read_text(package_path()), base);
  call("remove_route", remove_statue_route);
  commit("statue");
  EXPECT_EQ(walker_points(file()), 2u);
  EXPECT_FALSE(statue_route(file()));

  ASSERT_EQ(git("checkout -q main"), 0);
  EXPECT_EQ(read_text(package_path()), on_main);
  EXPECT_EQ(document(), parse(on_main));  // the statue's change is not replayed onto main's file
  EXPECT_EQ(read_text(package_path()), on_main);
  EXPECT_EQ(git("diff --quiet"), 0);
}

// A change a crash left in the journal only: the next open must not replay it onto the file git put back,
// nor drop it unsaid. (A running editor meets such a file as any outside change: git_map_test.cpp.)
TEST_F(GitCheckout, ChangeACrashLeftInTheJournalIsKeptAsideFromTheFileGitPutBack) {
  call("add_route_point", add_to_walker);
  ASSERT_TRUE(run("remove_route", remove_statue_route).ok);
  session.reset();  // the process dies before the checkpoint
  ASSERT_EQ(git("stash -q"), 0);
  reopen();
  EXPECT_EQ(document(), parse(base));
  const std::string refusal = "package \"windfall\" was changed outside the editor: reload it before editing";
  EXPECT_EQ(set_walker_mode("once").error, refusal);
  const Value conflicts = session->conflicts();
  ASSERT_EQ(conflicts.items.size(), 1u);
  EXPECT_EQ(conflicts.items[0].get("waiting").items.at(0).str, "Remove the route of statue");

  const Answer reloaded = run("reload");
  ASSERT_TRUE(reloaded.ok);
  EXPECT_EQ(reloaded.result.get("discarded").items.at(0).str, "Remove the route of statue");
  const Value kept = parse(read_text(folder + "/.pathwright/windfall.discarded"));
  ASSERT_EQ(kept.get("changes").items.size(), 1u);
  EXPECT_EQ(kept.get("changes").items[0].get("label").str, "Remove the route of statue");
  EXPECT_EQ(kept.get("changes").items[0].get("actor").number, 3);
  const Value removal = parse(R"([{"at": [], "member": "path",
      "before": {"points": [{"x": 1, "y": 0, "z": 0}, {"x": 2, "y": 0, "z": 0}], "mode": "loop", "speed": 60}}])");
  EXPECT_EQ(kept.get("changes").items[0].get("edits"), removal);
  call("set_route", R"({"id": "walker", "mode": "once"})");
  EXPECT_EQ(session->conflicts().items.size(), 0u);
  EXPECT_EQ(read_text(package_path()).find("\"back_and_forth\""), std::string::npos);
  EXPECT_EQ(walker_mode(), "once");
  EXPECT_TRUE(statue_route(document()));
}

}  // namespace
}  // namespace store_test
