// The host's own commands and place resolution.
#include "host/store/place_request.h"
#include "tests/host/store/store_fixture.h"

namespace store_test {
namespace {

using mods::json::Value;

using HostCommands = StoreTest;

TEST_F(HostCommands, ListsPackagesWithCountsAndLoadErrors) {
  write_text(package_path("broken"), "[]");
  Answer answer = run("packages", Value::object());
  ASSERT_TRUE(answer.ok) << answer.error;
  EXPECT_EQ(answer.result, parse(R"({"packages": [
      {"name": "broken", "error": "package \"broken\" is not a mod package: its document is not a JSON object"},
      {"name": "windfall", "actors": 7, "routes": 2}]})"));
}

TEST_F(HostCommands, ListsActorsWithWalkerClassesAndRefusals) {
  Answer answer = run("actors", Value::object());
  ASSERT_TRUE(answer.ok) << answer.error;
  const struct {
    const char* id;
    const char* type;
    const char* walker;
    double points;
    bool refused;
  } expected[] = {
      {"gate_1", "resident", "resident", 0, false}, {"walker", "resident", "resident", 2, false},
      {"boko", "bokoblin", "patroller", 0, false},  {"statue", "model", "model", 2, false},
      {"ghost", "model", "model", 0, false},        {"bench_man", "resident", "none", 0, true},
      {"chest", "treasure_chest", "none", 0, true},
  };
  const auto& actors = answer.result.get("actors").items;
  ASSERT_EQ(actors.size(), std::size(expected));
  for (std::size_t i = 0; i < actors.size(); ++i) {
    EXPECT_EQ(actors[i].get("id").str, expected[i].id);
    EXPECT_EQ(actors[i].get("type").str, expected[i].type) << expected[i].id;
    EXPECT_EQ(actors[i].get("walker").str, expected[i].walker) << expected[i].id;
    EXPECT_EQ(actors[i].get("points").number, expected[i].points) << expected[i].id;
    EXPECT_EQ(actors[i].has("refusal"), expected[i].refused) << expected[i].id;
  }
}

TEST_F(HostCommands, LeavesOtherNamesUnhandled) {
  std::string error;
  bool ok = true, handled = true;
  session->host_command("add_route_point", Value::object(), error, ok, handled);
  EXPECT_FALSE(handled);
  EXPECT_EQ(session->loaded_package_names().size(), 0u);
}

class FixedGame : public editor::LiveGame {
 public:
  bool ground_height(const story_notebook::WorldPoint&, float&, std::string&) override { return false; }
  bool ground_heights(const std::vector<story_notebook::WorldPoint>&, std::vector<float>&, std::vector<bool>&,
                      std::string&) override {
    return false;
  }
  Value live_route(editor::Session::Package&, const std::string&) override { return Value(); }
  bool link_position(story_notebook::WorldPoint& point, std::string&) override {
    point = {1, 2, 3};
    return true;
  }
};

TEST(PlaceRequest, ResolvesPositionOrAskedPlaceAndNamesEachFault) {
  FixedGame game;
  editor::LiveGame* link_only = &game;
  const struct {
    const char* params;
    editor::LiveGame* game;
    const char* error;  // "" when it resolves to (1, 2, 3)
  } cases[] = {
      {R"({"position": {"x": 1, "y": 2, "z": 3}, "at": "camera"})", nullptr, ""},
      {R"({"at": "link"})", link_only, ""},
      {R"({"position": {"x": 1, "y": 2}})", nullptr,
       "\"position\" is not a point: an object with finite numbers \"x\", \"y\" and \"z\""},
      {R"({"position": {"x": 1, "y": 2, "z": 1e39}})", nullptr,
       "\"position\" is not a point: an object with finite numbers \"x\", \"y\" and \"z\""},
      {R"({"at": "link"})", nullptr, "the game is not running: \"at\" needs it to find link or the camera"},
      {R"({"at": "camera"})", link_only, "the game link cannot tell where the camera is"},
      {R"({"at": "sky"})", link_only, "\"at\" is \"link\" or \"camera\""},
      {R"({"at": 1})", link_only, "\"at\" is \"link\" or \"camera\""},
      {R"({})", link_only, "say where: \"position\" or \"at\" (link or camera)"},
  };
  for (const auto& c : cases) {
    editor::Place place;
    std::string error;
    bool ok = host::resolve_place(parse(c.params), c.game, place, error);
    EXPECT_EQ(ok, std::string(c.error).empty()) << c.params;
    EXPECT_EQ(error, c.error) << c.params;
    if (ok) {
      EXPECT_EQ(place.point.x + place.point.y + place.point.z, 6.0f) << c.params;
    }
  }
}

}  // namespace
}  // namespace store_test
