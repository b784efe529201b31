// Undo and redo per package: durable, across restarts, with the redo tail dropped by a new change.
#include <random>

#include "tests/host/store/store_fixture.h"

namespace store_test {
namespace {

using mods::json::Value;

using UndoRedo = StoreTest;

std::string mode_of(const Value& document, std::size_t actor) {
  return document.get("actors").items[actor].get("path").get("mode").string("");
}

TEST_F(UndoRedo, UndoAndRedoSurviveARestart) {
  ASSERT_TRUE(run("set_route", params({{"id", "walker"}, {"mode", "loop"}})).ok);
  ASSERT_TRUE(run("set_route", params({{"id", "walker"}, {"mode", "back_and_forth"}})).ok);
  Answer undone = run("undo", Value::object());
  ASSERT_TRUE(undone.ok) << undone.error;
  EXPECT_EQ(undone.result.get("undone").str, "Route settings of walker");
  EXPECT_EQ(changed_calls, 3);

  reopen();  // without a checkpoint: everything comes back from the journal
  EXPECT_EQ(mode_of(document(), 1), "loop");
  Value history = run("history", Value::object()).result;
  ASSERT_EQ(history.get("changes").items.size(), 2u);
  EXPECT_FALSE(history.get("changes").items[0].get("undone").boolean);
  EXPECT_TRUE(history.get("changes").items[1].get("undone").boolean);
  EXPECT_EQ(history.get("changes").items[0].get("time").str.size(), std::string("2024-01-01T00:00:00Z").size());

  ASSERT_TRUE(run("redo", Value::object()).ok);
  EXPECT_EQ(mode_of(document(), 1), "back_and_forth");
  std::string error;
  ASSERT_TRUE(session->flush(error)) << error;
  reopen();  // after a checkpoint the history is still there
  ASSERT_TRUE(run("undo", Value::object()).ok);
  ASSERT_TRUE(run("undo", Value::object()).ok);
  EXPECT_EQ(document(), parse(kWindfallText));
  EXPECT_EQ(run("undo", Value::object()).error, "nothing to undo in \"windfall\"");
}

TEST_F(UndoRedo, NewChangeAfterUndoDropsTheRedoTail) {
  ASSERT_TRUE(run("set_route", params({{"id", "walker"}, {"mode", "loop"}})).ok);
  ASSERT_TRUE(run("undo", Value::object()).ok);
  ASSERT_TRUE(run("remove_route", params({{"id", "statue"}})).ok);
  EXPECT_EQ(run("redo", Value::object()).error, "nothing to redo in \"windfall\"");
  reopen();
  EXPECT_EQ(run("redo", Value::object()).error, "nothing to redo in \"windfall\"");
  Value changes = run("history", Value::object()).result.get("changes");
  ASSERT_EQ(changes.items.size(), 1u);
  EXPECT_EQ(changes.items[0].get("label").str, "Remove the route of statue");
}

TEST_F(UndoRedo, RandomEditsThenUndoingThemAllGivesBackTheStart) {
  const unsigned seed = std::random_device{}();
  SCOPED_TRACE("seed " + std::to_string(seed));
  std::printf("random edits with seed %u\n", seed);
  std::mt19937 random(seed);
  const char* const ids[] = {"gate_1", "walker", "boko", "statue"};
  const char* const modes[] = {"once", "loop", "back_and_forth"};
  int applied = 0;
  for (int step = 0; step < 60; ++step) {
    Value request = params({{"id", ids[random() % 4]}});
    std::string route;
    switch (random() % 4) {
      case 0: {
        route = "add_route_point";
        Value point = Value::object();
        for (const char* axis : {"x", "y", "z"}) point[axis] = Value::of(static_cast<double>(random() % 100));
        request["position"] = point;
        break;
      }
      case 1:
        route = "set_route";
        request["mode"] = Value::of(modes[random() % 3]);
        break;
      case 2:
        route = "remove_route_point";
        request["point"] = Value::of(static_cast<double>(1 + random() % 3));
        break;
      default:
        route = "remove_route";
    }
    applied += run(route, request).ok ? 1 : 0;
    if (step % 20 == 19) {
      std::string error;
      ASSERT_TRUE(session->flush(error)) << error;
      reopen();
    }
  }
  ASSERT_GT(applied, 10);
  for (int i = 0; i < applied; ++i) ASSERT_TRUE(run("undo", Value::object()).ok) << i;
  EXPECT_EQ(document(), parse(kWindfallText));
  std::string error;
  ASSERT_TRUE(session->flush(error)) << error;
  EXPECT_EQ(parse(read_text(package_path())), parse(kWindfallText));
}

}  // namespace
}  // namespace store_test
