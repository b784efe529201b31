// `pathwright diff`, `merge` and `resolve` with real git in temporary repositories: the merge driver on
// two branches, the external diff on commits, and damaged input. The store's behaviour under a running
// map while git switches branches is not tested here.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string>

#include "json/value.h"
#include "json_text/json_text.h"

namespace {

namespace fs = std::filesystem;
using mods::json::Value;

const std::string kPathwright = PATHWRIGHT_BINARY;

struct Outcome {
  int status = -1;
  std::string out;  // standard output, then standard error
};

std::string file_text(const std::string& path) {
  std::stringstream text;
  text << std::ifstream(path, std::ios::binary).rdbuf();
  return text.str();
}

Value parsed(const std::string& text) {
  Value value;
  json_text::JsonTextError error;
  EXPECT_TRUE(json_text::parse_json(text, value, error)) << error.message() << ": " << text;
  return value;
}

std::string printed(const Value& value) {
  std::string text, error;
  json_text::print_json(value, json_text::JsonLayout::Indented, text, error);
  return text;
}

// A git repository in a temporary folder with Pathwright as the diff and merge driver of *.json.
class Repository {
 public:
  Repository() {
    std::string pattern = (fs::temp_directory_path() / "pathwright-git-XXXXXX").string();
    if (::mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("cannot make a temporary folder");
    folder_ = pattern;
    run("git init -q -b trunk && git config user.email dev@example.org && git config user.name Dev");
    run("git config diff.pathwright.command '" + kPathwright + " diff --git'");
    run("git config merge.pathwright.driver '" + kPathwright + " merge %O %A %B -o %A --name %P'");
    write(".gitattributes", "*.json diff=pathwright merge=pathwright\n");
    write(".gitignore", ".pathwright/\n");
  }
  ~Repository() {
    std::error_code ignored;
    fs::remove_all(folder_, ignored);
  }
  Repository(const Repository&) = delete;
  Repository& operator=(const Repository&) = delete;
  std::string path(const std::string& name) const { return folder_ + "/" + name; }
  void write(const std::string& name, const std::string& text) const { std::ofstream(path(name)) << text; }
  // Runs `command` in the repository through the shell.
  Outcome run(const std::string& command) const {
    const std::string out = folder_ + ".out";
    const std::string line = "cd '" + folder_ + "' && (" + command + ") >'" + out + "' 2>&1";
    const int raw = std::system(line.c_str());
    Outcome outcome{.status = WIFEXITED(raw) ? WEXITSTATUS(raw) : -1, .out = file_text(out)};
    fs::remove(out);
    return outcome;
  }
  void commit(const std::string& name, const std::string& text, const std::string& message) const {
    write(name, text);
    const Outcome done = run("git add -A && git commit -q -m '" + message + "'");
    EXPECT_EQ(done.status, 0) << done.out;
  }

 private:
  std::string folder_;
};

// Package text in the store's layout.
std::string package(const std::string& compact) { return printed(parsed(compact)); }

std::string route(const std::string& id, const std::string& xs) {
  std::string points;
  for (const char c : xs) points += std::string(points.empty() ? "" : ",") + R"({"x":)" + c + R"(,"y":0,"z":0})";
  return R"({"id":")" + id + R"(","actor":"resident","parameters":{"resident":"ub3"},"position":{"x":0,"y":0,"z":0},
           "path":{"mode":"once","points":[)" +
         points + "]}}";
}

std::string two(const std::string& first, const std::string& second) {
  return package(R"({"actors":[)" + first + "," + second + "]}");
}

// Commits `base`, then `theirs` on a branch and `ours` on trunk, and merges the branch into trunk.
Outcome merged(const Repository& repo, const std::string& base, const std::string& ours, const std::string& theirs) {
  repo.commit("yard.json", base, "base");
  EXPECT_EQ(repo.run("git checkout -q -b theirs").status, 0);
  repo.commit("yard.json", theirs, "theirs");
  EXPECT_EQ(repo.run("git checkout -q trunk").status, 0);
  repo.commit("yard.json", ours, "ours");
  return repo.run("git merge -q -m merge theirs");
}

TEST(GitMerge, TheDriverMergesEditsOfDifferentActorsMembersAndPoints) {
  const struct {
    const char* name;
    std::string base, ours, theirs, result;
    // clang-format off
  } cases[] = {
      {.name = "different actors",
       .base = two(route("a", "123"), route("b", "123")),
       .ours = two(route("a", "153"), route("b", "123")),
       .theirs = two(route("a", "123"), route("b", "173")),
       .result = two(route("a", "153"), route("b", "173"))},
      {.name = "different members of one actor",
       .base = two(route("a", "123"), route("b", "1")),
       .ours = two(route("a", "123"), route("b", "1")).replace(
           two(route("a", "123"), route("b", "1")).find("\"once\""), 6, "\"loop\""),
       .theirs = two(route("a", "124"), route("b", "1")),
       .result = two(route("a", "124"), route("b", "1")).replace(
           two(route("a", "124"), route("b", "1")).find("\"once\""), 6, "\"loop\"")},
      {.name = "different points of one route",
       .base = two(route("a", "12345"), route("b", "1")),
       .ours = two(route("a", "19345"), route("b", "1")),
       .theirs = two(route("a", "12348"), route("b", "1")),
       .result = two(route("a", "19348"), route("b", "1"))},
      {.name = "the same edit on both sides",
       .base = two(route("a", "123"), route("b", "1")),
       .ours = two(route("a", "193"), route("b", "1")),
       .theirs = two(route("a", "193"), route("b", "1")),
       .result = two(route("a", "193"), route("b", "1"))},
  };
  // clang-format on
  for (const auto& c : cases) {
    Repository repo;
    const Outcome merge = merged(repo, c.base, c.ours, c.theirs);
    EXPECT_EQ(merge.status, 0) << c.name << ": " << merge.out;
    EXPECT_EQ(file_text(repo.path("yard.json")), c.result) << c.name;
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
  const Value kept = parsed(file_text(repo.path("yard.json.conflicts")));
  const Value& conflict = kept.get("actors").items.at(0).get("conflicts").items.at(0);
  EXPECT_EQ(conflict.get("ours").get("x").number, 5);
  EXPECT_EQ(conflict.get("theirs").get("x").number, 7);
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
  Value document = parsed(file_text(repo.path("yard.json")));
  std::string compact, error;
  json_text::print_json(document, json_text::JsonLayout::Compact, compact, error);
  repo.write("yard.json", compact);
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
      {.command = pw + "diff good.json cut.json",
       .says = "pathwright diff: cut.json: line 3, column 1: unexpected end of text, expected ',' or '}'\n"},
      {.command = pw + "diff missing.json good.json",
       .says = "pathwright diff: missing.json: cannot be read: no such file or directory\n"},
      {.command = pw + "diff good.json list.json",
       .says = "pathwright diff: list.json: not a package: the text is JSON but not an object\n"},
      {.command = pw + "merge good.json cut.json good.json -o out.json",
       .says = "pathwright merge: cut.json: line 3, column 1: unexpected end of text, expected ',' or '}'; nothing "
               "written\n"},
      {.command = pw + "merge good.json good.json list.json -o out.json",
       .says = "pathwright merge: list.json: not a package: the text is JSON but not an object; nothing written\n"},
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
