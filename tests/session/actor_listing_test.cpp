// placed_actors: the map's listing of a package by region and in pages, and its refusals of bad params.
#include "session/actor_listing.h"

#include <string>

#include "tests/store/store_fixture.h"

namespace store_test {
namespace {

constexpr int kSide = 10;  // the grid holds kSide x kSide actors, 100 world units apart
constexpr int kGridActors = kSide * kSide;

// Actor i stands at x = 100 (i % 10), z = 100 (i / 10); every third has a route. One more actor, last,
// stands nowhere.
Value grid_document() {
  Value document = Value::object();
  Value& actors = document["actors"] = Value::array();
  for (int i = 0; i < kGridActors; ++i) {
    const std::string at =
        R"({"x": )" + std::to_string(i % kSide * 100) + R"(, "y": 0, "z": )" + std::to_string(i / kSide * 100) + "}";
    std::string text = R"({"id": "a)" + std::to_string(i) +
                       R"(", "actor": "resident", "parameters": {"resident": "ub3"}, "position": )" + at;
    if (i % 3 == 0) text += R"(, "path": {"mode": "once", "points": [)" + at + "]}";
    actors.items.push_back(parse(text + "}"));
  }
  actors.items.push_back(parse(R"({"id": "nowhere", "actor": "resident", "parameters": {"resident": "ub3"}})"));
  return document;
}

struct Page {
  Value result;
  std::string error;
  bool ok = false;
};

Page list(const Value& document, const std::string& params) {
  Page page;
  page.ok = host::session::placed_actors("grid", document, parse(params), page.result, page.error);
  return page;
}

// The indices of a page's actors, separated by spaces.
std::string indices(const Value& answer) {
  std::string text;
  for (const Value& actor : answer.get("actors").items) {
    if (!text.empty()) text += ' ';
    text += std::to_string(static_cast<int>(actor.get("index").number));
  }
  return text;
}

TEST(PlacedActors, ARegionHoldsTheActorsStandingInsideItBoundsIncluded) {
  const Value document = grid_document();
  const struct {
    const char* region;
    const char* indices;
    // clang-format off
  } cases[] = {
      {.region = R"({"low": {"x": 0, "z": 0}, "high": {"x": 0, "z": 0}})", .indices = "0"},
      {.region = R"({"low": {"x": 100, "z": 100}, "high": {"x": 200, "z": 100}})", .indices = "11 12"},
      {.region = R"({"low": {"x": 99.5, "z": 199.5}, "high": {"x": 100.5, "z": 300.5}})", .indices = "21 31"},
      {.region = R"({"low": {"x": -50, "z": -50}, "high": {"x": -1, "z": -1}})", .indices = ""},
      {.region = R"({"low": {"x": 850, "z": 850}, "high": {"x": 1e300, "z": 1e300}})", .indices = "99"},
  };
  // clang-format on
  for (const auto& c : cases) {
    const Page page = list(document, std::string(R"({"region": )") + c.region + "}");
    ASSERT_TRUE(page.ok) << c.region << ": " << page.error;
    EXPECT_EQ(indices(page.result), c.indices) << c.region;
    EXPECT_EQ(page.result.get("total").number, kGridActors + 1) << c.region;
    EXPECT_TRUE(page.result.get("next").is_null()) << c.region;
  }
}

// Pages follow "next" until it is null; together they list every wanted actor exactly once, and no
// page after the first is empty.
TEST(PlacedActors, PagesFollowNextUntilEveryWantedActorIsListedOnce) {
  const Value document = grid_document();
  const struct {
    const char* params;
    int limit;
    const char* pages;
    // clang-format off
  } cases[] = {
      {.params = "", .limit = 30, .pages = "30 30 30 11"},
      {.params = "", .limit = 101, .pages = "101"},
      {.params = "", .limit = 10000, .pages = "101"},
      {.params = R"("region": {"low": {"x": 0, "z": 0}, "high": {"x": 100, "z": 900}}, )", .limit = 7, .pages = "7 7 6"},
      {.params = R"("region": {"low": {"x": 0, "z": 0}, "high": {"x": 100, "z": 900}}, )", .limit = 20, .pages = "20"},
      {.params = R"("id": "a42", )", .limit = 1, .pages = "1"},
      {.params = R"("id": "nobody", )", .limit = 5, .pages = "0"},
  };
  // clang-format on
  for (const auto& c : cases) {
    std::string sizes, all;
    Value next = Value::of(0.0);
    while (!next.is_null()) {
      const Page page =
          list(document, std::string("{") + c.params + R"("start": )" + std::to_string(static_cast<int>(next.number)) +
                             R"(, "limit": )" + std::to_string(c.limit) + "}");
      ASSERT_TRUE(page.ok) << c.params << ": " << page.error;
      if (!sizes.empty()) sizes += ' ';
      sizes += std::to_string(page.result.get("actors").items.size());
      if (!all.empty() && !indices(page.result).empty()) all += ' ';
      all += indices(page.result);
      next = page.result.get("next");
    }
    EXPECT_EQ(sizes, c.pages) << c.params << " limit " << c.limit;
    // The same actors as one pass without a limit, whose selection the other tests check.
    const std::string expected = indices(list(document, std::string("{") + c.params + R"("limit": 10000})").result);
    EXPECT_EQ(all, expected) << c.params << " limit " << c.limit;
  }
}

