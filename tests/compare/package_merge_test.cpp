// The three-way package merge: edits of different actors, members and points merge; the same edit twice
// is one; different edits of one value conflict, keep ours in the result and all three in the record.
#include "compare/package_merge.h"

#include <gtest/gtest.h>

#include <string>

#include "json_text/json_text.h"
#include "tests/support/json_helpers.h"

namespace {

using mods::json::Value;

using support::parsed;

using json_text::compact;

// Actor "g" with a route of one point per character: x is the digit, or 10 for 'a', 11 for 'b' (the
// points only one side has).
std::string route(const std::string& xs) {
  std::string points;
  for (const char c : xs) {
    const int x = c >= 'a' ? 10 + (c - 'a') : c - '0';
    points += std::string(points.empty() ? "" : ",") + R"({"x":)" + std::to_string(x) + R"(,"y":0,"z":0})";
  }
  return R"({"actors":[{"id":"g","path":{"points":[)" + points + "]}}]}";
}

TEST(PackageMerge, MergesWhatEachSideChangedAndConflictsWhereBothDid) {
  const struct {
    const char* name;
    std::string base, ours, theirs;
    std::string merged;     // compact
    std::string conflicts;  // the lines, each ending in a newline
    // clang-format off
  } cases[] = {
      {.name = "different actors",
       .base = R"({"actors":[{"id":"a","n":1},{"id":"b","n":1}]})",
       .ours = R"({"actors":[{"id":"a","n":2},{"id":"b","n":1}]})",
       .theirs = R"({"actors":[{"id":"a","n":1},{"id":"b","n":3}]})",
       .merged = R"({"actors":[{"id":"a","n":2},{"id":"b","n":3}]})",
       .conflicts = ""},
      {.name = "different members of one actor",
       .base = R"({"actors":[{"id":"a","n":1,"m":1,"path":{"mode":"once"}}]})",
       .ours = R"({"actors":[{"id":"a","n":2,"m":1,"path":{"mode":"once"}}]})",
       .theirs = R"({"actors":[{"id":"a","n":1,"m":3,"path":{"mode":"loop"}}]})",
       .merged = R"({"actors":[{"id":"a","m":3,"n":2,"path":{"mode":"loop"}}]})",
       .conflicts = ""},
      {.name = "different points of one route",
       .base = route("12345"), .ours = route("1a345"), .theirs = route("1234b"), .merged = route("1a34b"),
       .conflicts = ""},
      {.name = "neighbouring points",
       .base = route("12345"), .ours = route("1a345"), .theirs = route("12b45"), .merged = route("1ab45"),
       .conflicts = ""},
      {.name = "a point added on one side, one moved on the other",
       .base = route("1234"), .ours = route("12a34"), .theirs = route("123b"), .merged = route("12a3b"),
       .conflicts = ""},
      {.name = "the same edit on both sides",
       .base = route("123"), .ours = route("1a3"), .theirs = route("1a3"), .merged = route("1a3"),
       .conflicts = ""},
      {.name = "the same point moved differently",
       .base = route("123"), .ours = route("1a3"), .theirs = route("1b3"), .merged = route("1a3"),
       .conflicts = "g: point 2: both sides moved it: ours (10, 0, 0), theirs (11, 0, 0)\n"},
      {.name = "points added at the same place",
       .base = route("13"), .ours = route("1a3"), .theirs = route("1b3"), .merged = route("1a3"),
       .conflicts = "g: after point 1: both sides added points: ours [(10, 0, 0)], theirs [(11, 0, 0)]\n"},
      {.name = "one member changed differently",
       .base = R"({"actors":[{"id":"a","path":{"mode":"once"}}]})",
       .ours = R"({"actors":[{"id":"a","path":{"mode":"loop"}}]})",
       .theirs = R"({"actors":[{"id":"a","path":{"mode":"back_and_forth"}}]})",
       .merged = R"({"actors":[{"id":"a","path":{"mode":"loop"}}]})",
       .conflicts = "a: mode: both sides changed it: ours \"loop\", theirs \"back_and_forth\"\n"},
      {.name = "removed on one side, changed on the other",
       .base = R"({"actors":[{"id":"a","n":1},{"id":"b","n":1}]})",
       .ours = R"({"actors":[{"id":"b","n":1}]})",
       .theirs = R"({"actors":[{"id":"a","n":2},{"id":"b","n":1}]})",
       .merged = R"({"actors":[{"id":"b","n":1}]})",
       .conflicts = "a: ours removed the actor, theirs changed it\n"},
      {.name = "removed on one side, untouched on the other",
       .base = R"({"actors":[{"id":"a"},{"id":"b"}]})",
       .ours = R"({"actors":[{"id":"a"},{"id":"b"}]})",
       .theirs = R"({"actors":[{"id":"b"}]})",
       .merged = R"({"actors":[{"id":"b"}]})",
       .conflicts = ""},
      {.name = "their new actors stand where they stand in theirs",
       .base = R"({"actors":[{"id":"a"},{"id":"b"}]})",
       .ours = R"({"actors":[{"id":"b"},{"id":"a"},{"id":"o"}]})",
       .theirs = R"({"actors":[{"id":"t1"},{"id":"a"},{"id":"t2"},{"id":"t3"},{"id":"b"}]})",
       .merged = R"({"actors":[{"id":"t1"},{"id":"b"},{"id":"a"},{"id":"t2"},{"id":"t3"},{"id":"o"}]})",
       .conflicts = ""},
      {.name = "the package's own members",
       .base = R"({"actors":[],"name":"x","v":1})",
       .ours = R"({"actors":[],"name":"y","v":1})",
       .theirs = R"({"actors":[],"name":"z","v":2})",
       .merged = R"({"actors":[],"name":"y","v":2})",
       .conflicts = "package \"name\": both sides changed it: ours \"y\", theirs \"z\"\n"},
  };
  // clang-format on
  for (const auto& c : cases) {
    const host::compare::MergeOutcome outcome =
        host::compare::merge_packages(parsed(c.base), parsed(c.ours), parsed(c.theirs));
    std::string conflicts;
    for (const std::string& line : outcome.conflicts) conflicts += line + "\n";
    EXPECT_EQ(compact(outcome.merged), compact(parsed(c.merged))) << c.name;
    EXPECT_EQ(conflicts, c.conflicts) << c.name;
    EXPECT_EQ(outcome.kept.is_null(), c.conflicts.empty()) << c.name;
  }
}

TEST(PackageMerge, TheConflictRecordKeepsBaseOursAndTheirs) {
  const host::compare::MergeOutcome outcome =
      host::compare::merge_packages(parsed(route("123")), parsed(route("153")), parsed(route("173")));
  const Value& actors = outcome.kept.get("actors");
  ASSERT_EQ(actors.items.size(), 1u);
  const Value& actor = actors.items[0];
  EXPECT_EQ(actor.get("id").string(""), "g");
  EXPECT_EQ(compact(actor.get("theirs")), compact(parsed(route("173")).get("actors").items[0]));
  const Value& conflict = actor.get("conflicts").items.at(0);
  EXPECT_EQ(compact(conflict.get("base")), R"({"x":2,"y":0,"z":0})");
  EXPECT_EQ(compact(conflict.get("ours")), R"({"x":5,"y":0,"z":0})");
  EXPECT_EQ(compact(conflict.get("theirs")), R"({"x":7,"y":0,"z":0})");
}

}  // namespace
