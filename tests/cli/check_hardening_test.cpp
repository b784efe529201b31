// `pathwright check` against what a careless or hostile package does: packages the game refuses, ids that
// would forge report lines, stores that cannot be written or are held by a map, package files with other
// names. The real binary on stores of its own.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "json/value.h"
#include "json_text/json_text.h"
#include "tests/cli/check_fixture.h"

namespace {

namespace fs = std::filesystem;
using host::testing::check;
using host::testing::kExamples;
using host::testing::Outcome;
using host::testing::pathwright;
using host::testing::Scratch;
using mods::json::Value;

class CheckHardening : public host::testing::ScratchTest {};

// Regression: `{"actors": 5}` checked clean (exit 0) while the game refused it four times on stderr.
TEST_F(CheckHardening, APackageTheGameRefusesFailsTheCheckOnce) {
  scratch.write("store/broken.json", R"({"actors": 5})");
  const Outcome run = check(scratch, "--demo --store '" + scratch.path("store") + "' " + kExamples);
  EXPECT_EQ(run.status, 1) << run.err;
  EXPECT_EQ(run.out,
            "broken.json: error: the \"actors\" is not an array (it is a number): the game refuses the package\n"
            "broken.json: error: the game refuses the package: the \"actors\" of \"broken\" is not an array\n"
            "broken.json: 0 actors, 0 routes: 0 ok, 0 with problems; 2 errors, 0 warnings\n");
  EXPECT_EQ(run.err,
            "pathwright check: the game did not take package \"broken\": the \"actors\" of \"broken\" is "
            "not an array\n");
}

// Regression: an id holding a newline printed a line that passed for another package's summary.
TEST_F(CheckHardening, IdsThatCouldForgeALinePrintAsJsonStrings) {
  const struct {
    const char* id;  // as written in the package's JSON
    const char* printed;
    // clang-format off
  } cases[] = {
      {.id = "plain_id", .printed = "plain_id"},
      {.id = R"(evil\nfake.json: 0 actors)", .printed = R"("evil\nfake.json: 0 actors")"},
      {.id = R"(esc\u001b[2Jape)", .printed = R"("esc\u001b[2Jape")"},
      {.id = R"(say \"hi\")", .printed = R"("say \"hi\"")"},
      {.id = "", .printed = R"("")"},
  };
  // clang-format on
  for (const auto& c : cases) {
    scratch.write("store/p.json", std::string(R"({"actors": [{"actor": "barrel", "kind": "object", "id": ")") + c.id +
                                      R"(", "path": {"points": []}}]})");
    const Outcome run = check(scratch, "--store '" + scratch.path("store") + "'");
    const std::size_t level = run.out.find(": error: ");
    ASSERT_NE(level, std::string::npos) << run.out;
    EXPECT_EQ(run.out.substr(level + 9, std::string(c.printed).size() + 2), std::string(c.printed) + ": ") << c.id;
  }
}

// The same for `check` is in check_command_test.cpp (ExitsTwoWhenTheCheckCannotRun).
TEST_F(CheckHardening, WithoutAGroundSourceAdvanceGameNamesEveryFlagThatGivesOne) {
  scratch.write("store/p.json", R"({"actors": []})");
  const Outcome run =
      pathwright(scratch, "call --store '" + scratch.path("store") + "' advance_game '{\"seconds\": 1}'");
  EXPECT_NE(run.status, 0);
  EXPECT_EQ(run.err,
            "advance_game needs the in-process game with a manual clock (--demo or --world FILE.obj, with "
            "--manual-clock)\n");
}