TEST(PlacedActors, EachActorCarriesItsSummaryPositionAndRouteUnlessRoutesAreLeftOut) {
  const Value document = grid_document();
  const Page with = list(document, R"({"id": "a3"})");
  ASSERT_TRUE(with.ok) << with.error;
  const Value& a3 = with.result.get("actors").items.at(0);
  EXPECT_EQ(a3, parse(R"({"id": "a3", "type": "resident", "walker": "resident", "points": 1, "index": 3,
                          "position": {"x": 300, "y": 0, "z": 0},
                          "path": {"mode": "once", "points": [{"x": 300, "y": 0, "z": 0}]}})"));
  const Page without = list(document, R"({"id": "a3", "routes": false})");
  EXPECT_FALSE(without.result.get("actors").items.at(0).has("path"));
  const Page nowhere = list(document, R"({"id": "nowhere"})");
  EXPECT_TRUE(nowhere.result.get("actors").items.at(0).get("position").is_null());
  EXPECT_TRUE(nowhere.result.get("actors").items.at(0).has("position"));
  EXPECT_EQ(list(document, R"({"start": 500})").result.get("actors").items.size(), 0u);
}

TEST(PlacedActors, BadParamsAreRefusedNamingTheParameter) {
  const Value document = grid_document();
  const char* const region_shape =
      "placed_actors: \"region\" is {\"low\": {\"x\", \"z\"}, \"high\": {\"x\", \"z\"}} with finite numbers";
  const char* const limit_range = "placed_actors: \"limit\" is a whole number from 1 to 10000";
  const char* const start_range = "placed_actors: \"start\" is a whole number from 0 to 9007199254740992";
  // error: "" for params that are accepted
  const struct {
    const char* params;
    const char* error;
    // clang-format off
  } cases[] = {
      {.params = R"({"region": 5})", .error = region_shape},
      {.params = R"({"region": {"low": {"x": 0, "z": 0}}})", .error = region_shape},
      {.params = R"({"region": {"low": {"x": 0, "z": "0"}, "high": {"x": 1, "z": 1}}})", .error = region_shape},
      {.params = R"({"region": {"low": {"x": 1, "z": 0}, "high": {"x": 0, "z": 1}}})",
       .error = "placed_actors: the \"region\"'s \"low\" corner lies beyond its \"high\" corner"},
      {.params = R"({"region": {"low": {"x": 0, "z": 1}, "high": {"x": 0, "z": 0}}})",
       .error = "placed_actors: the \"region\"'s \"low\" corner lies beyond its \"high\" corner"},
      {.params = R"({"limit": 0})", .error = limit_range},
      {.params = R"({"limit": 1})", .error = ""},
      {.params = R"({"limit": 10000})", .error = ""},
      {.params = R"({"limit": 10001})", .error = limit_range},
      {.params = R"({"limit": 2.5})", .error = limit_range},
      {.params = R"({"limit": "5"})", .error = limit_range},
      {.params = R"({"start": -1})", .error = start_range},
      {.params = R"({"start": 0})", .error = ""},
      {.params = R"({"start": 1e300})", .error = start_range},
      {.params = R"({"id": 5})", .error = "placed_actors: \"id\" is an actor's id, a string"},
      {.params = R"({"routes": "no"})", .error = "placed_actors: \"routes\" is true or false"},
  };
  // clang-format on
  for (const auto& c : cases) {
    const Page page = list(document, c.params);
    EXPECT_EQ(page.ok, !*c.error) << c.params;
    EXPECT_EQ(page.error, c.error) << c.params;
    EXPECT_EQ(page.result.is_null(), !page.ok) << c.params;
  }
}

using PlacedActorsCommand = StoreTest;

TEST_F(PlacedActorsCommand, AnswersAsAHostCommandWithTheSameSummariesAsActors) {
  const Answer actors = run("actors");
  const Answer placed = run("placed_actors", R"({"routes": false})");
  ASSERT_TRUE(placed.ok) << placed.error;
  EXPECT_EQ(placed.result.get("package").str, "windfall");
  ASSERT_EQ(placed.result.get("actors").items.size(), actors.result.get("actors").items.size());
  for (std::size_t i = 0; i < placed.result.get("actors").items.size(); ++i) {
    Value summary = placed.result.get("actors").items[i];
    summary.members.erase("index");
    summary.members.erase("position");
    EXPECT_EQ(summary, actors.result.get("actors").items[i]) << i;
  }
}

}  // namespace
}  // namespace store_test
