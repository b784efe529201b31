// docs/package-format.md against the route service: every example actor (a fenced block marked
// "json actor") is read out of the page, checked against the ground of the simulated island, has its own
// settings set again, and is walked by the game; and the page's resident table is the catalogue.
#include <gtest/gtest.h>

#include <memory>
#include <regex>
#include <set>

#include "json_text/json_text.h"
#include "link/local_live_game.h"
#include "residents/resident_types.h"
#include "residents/walkers.h"
#include "session/actor_listing.h"
#include "tests/docs/doc_examples.h"
#include "tests/support/memory_session.h"

namespace doc_examples {
namespace {

using mods::json::Value;

const std::string kPage = std::string(PATHWRIGHT_DOCS_DIR) + "/package-format.md";
constexpr const char* kSettings[] = {"speed", "mode", "pauses", "walk", "idle"};

// The route service's own classification, named as the page (and the actor listing) names it.
std::string walker_class(const Value& actor) { return host::session::actor_summary(actor).get("walker").string(""); }

class PackageFormatPage : public ::testing::Test {
 protected:
  void SetUp() override {
    std::string error;
    game_ = host::link::LocalLiveGame::open("", true, error);
    ASSERT_NE(game_, nullptr) << error;
    for (const std::string& block : fenced_blocks(file_text(kPage), "json actor")) {
      Value actor;
      json_text::JsonTextError parse_error;
      ASSERT_TRUE(json_text::parse_json(block, actor, parse_error)) << parse_error.message() << "\n" << block;
      examples_.push_back(actor);
    }
  }

  std::unique_ptr<host::link::LocalLiveGame> game_;
  std::vector<Value> examples_;
};

TEST_F(PackageFormatPage, ShowsAWholeActorOfEveryWalkerClass) {
  std::set<std::string> classes;
  for (const Value& actor : examples_) classes.insert(walker_class(actor));
  EXPECT_EQ(classes, (std::set<std::string>{"model", "patroller", "resident"}));
}

TEST_F(PackageFormatPage, ExamplesWalkTheIslandAndHoldOnlySettingsTheirClassMaySet) {
  for (const Value& example : examples_) {
    const std::string id = example.get("id").string("");
    SCOPED_TRACE(id);
    support::MemorySession session;
    Value document = Value::object();
    document["actors"] = Value::array();
    document["actors"].items.push_back(example);
    editor::Session::Package& package = session.add("windfall", document);
    session.live_game = game_.get();
    Value params = Value::object();
    params["id"] = Value::of(id);

    const auto check = session.run("check_route", params);
    ASSERT_TRUE(check.ok) << check.error;
    EXPECT_FALSE(check.result.has("skipped")) << "a point the route service cannot read";
    for (const Value& segment : check.result.get("segments").items) {
      EXPECT_TRUE(segment.get("ok").is_bool() && segment.get("ok").boolean)
          << "segment " << segment.get("from").number << " to " << segment.get("to").number << ": "
          << segment.get("problem").string("");
    }

    for (const char* setting : kSettings) {
      if (example.get("path").has(setting)) params[setting] = example.get("path").get(setting);
    }
    const auto set = session.run("set_route", params);
    EXPECT_TRUE(set.ok) << set.error;
    EXPECT_EQ(package.document.get("actors").items.at(0), example) << "setting its own settings changed it";

    std::string error;
    ASSERT_TRUE(game_->load_package(package, error)) << error;
    EXPECT_FALSE(game_->live_route(package, id).is_null()) << "the game does not walk it";
  }
}

TEST_F(PackageFormatPage, ResidentTableIsTheCatalogue) {
  const std::regex row(R"(^\| `(\w{3})` \| ([^|]+) \| ([^|]+) \|$)");
  std::map<std::string, std::pair<std::string, std::string>> rows;  // code: name, pace
  std::istringstream text(file_text(kPage));
  for (std::string line; std::getline(text, line);) {
    std::smatch match;
    if (std::regex_match(line, match, row)) rows[match[1]] = {match[2], match[3]};
  }
  EXPECT_EQ(rows.size(), std::size(story_resident_types::kTypes));
  for (const story_resident_types::Type& type : story_resident_types::kTypes) {
    SCOPED_TRACE(type.code);
    Value actor = Value::object();
    actor["actor"] = Value::of("resident");
    actor["parameters"]["resident"] = Value::of(type.code);
    const double pace = editor::resident_pace(actor);
    char pace_text[32];
    std::snprintf(pace_text, sizeof pace_text, "%g", pace);
    const std::string walks = editor::route_refusal(actor).empty() ? pace_text : "does not walk";
    ASSERT_TRUE(rows.count(type.code));
    EXPECT_EQ(rows[type.code].first, type.name);
    EXPECT_EQ(rows[type.code].second, walks);
  }
}

}  // namespace
}  // namespace doc_examples