// Regression: "my mod.json" and "dörfchen.json" were passed over without a word, and a store of only such
// files "held no package".
TEST_F(CheckHardening, PackageFilesWithOtherNamesAreListedWithTheReason) {
  const std::string floor = scratch.write("floor.obj", "v 0 0 0\nv 1000 0 0\nv 1000 0 1000\nf 1 2 3\n");
  scratch.write("store/my mod.json", R"({"actors": []})");
  scratch.write("store/d\xc3\xb6rfchen.json", R"({"actors": []})");
  const std::string world = " --world '" + floor + "'";
  const std::string rule =
      "not a package name: 1 to 100 ASCII letters (a-z, A-Z), digits, _, - and ., not "
      "starting with .";
  const std::string warnings = "pathwright check: skipped \"d\xc3\xb6rfchen.json\": " + rule +
                               "\npathwright check: skipped \"my mod.json\": " + rule + "\n";
  Outcome run = check(scratch, "--store '" + scratch.path("store") + "'" + world);
  EXPECT_EQ(run.status, 2);
  EXPECT_EQ(run.err, warnings + "pathwright check: the store holds no package\n");

  scratch.write("store/good.json", R"({"actors": []})");
  run = check(scratch, "--store '" + scratch.path("store") + "'" + world);
  EXPECT_EQ(run.status, 0) << run.err;
  EXPECT_EQ(run.err, warnings);
  const Outcome listing = pathwright(scratch, "call --store '" + scratch.path("store") + "' packages");
  ASSERT_EQ(listing.status, 0) << listing.err;
  const Value skipped = host::testing::parse(listing.out).get("skipped");
  ASSERT_EQ(skipped.items.size(), 2u);
  EXPECT_EQ(skipped.items[1].get("file").str, "my mod.json");
  EXPECT_EQ(skipped.items[1].get("reason").str, rule);
}

// Regression: --format json left unreadable packages out (only stderr told) and printed nothing when the
// check could not run.
TEST_F(CheckHardening, JsonFormatListsUnreadablePackagesAndSaysWhyItCannotRun) {
  scratch.write("store/good.json", R"({"actors": []})");
  scratch.write("store/torn.json", R"({"actors": [)");
  const Outcome run = check(scratch, "--format json --store '" + scratch.path("store") + "' --demo " + kExamples);
  EXPECT_EQ(run.status, 2);
  const Value answer = host::testing::parse(run.out);
  EXPECT_EQ(answer.get("packages").items.size(), 1u);
  ASSERT_EQ(answer.get("unreadable").items.size(), 1u) << run.out;
  EXPECT_EQ(answer.get("unreadable").items[0].get("package").str, "torn");
  EXPECT_NE(answer.get("unreadable").items[0].get("error").str, "");

  const Outcome empty = check(scratch, "--format json --store '" + scratch.path("nowhere") + "' --demo " + kExamples);
  EXPECT_EQ(empty.status, 2);
  EXPECT_NE(host::testing::parse(empty.out).get("error").str, "") << empty.out;
}

constexpr int kNoMount = 99;  // the script's exit status when the mount was refused

// Runs `shell` (a shell command line, in a script file of `scratch`) with `store` bind-mounted read-only
// over itself in a mount namespace of its own; false when this machine allows no such mount.
bool run_on_read_only_mount(const Scratch& scratch, const std::string& store, const std::string& shell, int& status) {
  const std::string script =
      scratch.write("read_only.sh", "mount --bind -o ro '" + store + "' '" + store + "' 2>/dev/null || exit " +
                                        std::to_string(kNoMount) + "\n" + shell + "\n");
  const int raw = std::system(("unshare -m sh '" + script + "' 2>/dev/null").c_str());
  status = WIFEXITED(raw) ? WEXITSTATUS(raw) : -1;
  constexpr int kNoUnshare = 127;  // the shell's status when unshare is not there
  return status != kNoMount && status != kNoUnshare;
}

