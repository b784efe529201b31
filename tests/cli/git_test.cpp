// `pathwright diff`, `merge` and `resolve` with real git in temporary repositories: the merge driver on
// two branches, the external diff on commits, and damaged input. The store's behaviour under a running
// map while git rewrites its store is in git_map_test.cpp.
#include <filesystem>
#include <string>

#include "git_repository.h"

namespace host::testing {
namespace {

// Commits `base`, then `theirs` on a branch and `ours` on trunk, and merges the branch into trunk.
Outcome merged(const Repository& repo, const std::string& base, const std::string& ours, const std::string& theirs) {
  repo.commit("yard.json", base, "base");
  EXPECT_EQ(repo.run("git checkout -q -b theirs").status, 0);
  repo.commit("yard.json", theirs, "theirs");
  EXPECT_EQ(repo.run("git checkout -q trunk").status, 0);
  repo.commit("yard.json", ours, "ours");
  return repo.run("git merge -q -m merge theirs");
}

// The merge itself, case by case, is in tests/compare/package_merge_test.cpp; here git runs the driver.
TEST(GitMerge, TheDriverMergesEditsOfDifferentActorsAndPoints) {
  struct Yard {
    const char *a, *b;  // the x of each point of actor a's route, and of actor b's
  };
  const struct {
    const char* name;
    Yard base, ours, theirs, result;
    // clang-format off
  } cases[] = {
      {.name = "different actors", .base = {"123", "123"}, .ours = {"153", "123"}, .theirs = {"123", "173"}, .result = {"153", "173"}},
      {.name = "different points of one route", .base = {"12345", "1"}, .ours = {"19345", "1"}, .theirs = {"12348", "1"}, .result = {"19348", "1"}},
  };
  // clang-format on
  const auto yard = [](const Yard& routes) { return two(route("a", routes.a), route("b", routes.b)); };
  for (const auto& c : cases) {
    Repository repo;
    const Outcome merge = merged(repo, yard(c.base), yard(c.ours), yard(c.theirs));
    EXPECT_EQ(merge.status, 0) << c.name << ": " << merge.out;
    EXPECT_EQ(file_text(repo.path("yard.json")), yard(c.result)) << c.name;
    EXPECT_FALSE(fs::exists(repo.path("yard.json.conflicts"))) << c.name;
    // The merged package loads in the store and is checked like any other.
    const Outcome check = repo.run("'" + kPathwright + "' call --store . check_package '{\"package\": \"yard\"}'");
    EXPECT_EQ(check.status, 0) << c.name << ": " << check.out;
  }
}

TEST(GitMerge, ThePointMovedDifferentlyOnBothSidesIsAConflictKeptBesideThePackage) {
  Repository repo;
  const std::string base = two(route("a", "123"), route("b", "1"));
  const std::string ours = two(route("a", "153"), route("b", "1"));
  const std::string theirs = two(route("a", "173"), route("b", "1"));
  const Outcome merge = merged(repo, base, ours, theirs);
  EXPECT_EQ(merge.status, 1) << merge.out;
  EXPECT_NE(merge.out.find("a: point 2: both sides moved it: ours (5, 0, 0), theirs (7, 0, 0)\n"
                           "conflicts kept in yard.json.conflicts\n"),
            std::string::npos)
      << merge.out;
  EXPECT_EQ(file_text(repo.path("yard.json")), ours);  // a valid package holding ours
  // What the conflicts file holds is in tests/compare/package_merge_test.cpp.
  EXPECT_TRUE(fs::exists(repo.path("yard.json.conflicts")));
  EXPECT_EQ(repo.run("git ls-files -u yard.json").out.empty(), false);  // git marks it conflicted

  // Taking theirs for the actor is one command; the conflicts file goes with the last conflict.
  const Outcome resolve = repo.run("'" + kPathwright + "' resolve yard.json --id a --take theirs");
  EXPECT_EQ(resolve.status, 0) << resolve.out;
  EXPECT_EQ(file_text(repo.path("yard.json")), theirs);
  EXPECT_FALSE(fs::exists(repo.path("yard.json.conflicts")));
  EXPECT_EQ(repo.run("git add yard.json && git commit -q -m merged").status, 0);
}

TEST(GitDiff, ShowsTheRouteLinesOfCommits) {
  Repository repo;
  repo.commit("yard.json", two(route("a", "123"), route("b", "1")), "base");
  const Outcome call = repo.run("'" + kPathwright +
                                "' call --store . move_route_point '{\"id\": \"a\", \"point\": 2, \"position\": "
                                "{\"x\": 2.5, \"y\": 0, \"z\": -4}}'");
  ASSERT_EQ(call.status, 0) << call.out;
  const std::string moved = "a: point 2 moved from (2, 0, 0) to (2.5, 0, -4)\n";
  EXPECT_EQ(repo.run("git diff").out, "diff --pathwright a/yard.json b/yard.json\n" + moved);
  EXPECT_EQ(repo.run("git add -A && git commit -q -m moved").status, 0);

  // Layout alone is no change.
  repo.write("yard.json", compact(parse(file_text(repo.path("yard.json")))));
  EXPECT_EQ(repo.run("git diff").out, "");
  EXPECT_EQ(repo.run("git checkout -q yard.json").status, 0);

  // A new and a deleted package: git hands /dev/null for the missing side.
  repo.commit("more.json", package(R"({"actors":[)" + route("c", "1") + "]}"), "new");
  EXPECT_EQ(repo.run("git rm -q yard.json && git commit -q -m gone").status, 0);
  const Outcome log = repo.run("git log -p --ext-diff --format=%s -- '*.json'");
  EXPECT_EQ(log.status, 0) << log.out;
  EXPECT_EQ(log.out,
            "gone\n\ndiff --pathwright a/yard.json b/yard.json\na: actor removed\nb: actor removed\n"
            "new\n\ndiff --pathwright a/more.json b/more.json\nc: actor added\n"
            "moved\n\ndiff --pathwright a/yard.json b/yard.json\n" +
                moved + "base\n\ndiff --pathwright a/yard.json b/yard.json\na: actor added\nb: actor added\n");
}

TEST(GitDiff, AJsonFileThatIsNoPackageIsShownAsText) {
  Repository repo;
  repo.commit("settings.json", "[1, 2]\n", "first");
  repo.write("settings.json", "[1, 3]\n");
  const Outcome diff = repo.run("git diff");
  EXPECT_EQ(diff.status, 0) << diff.out;
  EXPECT_NE(diff.out.find("settings.json: not compared as a package ("), std::string::npos) << diff.out;
  EXPECT_NE(diff.out.find("-[1, 2]\n+[1, 3]\n"), std::string::npos) << diff.out;
}

TEST(Version, BothProgramsPrintTheBuildsVersion) {
  for (const std::string& program : {kPathwright, std::string(PATHWRIGHT_GAME_BINARY)}) {
    Repository repo;
    const Outcome version = repo.run("'" + program + "' --version");
    EXPECT_EQ(version.status, 0) << program;
    EXPECT_EQ(version.out, fs::path(program).filename().string() + " " + PATHWRIGHT_VERSION + "\n");
  }
}

TEST(DiffAndMerge, DamagedInputIsTroubleAndWritesNothing) {
  Repository repo;
  const std::string good = two(route("a", "12"), route("b", "1"));
  repo.write("good.json", good);
  repo.write("out.json", good);
  repo.write("cut.json", "{\"actors\": [\n  {\"id\": \"a\"\n");
  repo.write("list.json", "[1, 2]\n");
  const std::string pw = "'" + kPathwright + "' ";
  const struct {
    std::string command, says;
    // clang-format off
  } cases[] = {
      {.command = pw + "diff good.json cut.json", .says = "pathwright diff: cut.json: line 3, column 1: unexpected end of text, expected ',' or '}'\n"},
      {.command = pw + "diff missing.json good.json", .says = "pathwright diff: missing.json: cannot be read: no such file or directory\n"},
      {.command = pw + "diff good.json list.json", .says = "pathwright diff: list.json: not a package: the text is JSON but not an object\n"},
      {.command = pw + "merge good.json cut.json good.json -o out.json", .says = "pathwright merge: cut.json: line 3, column 1: unexpected end of text, expected ',' or '}'; nothing written\n"},
      {.command = pw + "merge good.json good.json list.json -o out.json", .says = "pathwright merge: list.json: not a package: the text is JSON but not an object; nothing written\n"},
  };
  // clang-format on
  for (const auto& c : cases) {
    const Outcome outcome = repo.run(c.command);
    EXPECT_EQ(outcome.status, 2) << c.command;
    EXPECT_EQ(outcome.out, c.says) << c.command;
  }
  EXPECT_EQ(file_text(repo.path("out.json")), good);
  EXPECT_FALSE(fs::exists(repo.path("out.json.conflicts")));
}

}  // namespace
}  // namespace host::testing
