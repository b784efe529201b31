// `pathwright check` against what a careless or hostile package does: packages the game refuses, ids that
// would forge report lines, stores that cannot be written or are held by a map, package files with other
// names. The real binary on stores of its own.
#include <gtest/gtest.h>

#include <string>

#include "json_text/json_text.h"
#include "json/value.h"
#include "tests/host/cli/check_fixture.h"

namespace {

using host::testing::check;
using host::testing::Outcome;
using host::testing::Scratch;
using mods::json::Value;

const std::string kExamples = std::string("--examples '") + PATHWRIGHT_EXAMPLES_DIR + "'";

// Regression: `{"actors": 5}` checked clean (exit 0) while the game refused it four times on stderr.
TEST(CheckHardening, APackageTheGameRefusesFailsTheCheckOnce) {
  Scratch scratch;
  scratch.write("store/broken.json", R"({"actors": 5})");
  const Outcome run = check(scratch, "--demo --store '" + scratch.path("store") + "' " + kExamples);
  EXPECT_EQ(run.status, 1) << run.err;
  EXPECT_EQ(run.out,
            "broken.json: error: the \"actors\" is not an array (it is a number): the game refuses the package\n"
            "broken.json: error: the game refuses the package: the \"actors\" of \"broken\" is not an array\n"
            "broken.json: 0 actors, 0 routes: 0 ok, 0 with problems; 2 errors, 0 warnings\n");
  EXPECT_EQ(run.err, "pathwright check: the game did not take package \"broken\": the \"actors\" of \"broken\" is "
                     "not an array\n");
}

// Regression: an id holding a newline printed a line that passed for another package's summary.
TEST(CheckHardening, IdsThatCouldForgeALinePrintAsJsonStrings) {
  Scratch scratch;
  const struct {
    const char* id;  // as written in the package's JSON
    const char* printed;
  } cases[] = {
      {.id = "plain_id", .printed = "plain_id"},
      {.id = R"(evil\nfake.json: 0 actors)", .printed = R"("evil\nfake.json: 0 actors")"},
      {.id = R"(esc\u001b[2Jape)", .printed = R"("esc\u001b[2Jape")"},
      {.id = R"(say \"hi\")", .printed = R"("say \"hi\"")"},
      {.id = "", .printed = R"("")"},
  };
  for (const auto& c : cases) {
    scratch.write("store/p.json", std::string(R"({"actors": [{"actor": "barrel", "kind": "object", "id": ")") + c.id +
                                      R"(", "path": {"points": []}}]})");
    const Outcome run = check(scratch, "--store '" + scratch.path("store") + "'");
    EXPECT_EQ(run.out.substr(0, run.out.find(": error")), std::string("p.json: ") + c.printed) << c.id;
  }
}

TEST(CheckHardening, WithoutAGroundSourceTheMessagesNameEveryFlagThatGivesOne) {
  Scratch scratch;
  scratch.write("store/p.json", R"({"actors": []})");
  const std::string store = "--store '" + scratch.path("store") + "'";
  const Outcome run = check(scratch, store + " --format json");
  EXPECT_EQ(run.status, 2);
  EXPECT_EQ(host::testing::parse(run.out).get("packages").items.at(0).get("game").str,
            "no ground to check against: give --game HOST:PORT, --demo or --world FILE.obj");
}

}  // namespace
