// History on a long route: every route command and a grouped change (a detour's points) undone and
// redone after a restart gives back the file's exact bytes from before and after the change, and what the
// journal keeps of a change is sized by the change, not by the route.
#include <string>
#include <vector>

#include "session/grouped_change.h"
#include "tests/store/store_fixture.h"

namespace store_test {
namespace {

constexpr int kLongRoutePoints = 200;
// Bytes a one-point change may add to the journal (its record with label and one point each way); the
// walker's whole route is about 40 times this.
constexpr std::size_t kOnePointRecordBytes = 400;

struct LongRouteHistory : StoreTest {
  LongRouteHistory() {
    Value package = parse(kWindfallText);
    Value& points = package["actors"].items[1]["path"]["points"];
    points.items.clear();
    for (int i = 0; i < kLongRoutePoints; ++i) {
      Value point = Value::object();
      point["x"] = Value::of(10.0 * i);
      point["y"] = Value::of(0.0);
      point["z"] = Value::of(0.5 * (i % 7));
      points.items.push_back(point);
    }
    std::string text, error;
    EXPECT_TRUE(json_text::print_json(package, json_text::JsonLayout::Indented, text, error)) << error;
    write_text(package_path(), text);
    reopen();
  }
};

struct Step {
  std::string method;  // a route command, or "detour" for a grouped change of two added points
  std::string params;
  std::size_t most_journal_bytes;  // what the change may add to the journal
};

TEST_F(LongRouteHistory, UndoAndRedoAfterARestartGiveBackTheFilesBytesAndCostWhatChanged) {
  // clang-format off
  const Step steps[] = {
      {.method = "add_route_point", .params = R"({"id": "walker", "position": {"x": 5, "y": 1, "z": 5}, "snap": false})", .most_journal_bytes = kOnePointRecordBytes},
      {.method = "add_route_point", .params = R"({"id": "walker", "position": {"x": 5, "y": 1, "z": 5}, "snap": false, "after": 100})", .most_journal_bytes = kOnePointRecordBytes},
      {.method = "move_route_point", .params = R"({"id": "walker", "point": 57, "position": {"x": 1, "y": 2, "z": 3}})", .most_journal_bytes = kOnePointRecordBytes},
      {.method = "remove_route_point", .params = R"({"id": "walker", "point": 3})", .most_journal_bytes = kOnePointRecordBytes},
      {.method = "reorder_route_point", .params = R"({"id": "walker", "point": 150, "to": 20})", .most_journal_bytes = 200 * kOnePointRecordBytes},  // the points between move: one splice of them
      {.method = "set_route", .params = R"({"id": "walker", "mode": "back_and_forth", "speed": 45})", .most_journal_bytes = kOnePointRecordBytes},
      {.method = "detour", .params = "", .most_journal_bytes = 2 * kOnePointRecordBytes},
      {.method = "remove_route", .params = R"({"id": "walker"})", .most_journal_bytes = 200 * kOnePointRecordBytes},
  };
  // clang-format on
  const std::string start = read_text(package_path());
  for (const Step& step : steps) {
    ASSERT_EQ(flush_error(), "");
    const std::string before = read_text(package_path());
    const std::size_t journal_before = read_text(journal_path()).size();
    if (step.method == "detour") {
      std::vector<host::session::GroupedCommand> commands;
      for (const char* after : {"10", "11"}) {
        commands.push_back({"add_route_point",
                            parse(std::string(R"({"package": "windfall", "id": "walker", )") +
                                  R"("snap": false, "position": {"x": 3, "y": 0, "z": 9}, "after": )" + after + "}")});
      }
      std::vector<Value> results;
      std::string error;
      ASSERT_TRUE(host::session::grouped_change(*session, parse(R"({"package": "windfall", "id": "walker"})"),
                                                "A detour", commands, results, error))
          << error;
    } else {
      ASSERT_TRUE(run(step.method, step.params).ok) << step.method;
    }
    EXPECT_LE(read_text(journal_path()).size(), journal_before + step.most_journal_bytes) << step.method;
    ASSERT_EQ(flush_error(), "");
    const std::string after = read_text(package_path());
    ASSERT_NE(after, before) << step.method;

    reopen();
    ASSERT_TRUE(run("undo").ok) << step.method;
    ASSERT_EQ(flush_error(), "");
    EXPECT_EQ(read_text(package_path()), before) << step.method;
    reopen();
    ASSERT_TRUE(run("redo").ok) << step.method;
    ASSERT_EQ(flush_error(), "");
    EXPECT_EQ(read_text(package_path()), after) << step.method;
  }
  reopen();  // all of it undone, one after another, from the journal alone
  for (std::size_t i = 0; i < std::size(steps); ++i) ASSERT_TRUE(run("undo").ok) << i;
  ASSERT_EQ(flush_error(), "");
  EXPECT_EQ(read_text(package_path()), start);
}

}  // namespace
}  // namespace store_test
