// Grouped changes on the durable store: several route commands, one history entry that one undo removes
// whole (also after a restart), and nothing at all when one of the commands fails.
#include "session/grouped_change.h"

#include "tests/store/store_fixture.h"

namespace store_test {

using GroupedChange = StoreTest;

std::vector<host::session::GroupedCommand> add_points(const std::vector<std::string>& positions) {
  std::vector<host::session::GroupedCommand> commands;
  for (std::size_t k = 0; k < positions.size(); ++k) {
    commands.push_back({"add_route_point", parse(R"({"package": "windfall", "id": "walker", "snap": false, "after": )" +
                                                 std::to_string(k + 1) + R"(, "position": )" + positions[k] + "}")});
  }
  return commands;
}

TEST_F(GroupedChange, SeveralCommandsAreOneHistoryEntryThatOneUndoRemoves) {
  const Value before = document();
  const std::size_t points = before.get("actors").items[1].get("path").get("points").items.size();
  std::vector<Value> results;
  std::string error;
  ASSERT_TRUE(host::session::grouped_change(
      *session, parse(R"({"package": "windfall", "id": "walker"})"), "Two more points",
      add_points({R"({"x": 1, "y": 0, "z": 5})", R"({"x": 2, "y": 0, "z": 5})"}), results, error))
      << error;
  ASSERT_EQ(results.size(), 2u);
  EXPECT_EQ(results[1].get("point").number, 3);
  EXPECT_EQ(document().get("actors").items[1].get("path").get("points").items.size(), points + 2);
  ASSERT_EQ(history().items.size(), 1u);
  EXPECT_EQ(history().items[0].get("label").str, "Two more points");
  EXPECT_EQ(changed_calls, 1);

  reopen();  // the group comes back from the journal as one change
  EXPECT_EQ(document().get("actors").items[1].get("path").get("points").items.size(), points + 2);
  EXPECT_EQ(run("undo").result.get("undone").str, "Two more points");
  EXPECT_EQ(document(), before);
}

TEST_F(GroupedChange, AFailingCommandLeavesThePackageAndHistoryUntouched) {
  const Value before = document();
  std::vector<host::session::GroupedCommand> commands =
      add_points({R"({"x": 1, "y": 0, "z": 5})", R"({"x": 2, "y": 0, "z": 5})"});
  commands[1].params["after"] = Value::of(99.0);
  std::vector<Value> results;
  std::string error;
  EXPECT_FALSE(host::session::grouped_change(*session, parse(R"({"package": "windfall", "id": "walker"})"),
                                             "Two more points", commands, results, error));
  EXPECT_EQ(error.rfind("step 2 of 2: ", 0), 0u) << error;
  EXPECT_EQ(document(), before);
  EXPECT_EQ(history().items.size(), 0u);
  EXPECT_EQ(changed_calls, 0);
}

}  // namespace store_test
