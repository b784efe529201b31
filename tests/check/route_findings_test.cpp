// Findings of whole packages: each row a package's "actors" and the exact findings expected, as
// "level id point: text" lines ("-" where no point applies).
#include "check/route_findings.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "json_text/json_text.h"

namespace host {

using check::Finding;
using check::level_name;
using check::package_findings;

namespace {

using mods::json::Value;

Value document_of(const std::vector<std::string>& actors) {
  std::string text = "{\"actors\": [";
  for (std::size_t k = 0; k < actors.size(); ++k) text.append(k == 0 ? "" : ", ").append(actors[k]);
  text.append("]}");
  Value document;
  json_text::JsonTextError error;
  EXPECT_TRUE(json_text::parse_json(text, document, error)) << error.message() << ": " << text;
  return document;
}

std::vector<std::string> lines_of(const std::vector<Finding>& findings) {
  std::vector<std::string> lines;
  for (const Finding& finding : findings) {
    const std::string point = finding.point ? std::to_string(*finding.point) : "-";
    const std::string id = finding.whole_package ? "(package)" : finding.id;
    lines.push_back(std::string(level_name(finding.level)) + " " + id + " " + point + ": " + finding.text);
  }
  return lines;
}

// Ready-made actors: a resident and a model, each with the route it is given.
const std::string kPoint = R"({"x": 0, "y": 0, "z": 0})";
const std::string kPoints = "[" + kPoint + ", " + kPoint + "]";

// A route record: `settings` (members followed by a comma, or "") and `points`.
std::string path(const std::string& settings, const std::string& points = kPoints) {
  std::string text = "{";
  text.append(settings).append(R"( "points": )").append(points).append("}");
  return text;
}
std::string resident(const std::string& id, const std::string& route, const std::string& position = kPoint) {
  std::string text = R"({"actor": "resident", "id": ")";
  text.append(id).append(R"(", "position": )").append(position).append(R"(, "path": )").append(route).append("}");
  return text;
}
std::string model(const std::string& route) {
  std::string text = R"({"actor": "boat", "kind": "mod", "id": "m", "position": )";
  text.append(kPoint).append(R"(, "path": )").append(route).append("}");
  return text;
}

struct Case {
  const char* name;
  std::vector<std::string> actors;
  std::vector<std::string> expected;
};

TEST(PackageFindings, EachPackageGivesExactlyItsFindings) {
  const std::string route = path(R"("mode": "once",)");
  const std::string not_a_point = R"({"x": 1, "y": "high", "z": 0})";
  const std::string barrel = R"({"actor": "barrel", "kind": "object", "id": "b", "path": )" + route + "}";
  // clang-format off
  const std::vector<Case> cases = {
      {.name = "clean resident and model",
       .actors = {resident("r", route), model(path(R"("mode": "loop", "speed": 60,)"))},
       .expected = {}},
      {.name = "shared id",
       .actors = {resident("twin", route), resident("other", route), resident("twin", route), resident("twin", route)},
       .expected = {"error twin -: actors 1, 3 and 4 share this id: edits reach the first, check_route checks the "
                    "last"}},
      {.name = "unknown mode",
       .actors = {resident("r", path(R"("mode": "circle",)"))},
       .expected = {"warning r -: the mode \"circle\" is not \"once\", \"loop\" or \"back_and_forth\": the game "
                    "walks it as \"once\""}},
      {.name = "mode not text",
       .actors = {resident("r", path(R"("mode": 3,)"))},
       .expected = {"warning r -: the mode 3 is not \"once\", \"loop\" or \"back_and_forth\": the game walks it as "
                    "\"once\""}},
      {.name = "speed zero",
       .actors = {model(path(R"("speed": 0,)"))},
       .expected = {"warning m -: the speed 0 is not a positive number: the game walks at its own pace"}},
      {.name = "speed as text",
       .actors = {resident("r", path(R"("speed": "fast",)"))},
       .expected = {"warning r -: the speed \"fast\" is not a positive number: the game walks at its own pace"}},
      {.name = "negative pauses",
       .actors = {resident("r", path(R"("pauses": -1,)"))},
       .expected = {"warning r -: the pauses -1 are neither true, false nor a number of seconds from 0"}},
      {.name = "pauses zero and true are fine",
       .actors = {resident("r", path(R"("pauses": 0,)")), resident("s", path(R"("pauses": true,)"))},
       .expected = {}},
      {.name = "route point not a point",
       .actors = {resident("r", path("", "[" + kPoint + ", " + not_a_point + "]"))},
       .expected = {"error r 2: not a point (an object of finite \"x\", \"y\" and \"z\"): the check passes over it"}},
      {.name = "resident position not a point",
       .actors = {resident("r", route, "[0, 0, 0]")},
       .expected = {"error r 0: the \"position\" is not a point: the walk cannot start there"}},
      {.name = "model route of one point",
       .actors = {model(path(R"("speed": 60,)", "[" + kPoint + "]"))},
       .expected = {"warning m 1: a route of one point: the actor stands still"}},
      {.name = "resident route of one point walks from its position",
       .actors = {resident("r", path("", "[" + kPoint + "]"))},
       .expected = {}},
      {.name = "model without speed",
       .actors = {model(path(""))},
       .expected = {"warning m -: a model's route without a speed: the game walks it at its own pace"}},
      {.name = "actor that may not walk",
       .actors = {barrel},
       .expected = {"error b -: a route on an actor that may not walk: only residents, Bokoblins, Moblins and the "
                    "mod's own models walk routes"}},
      {.name = "actors that are not objects share no id",
       .actors = {"5", R"("x")", resident("", route)},
       .expected = {"error (package) -: actor 1 is not an object (it is a number): the game passes over it",
                    "error (package) -: actor 2 is not an object (it is a string): the game passes over it"}},
  };
  // clang-format on
  for (const Case& c : cases) { EXPECT_EQ(lines_of(package_findings(document_of(c.actors))), c.expected) << c.name; }
}

TEST(PackageFindings, ActorsThatAreNotAnArrayAreAnErrorOfThePackage) {
  const struct {
    const char* text;
    std::vector<std::string> expected;
    // clang-format off
  } cases[] = {
      {.text = R"({"actors": 5})",
       .expected = {"error (package) -: the \"actors\" is not an array (it is a number): the game refuses the "
                    "package"}},
      {.text = R"({"actors": {"id": "a"}})",
       .expected = {"error (package) -: the \"actors\" is not an array (it is an object): the game refuses the "
                    "package"}},
      {.text = R"({"name": "no actors"})", .expected = {}},
  };
  // clang-format on
  for (const auto& c : cases) {
    Value document;
    json_text::JsonTextError error;
    ASSERT_TRUE(json_text::parse_json(c.text, document, error)) << error.message();
    EXPECT_EQ(lines_of(package_findings(document)), c.expected) << c.text;
  }
}

}  // namespace
}  // namespace host
