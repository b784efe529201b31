// `pathwright check` end to end: the real binary on the demo store with the in-process island, and on a
// store of its own with an OBJ floor as the ground; the report's text, its JSON and the exit status.
#include <gtest/gtest.h>

#include <string>

#include "json/value.h"
#include "json_text/json_text.h"
#include "tests/cli/check_fixture.h"

namespace {

using host::testing::check;
using host::testing::kExamples;
using host::testing::Outcome;
using host::testing::Scratch;
using mods::json::Value;

class CheckCommand : public host::testing::ScratchTest {};

// A floor from (0, 0) to (1000, 1000) at height 0, and a store whose one package walks a resident over it
// and another off its edge.
const char* const kFloor = "v 0 0 0\nv 1000 0 0\nv 1000 0 1000\nv 0 0 1000\nf 1 2 3 4\n";
const char* const kYard = R"({"actors": [
  {"actor": "resident", "id": "walker", "parameters": {"resident": "ub3"}, "position": {"x": 100, "y": 0, "z": 100},
   "path": {"mode": "once", "points": [{"x": 900, "y": 0, "z": 100}]}},
  {"actor": "resident", "id": "stray", "parameters": {"resident": "ub3"}, "position": {"x": 100, "y": 0, "z": 500},
   "path": {"mode": "circle", "points": [{"x": 1500, "y": 0, "z": 500}]}}]})";

TEST_F(CheckCommand, DemoStoreOnTheIslandReportsTheDropsLikeACompiler) {
  const Outcome run = check(scratch, "--demo " + kExamples);
  EXPECT_EQ(run.status, 1) << run.err;
  // Warnings first, then errors, each at the line and column of its point or actor; the counts last.
  const std::string first =
      "windfall.json:47:11: warning: baker_ub3: point 2: walks through \"market_stall\" at (275, 100, -100) after "
      "81.4 s\n";
  const std::string drop =
      "\nwindfall.json:268:19: error: young_man_um2: segment 0 to 1: a drop at (1525, 45.8, 800)\n";
  const std::string summary = "windfall.json: 32 actors, 17 routes: 16 ok, 1 with problems; 0 errors, 7 warnings\n";
  EXPECT_EQ(run.out.rfind(first, 0), 0u) << run.out;
  EXPECT_NE(run.out.find(drop), std::string::npos) << run.out;
  EXPECT_EQ(run.out.find(summary), run.out.size() - summary.size()) << run.out;
}

TEST_F(CheckCommand, MeetingsAreWarningsWithinTheSecondsAsked) {
  const std::string floor = scratch.write("floor.obj", kFloor);
  // The stray walks along the walker's line towards it.
  scratch.write("store/yard.json", R"({"actors": [
  {"actor": "resident", "id": "walker", "parameters": {"resident": "ub3"}, "position": {"x": 100, "y": 0, "z": 100},
   "path": {"mode": "once", "points": [{"x": 900, "y": 0, "z": 100}]}},
  {"actor": "resident", "id": "stray", "parameters": {"resident": "ub3"}, "position": {"x": 900, "y": 0, "z": 100},
   "path": {"mode": "once", "points": [{"x": 100, "y": 0, "z": 100}]}}]})");
  const std::string store = "--store '" + scratch.path("store") + "' --world '" + floor + "'";
  const Outcome run = check(scratch, store);
  EXPECT_EQ(run.status, 0) << "meetings leave the exit status as it was: " << run.err;
  EXPECT_EQ(run.out,
            "yard.json:3:40: warning: walker: point 1: meets \"stray\" at (500, 0, 100) after 10.4 s\n"
            "yard.json: 2 actors, 2 routes: 2 ok, 0 with problems; 0 errors, 1 warnings\n");
  EXPECT_EQ(check(scratch, store + " --seconds 10").out,
            "yard.json: 2 actors, 2 routes: 2 ok, 0 with problems; 0 errors, 0 warnings\n");
  EXPECT_EQ(check(scratch, store + " --seconds 0").status, 2) << "a horizon from 1 to 3600 s";
}