// Regression: on a read-only checkout `check` exited 2 and `call actors` 1 ("cannot make .pathwright"), and
// read-only commands made .pathwright/ in any folder.
TEST_F(CheckHardening, CommandsThatOnlyReadWorkOnAStoreThatCannotBeWrittenAndCreateNothing) {
  const auto demo = host::testing::demo_store();
  ASSERT_NE(demo, nullptr);
  const std::string store = demo->path();
  const std::string binary = std::string("'") + PATHWRIGHT_BINARY + "'";
  const std::string out = scratch.path("out.txt"), err = scratch.path("err.txt");
  const struct {
    std::string args;
    int status;
    std::string err;  // "" when only the status matters
    // clang-format off
  } cases[] = {
      {.args = "call actors", .status = 0, .err = ""},
      {.args = "call document", .status = 0, .err = ""},
      {.args = "call history", .status = 0, .err = ""},
      {.args = "call packages", .status = 0, .err = ""},
      {.args = "call status", .status = 0, .err = ""},
      {.args = "call check_route '{\"id\": \"baker_ub3\"}' --demo", .status = 0, .err = ""},
      {.args = "call check_package --demo", .status = 0, .err = ""},
      {.args = "check --demo " + kExamples, .status = 1, .err = ""},
      {.args = "call set_route '{\"id\": \"baker_ub3\", \"speed\": 50}'",
       .status = 1,
       .err = "pathwright: the store \"" + store + "\" cannot be written (read-only file system): copy it to edit "
              "it, e.g. cp -r '" + store + "' ~/mods/copy\n"},
  };
  // clang-format on
  for (const auto& c : cases) {
    // On a store that can be written, a command that reads leaves nothing behind either.
    if (c.status != 1 || c.args.rfind("check", 0) == 0) {
      const std::string here = binary + " " + c.args + " --store '" + store + "' >/dev/null 2>&1";
      EXPECT_EQ(WEXITSTATUS(std::system(here.c_str())), c.status) << c.args;
      EXPECT_FALSE(fs::exists(store + "/.pathwright")) << c.args << " made .pathwright";
    }
    int status = -1;
    const std::string shell = binary + " " + c.args + " --store '" + store + "' >'" + out + "' 2>'" + err + "'";
    if (!run_on_read_only_mount(scratch, store, shell, status)) {
      GTEST_SKIP() << "no read-only bind mount on this machine";
    }
    EXPECT_EQ(status, c.status) << c.args << ": " << host::testing::file_text(err);
    if (!c.err.empty()) { EXPECT_EQ(host::testing::file_text(err), c.err) << c.args; }
  }
}

// Regression: `check` on a store a map or serve held exited 2 ("in use by process ...").
TEST_F(CheckHardening, CheckReadsAStoreAnotherProcessHoldsBesideIt) {
  const auto demo = host::testing::demo_store();
  ASSERT_NE(demo, nullptr);
  host::testing::Child server(PATHWRIGHT_BINARY, {"serve", "--store", demo->path()}, scratch.path("serve.txt"));
  Value move = Value::object();
  move["id"] = Value::of("young_man_um2");
  move["mode"] = Value::of("circle");
  ASSERT_TRUE(server.call("set_route", move).has("result")) << "the change waits in the server's journal";
  const Outcome run = check(scratch, "--demo --store '" + demo->path() + "' " + kExamples);
  EXPECT_EQ(run.status, 1) << run.err;
  EXPECT_NE(run.out.find("warning: young_man_um2: the mode \"circle\""), std::string::npos) << run.out;
  EXPECT_TRUE(server.call("status").has("result")) << "the server goes on";
}

// Regression: `set_route {"speeed": 5}` succeeded without a word, and `"snapp": false` was passed over. The
// warnings of settings the game will not use come the same way.
TEST_F(CheckHardening, UnknownParametersAreToldBesideTheAnswer) {
  const auto demo = host::testing::demo_store();
  ASSERT_NE(demo, nullptr);
  const struct {
    const char* method;
    const char* params;
    std::vector<std::string> warnings;
    // clang-format off
  } cases[] = {
      {.method = "set_route", .params = R"({"id": "baker_ub3", "speeed": 5})", .warnings = {"unknown parameter \"speeed\""}},
      {.method = "add_route_point", .params = R"({"id": "baker_ub3", "position": {"x": 0, "y": 0, "z": 0}, "snapp": false, "afterr": 0})", .warnings = {"unknown parameter \"afterr\"", "unknown parameter \"snapp\""}},
      {.method = "placed_actors", .params = R"({"limit": 1, "package": "windfall"})", .warnings = {}},
      {.method = "status", .params = R"({"verbose": true})", .warnings = {"unknown parameter \"verbose\""}},
      {.method = "set_route", .params = R"({"id": "baker_ub3", "pauses": "often"})", .warnings = {"the pauses \"often\" are neither true, false nor a number of seconds from 0"}},
  };
  // clang-format on
  for (const auto& c : cases) {
    const Outcome run = pathwright(scratch, "call --store '" + demo->path() + "' " + c.method + " '" + c.params + "'");
    ASSERT_EQ(run.status, 0) << c.method << ": " << run.err;
    const Value answer = host::testing::parse(run.out);
    std::vector<std::string> warnings;
    for (const Value& warning : answer.get("warnings").items) warnings.push_back(warning.str);
    EXPECT_EQ(warnings, c.warnings) << c.method;
    EXPECT_EQ(answer.has("warnings"), !c.warnings.empty()) << c.method;
  }
}

}  // namespace
