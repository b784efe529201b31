// The package diff: one line per change by actor and route, none for layout, points aligned so that an
// inserted point is one added point.
#include "compare/package_diff.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "json_text/json_text.h"
#include "tests/support/json_helpers.h"

namespace {

using mods::json::Value;

using support::parsed;

std::string lines(const std::string& before, const std::string& after) {
  std::string text;
  for (const Value& change : host::compare::diff_packages(parsed(before), parsed(after)))
    text += change.get("text").string("") + "\n";
  return text;
}

// A resident "g" with a route of the given points and settings.
std::string walker(const std::string& points, const std::string& settings = R"("mode": "once")") {
  return R"({"actors": [{"id": "g", "actor": "resident", "position": {"x": 0, "y": 0, "z": 0},
             "path": {)" +
         settings + R"(, "points": [)" + points + "]}}]}";
}

const std::string kP1 = R"({"x": 1, "y": 0, "z": 0})", kP2 = R"({"x": 2, "y": 0, "z": 0})",
                  kP3 = R"({"x": 3, "y": 0, "z": 0})", kP9 = R"({"x": 9.5, "y": 0, "z": -1})";

TEST(PackageDiff, ReadsChangesByActorAndRoute) {
  const struct {
    const char* name;
    std::string before, after, lines;
    // clang-format off
  } cases[] = {
      {.name = "layout, member order and number spelling",
       .before = walker(kP1 + "," + kP2),
       .after = R"({"actors":[{"path":{"points":[{"z":0,"y":0.0,"x":1.0},{"x":2e0,"y":0,"z":0}],"mode":"once"},
                   "position":{"x":0,"y":0,"z":0},"actor":"resident","id":"g"}]})",
       .lines = ""},
      {.name = "one point inserted",
       .before = walker(kP1 + "," + kP2 + "," + kP3),
       .after = walker(kP1 + "," + kP9 + "," + kP2 + "," + kP3),
       .lines = "g: point 2 added at (9.5, 0, -1)\n"},
      {.name = "one point removed",
       .before = walker(kP1 + "," + kP2 + "," + kP3),
       .after = walker(kP1 + "," + kP3),
       .lines = "g: point 2 removed from (2, 0, 0)\n"},
      {.name = "one point moved",
       .before = walker(kP1 + "," + kP2 + "," + kP3),
       .after = walker(kP1 + "," + kP9 + "," + kP3),
       .lines = "g: point 2 moved from (2, 0, 0) to (9.5, 0, -1)\n"},
      {.name = "settings",
       .before = walker(kP1, R"("mode": "once", "speed": 30)"),
       .after = walker(kP1, R"("mode": "loop", "pauses": true)"),
       .lines = "g: mode changed from \"once\" to \"loop\"\ng: speed removed: 30\ng: pauses added: true\n"},
      {.name = "route added",
       .before = R"({"actors": [{"id": "g"}]})",
       .after = R"({"actors": [{"id": "g", "path": {"points": [{"x": 1, "y": 0, "z": 0}]}}]})",
       .lines = "g: route added (1 points)\n"},
      {.name = "route removed, position moved, other members",
       .before = R"({"actors": [{"id": "g", "position": {"x": 1, "y": 2, "z": 3}, "kind": "a", "path": {}}]})",
       .after = R"({"actors": [{"id": "g", "position": {"x": 1, "y": 2, "z": 4}, "kind": "b", "flag": 1}]})",
       .lines = "g: \"kind\" changed\ng: \"flag\" added\ng: position changed from (1, 2, 3) to (1, 2, 4)\n"
                "g: route removed\n"},
      {.name = "actors added and removed, order alone no change",
       .before = R"({"actors": [{"id": "a"}, {"id": "b"}, {"id": "c"}]})",
       .after = R"({"actors": [{"id": "c"}, {"id": "d"}, {"id": "a"}]})",
       .lines = "b: actor removed\nd: actor added\n"},
      {.name = "actors sharing an id are matched in order",
       .before = R"({"actors": [{"id": "s", "n": 1}, {"id": "s", "n": 2}]})",
       .after = R"({"actors": [{"id": "s", "n": 1}, {"id": "s", "n": 3}, {"id": "s", "n": 4}]})",
       .lines = "s: \"n\" changed\ns: actor added\n"},
      {.name = "an id that would be misread is quoted",
       .before = R"({"actors": []})",
       .after = R"({"actors": [{"id": "a: b"}, {}]})",
       .lines = "\"a: b\": actor added\n\"\": actor added\n"},
      {.name = "the package's own members",
       .before = R"({"actors": [], "name": "x"})",
       .after = R"({"actors": [], "name": "y"})",
       .lines = "package \"name\" changed\n"},
  };
  // clang-format on
  for (const auto& c : cases) EXPECT_EQ(lines(c.before, c.after), c.lines) << c.name;
}

TEST(PackageDiff, ChangesCarryTheirValuesForJson) {
  const std::vector<Value> changes =
      host::compare::diff_packages(parsed(walker(kP1 + "," + kP2)), parsed(walker(kP1 + "," + kP9)));
  ASSERT_EQ(changes.size(), 1u);
  EXPECT_EQ(changes[0].get("change").string(""), "point moved");
  EXPECT_EQ(changes[0].get("point").number, 2);
  EXPECT_EQ(changes[0].get("from"), parsed(kP2));
  EXPECT_EQ(changes[0].get("to"), parsed(kP9));
}

TEST(PackageDiff, OnlyObjectsWithAnArrayOfActorObjectsArePackages) {
  const struct {
    const char* text;
    const char* error;  // "" for a package
    // clang-format off
  } cases[] = {
      {.text = R"({"actors": [{"id": "a"}]})", .error = ""},
      {.text = R"({"name": "no actors yet"})", .error = ""},
      {.text = R"([1, 2])", .error = "not a package: the text is JSON but not an object"},
      {.text = R"({"actors": {}})", .error = "not a package: \"actors\" is not an array"},
      {.text = R"({"actors": [{}, 3]})", .error = "not a package: actors[1] is not an object"},
  };
  // clang-format on
  for (const auto& c : cases) {
    std::string error;
    EXPECT_EQ(host::compare::is_package(parsed(c.text), error), std::string(c.error).empty()) << c.text;
    EXPECT_EQ(error, c.error) << c.text;
  }
}

}  // namespace