TEST_F(CheckCommand, WorldMeshChecksAStoreWithNoGameRunning) {
  const std::string floor = scratch.write("floor.obj", kFloor);
  scratch.write("store/yard.json", kYard);
  const std::string store = "--store '" + scratch.path("store") + "' --world '" + floor + "'";
  const Outcome run = check(scratch, store);
  EXPECT_EQ(run.status, 1) << run.err;
  EXPECT_EQ(run.out,
            "yard.json:4:3: warning: stray: the mode \"circle\" is not \"once\", \"loop\" or \"back_and_forth\": "
            "the game walks it as \"once\"\n"
            "yard.json:4:87: error: stray: segment 0 to 1: no ground at (1025, 0, 500)\n"
            "yard.json: 2 actors, 2 routes: 1 ok, 1 with problems; 0 errors, 1 warnings\n");

  // Once the stray stays on the floor, everything passes.
  std::string fixed = kYard;
  fixed.replace(fixed.find("1500"), 4, "900");
  scratch.write("store/yard.json", fixed);
  EXPECT_EQ(check(scratch, store).status, 0);
}

TEST_F(CheckCommand, LinesAndJsonNameTheLineAndColumnOfThePointOrTheActor) {
  const std::string floor = scratch.write("floor.obj", kFloor);
  // Two actors share "gate": the shared-id error stands at the first, the second's bad point at its point.
  scratch.write("store/yard.json", R"({"actors": [
  {"actor": "resident", "id": "gate", "parameters": {"resident": "ub3"}, "position": {"x": 100, "y": 0, "z": 100}},
  {"actor": "resident", "id": "gate", "parameters": {"resident": "ub3"}, "position": {"x": 100, "y": 0, "z": 100},
   "path": {"mode": "once", "points": [
     {"x": 900, "y": 0, "z": 100},
     {"x": "far", "y": 0, "z": 100}]}}]})");
  const std::string store = "--store '" + scratch.path("store") + "' --world '" + floor + "'";
  const Outcome run = check(scratch, store);
  EXPECT_EQ(run.status, 1) << run.err;
  EXPECT_EQ(run.out,
            "yard.json:2:3: error: gate: actors 1 and 2 share this id: edits reach the first, check_route checks the "
            "last\n"
            "yard.json:6:6: error: gate: point 2: not a point (an object of finite \"x\", \"y\" and \"z\"): the check "
            "passes over it\n"
            "yard.json: 2 actors, 1 routes: 1 ok, 0 with problems; 2 errors, 0 warnings\n");

  Value answer;
  json_text::JsonTextError error;
  ASSERT_TRUE(json_text::parse_json(check(scratch, store + " --format json").out, answer, error)) << error.message();
  const Value& finding = answer.get("packages").items.at(0).get("findings").items.at(1);
  EXPECT_EQ(finding.get("line").number, 6);
  EXPECT_EQ(finding.get("column").number, 6);
}

// Exit 2 when the check cannot run; a package named by its file is checked under its name.
TEST_F(CheckCommand, ExitsTwoWhenTheCheckCannotRun) {
  const std::string floor = scratch.write("floor.obj", kFloor);
  scratch.write("store/yard.json", kYard);
  scratch.write("store/good.json", R"({"actors": []})");
  scratch.write("empty/readme.txt", "no packages here");
  const std::string store = "--store '" + scratch.path("store") + "'", world = " --world '" + floor + "'";
  const struct {
    const char* name;
    std::string args;
    int status;
    std::string err;  // "" when only the status matters
    // clang-format off
  } cases[] = {
      {.name = "no ground source",         .args = store,                                         .status = 2, .err = ""},
      {.name = "package not in the store", .args = store + " nosuch" + world,                     .status = 2, .err = "pathwright check: nosuch: no package \"nosuch\" in the store\n"},
      {.name = "store without packages",   .args = "--store '" + scratch.path("empty") + "'" + world, .status = 2, .err = "pathwright check: the store holds no package\n"},
      {.name = "two ground sources",       .args = store + " --demo" + world,                     .status = 2, .err = ""},
      {.name = "a package by its name",    .args = store + " good" + world,                       .status = 0, .err = ""},
      {.name = "a package by its file",    .args = store + " good.json" + world,                  .status = 0, .err = ""},
      {.name = "no package by that file",  .args = store + " bad.json" + world,                   .status = 2, .err = "pathwright check: bad.json: no package \"bad.json\" in the store (a package is named without \".json\")\n"},
  };
  // clang-format on
  for (const auto& c : cases) {
    const Outcome run = check(scratch, c.args);
    EXPECT_EQ(run.status, c.status) << c.name << ": " << run.err;
    if (!c.err.empty() || c.status == 0) { EXPECT_EQ(run.err, c.err) << c.name; }
  }
  EXPECT_NE(check(scratch, store)
                .out.find("not checked (no ground to check against: give --game HOST:PORT, --demo or "
                          "--world FILE.obj)"),
            std::string::npos);
}

}  // namespace
