// Undo and redo per package: durable across restarts, with the redo tail dropped by a new change.
#include <random>

#include "tests/store/store_fixture.h"
#include "tests/support/seeded_random.h"

namespace store_test {

using UndoRedo = StoreTest;

TEST_F(UndoRedo, UndoAndRedoSurviveARestartAndANewChangeDropsTheRedoTail) {
  ASSERT_TRUE(set_walker_mode("loop").ok && set_walker_mode("back_and_forth").ok);
  EXPECT_EQ(run("undo").result.get("undone").str, "Route settings of walker");
  EXPECT_EQ(changed_calls, 3);

  reopen();  // without a checkpoint: everything comes back from the journal
  EXPECT_EQ(walker_mode(), "loop");
  const Value changes = history();
  ASSERT_EQ(changes.items.size(), 2u);
  EXPECT_TRUE(!changes.items[0].get("undone").boolean && changes.items[1].get("undone").boolean);
  EXPECT_EQ(changes.items[0].get("time").str.size(), std::string("2024-01-01T00:00:00Z").size());

  ASSERT_TRUE(run("redo").ok);
  EXPECT_EQ(walker_mode(), "back_and_forth");
  ASSERT_EQ(flush_error(), "");
  reopen();  // after a checkpoint the history is still there
  ASSERT_TRUE(run("undo").ok && run("undo").ok);
  EXPECT_EQ(document(), parse(kWindfallText));
  EXPECT_EQ(run("undo").error, "nothing to undo in \"windfall\"");

  ASSERT_TRUE(run("remove_route", R"({"id": "statue"})").ok);
  EXPECT_EQ(run("redo").error, "nothing to redo in \"windfall\"");
  reopen();
  EXPECT_EQ(run("redo").error, "nothing to redo in \"windfall\"");
  ASSERT_EQ(history().items.size(), 1u);
  EXPECT_EQ(history().items[0].get("label").str, "Remove the route of statue");
}

TEST_F(UndoRedo, RandomEditsThenUndoingThemAllGivesBackTheStart) {
  std::mt19937 random = test_support::seeded_random();
  const char* const ids[] = {"gate_1", "walker", "boko", "statue"};
  const char* const modes[] = {"once", "loop", "back_and_forth"};
  int applied = 0;
  for (int step = 0; step < 60; ++step) {
    const std::string id = std::string(R"({"id": ")") + ids[random() % 4] + "\"";
    const std::string x = std::to_string(random() % 100);
    const std::string z = std::to_string(random() % 100);
    // clang-format off
    const std::pair<const char*, std::string> edits[] = {
        {"add_route_point", id + R"(, "position": {"x": )" + x + R"(, "y": 0, "z": )" + z + "}}"},
        {"set_route", id + R"(, "mode": ")" + modes[random() % 3] + "\"}"},
        {"remove_route_point", id + R"(, "point": )" + std::to_string(1 + random() % 3) + "}"},
        {"remove_route", id + "}"},
    };
    // clang-format on
    const auto& [route, request] = edits[random() % 4];
    applied += run(route, request).ok ? 1 : 0;
    if (step % 20 == 19) {
      ASSERT_EQ(flush_error(), "");
      reopen();
    }
  }
  ASSERT_GT(applied, 10);
  for (int i = 0; i < applied; ++i) ASSERT_TRUE(run("undo").ok) << i;
  EXPECT_EQ(document(), parse(kWindfallText));
  ASSERT_EQ(flush_error(), "");
  EXPECT_EQ(parse(read_text(package_path())), parse(kWindfallText));
}

}  // namespace store_test
