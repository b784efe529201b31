// The host's own commands and place resolution.
#include "session/place_request.h"
#include "tests/store/store_fixture.h"

namespace store_test {

using HostCommands = StoreTest;

TEST_F(HostCommands, ListPackagesWithCountsAndActorsWithWalkerClasses) {
  write_text(package_path("broken"), "[]");
  EXPECT_EQ(run("packages").result, parse(R"({"packages": [
      {"name": "broken", "error": "package \"broken\" is not a mod package: its document is not a JSON object"},
      {"name": "windfall", "actors": 7, "routes": 2}]})"));

  std::string listed;  // id, type, walker, points and whether a refusal is given, one actor a line
  const Value actors = run("actors").result.get("actors");
  for (const Value& a : actors.items) {
    listed += a.get("id").str + " " + a.get("type").str + " " + a.get("walker").str + " " +
              std::to_string(static_cast<int>(a.get("points").number)) + (a.has("refusal") ? " refused\n" : "\n");
  }
  EXPECT_EQ(listed,
            "gate_1 resident resident 0\n"
            "walker resident resident 2\n"
            "boko bokoblin patroller 0\n"
            "statue model model 2\n"
            "ghost model model 0\n"
            "bench_man resident none 0 refused\n"
            "chest treasure_chest none 0 refused\n");
}

// No ground; Link stands at (1, 2, 3) and the camera cannot be asked for.
struct FixedGame : editor::LiveGame {
  bool ground_height(const story_notebook::WorldPoint&, float&, std::string&) override { return false; }
  bool ground_heights(const std::vector<story_notebook::WorldPoint>&, std::vector<float>&, std::vector<bool>&,
                      std::string&) override {
    return false;
  }
  Value live_route(editor::Session::Package&, const std::string&) override { return Value(); }
  bool link_position(story_notebook::WorldPoint& p, std::string&) override {
    p = {1, 2, 3};
    return true;
  }
};

TEST(PlaceRequest, ResolvesPositionOrAskedPlaceAndNamesEachFault) {
  FixedGame game;
  const char* const not_a_point = "\"position\" is not a point: an object with finite numbers \"x\", \"y\" and \"z\"";
  const char* const at_is = "\"at\" is \"link\" or \"camera\"";
  const struct {
    const char* params;
    editor::LiveGame* game;
    const char* error;  // "" when it resolves to (1, 2, 3)
  } cases[] = {
      // A readable position wins over "at", and needs no game.
      {.params = R"({"position": {"x": 1, "y": 2, "z": 3}, "at": "camera"})", .game = nullptr, .error = ""},
      {.params = R"({"at": "link"})", .game = &game, .error = ""},
      {.params = R"({"position": {"x": 1, "y": 2}})", .game = nullptr, .error = not_a_point},
      {.params = R"({"position": {"x": 1, "y": 2, "z": 1e39}})", .game = nullptr, .error = not_a_point},
      {.params = R"({"at": "link"})",
       .game = nullptr,
       .error = "the game is not running: \"at\" needs it to find link or the camera"},
      {.params = R"({"at": "camera"})", .game = &game, .error = "the game link cannot tell where the camera is"},
      {.params = R"({"at": "sky"})", .game = &game, .error = at_is},
      {.params = R"({"at": 1})", .game = &game, .error = at_is},
      {.params = R"({})", .game = &game, .error = "say where: \"position\" or \"at\" (link or camera)"},
  };
  for (const auto& c : cases) {
    editor::Place place;
    std::string error;
    EXPECT_EQ(host::session::resolve_place(parse(c.params), c.game, place, error), !*c.error) << c.params;
    EXPECT_EQ(error, c.error) << c.params;
    EXPECT_TRUE(!error.empty() || (place.point.x == 1 && place.point.y == 2 && place.point.z == 3)) << c.params;
  }
}

}  // namespace store_test
