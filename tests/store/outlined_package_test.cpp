// A package opened for one route edit, undo or redo keeps of each actor only its "id" until the command
// reads it. Every answer and every byte saved must be those of a package opened whole.
#include <gtest/gtest.h>

#include "tests/store/store_fixture.h"

namespace store_test {
namespace {

// A store of its own, beside the test's others.
struct Store : StoreTest {
  void TestBody() override {}
};

// Two stores that start alike: one reopened whole before each command, one reopened outlined, as each
// `pathwright call` opens the store afresh. Their file is the windfall file as written by hand, or else
// one the store printed itself, as every package is after its first change here.
struct Twins {
  explicit Twins(bool printed) {
    outlined.outlined = true;
    for (StoreTest* store : {&whole, &outlined}) {
      if (printed) {
        EXPECT_TRUE(store->set_walker_mode("loop").ok);
        EXPECT_EQ(store->flush_error(), "");
      }
      store->reopen();
    }
  }
  Store whole;
  Store outlined;
};

struct Step {
  const char* method;
  const char* params;
};

TEST(OutlinedPackage, AnswersAndSavesEveryOneActorCommandExactlyAsAWholePackage) {
  // clang-format off
  const Step steps[] = {
      {.method = "add_route_point", .params = R"({"id": "chest", "position": {"x": 1, "y": 2, "z": 3}})"},
      {.method = "add_route_point", .params = R"({"id": "statue", "position": {"x": 4, "y": 0, "z": 0.5}})"},
      {.method = "move_route_point", .params = R"({"id": "walker", "point": 0, "position": {"x": 7, "y": 0, "z": 7}})"},
      {.method = "reorder_route_point", .params = R"({"id": "statue", "point": 0, "to": 2})"},
      {.method = "remove_route_point", .params = R"({"id": "statue", "point": 1})"},
      {.method = "set_route", .params = R"({"id": "statue", "mode": "back_and_forth", "speed": 45})"},
      {.method = "remove_route", .params = R"({"id": "walker"})"},
      {.method = "undo", .params = "{}"},
      {.method = "undo", .params = "{}"},
      {.method = "redo", .params = "{}"},
      {.method = "add_route_point", .params = R"({"id": "bench_man", "position": {"x": 1, "y": 2, "z": 3}})"},
      {.method = "add_route_point", .params = R"({"id": "nobody", "position": {"x": 1, "y": 2, "z": 3}})"},
      {.method = "remove_route_point", .params = R"({"id": "walker", "point": 9})"},
      {.method = "set_route", .params = R"({"id": "ghost", "mode": "loop"})"},
  };
  // clang-format on
  // A hand-written file is printed whole at its first checkpoint: the actors never read are printed from
  // the file's text, exactly as a whole package prints them, and read from that print afterwards.
  for (const bool printed : {false, true}) {
    SCOPED_TRACE(printed ? "a file the store printed" : "a file written by hand");
    Twins twins(printed);
    for (const Step& step : steps) {
      twins.whole.reopen();
      twins.outlined.reopen();
      const StoreTest::Answer expected = twins.whole.run(step.method, step.params);
      const StoreTest::Answer answer = twins.outlined.run(step.method, step.params);
      EXPECT_EQ(answer.ok, expected.ok) << step.method << " " << step.params;
      EXPECT_EQ(answer.error, expected.error) << step.method << " " << step.params;
      EXPECT_EQ(answer.result, expected.result) << step.method << " " << step.params;
      ASSERT_EQ(twins.outlined.flush_error(), "");
      ASSERT_EQ(twins.whole.flush_error(), "");
      EXPECT_EQ(read_text(twins.outlined.package_path()), read_text(twins.whole.package_path())) << step.method;
    }
    twins.outlined.reopen();
    EXPECT_EQ(twins.outlined.run("document").result, twins.whole.run("document").result);
    // The same changes, each stamped to the second when it was made: the twins may straddle a second.
    const auto untimed = [](Value history) {
      for (Value& change : history.items) change.members.erase("time");
      return history;
    };
    EXPECT_EQ(untimed(twins.outlined.history()), untimed(twins.whole.history()));
  }
}

// Only the actors a command names are built: the others stand as their bare "id", whether the file is
// this editor's print or written by hand.
TEST(OutlinedPackage, BuildsOnlyTheNamedActors) {
  Twins twins(true);
  Store hand_written;
  hand_written.outlined = true;
  hand_written.reopen();
  const Value bare_boko = parse(R"({"id": "boko"})");
  for (Store* store : {&twins.outlined, &hand_written}) {
    ASSERT_TRUE(store->run("add_route_point", R"({"id": "walker", "position": {"x": 1, "y": 2, "z": 3}})").ok);
    EXPECT_EQ(store->document().get("actors").items[2], bare_boko);
    EXPECT_EQ(store->document().get("actors").items[1].get("path").get("points").items.size(), 3u);
  }
}

}  // namespace
}  // namespace store_test
