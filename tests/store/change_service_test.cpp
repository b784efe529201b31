// The change service through the real route commands: refused edits leave no trace in memory or on disk,
// applied ones are journaled before the answer and reach the package file by the next checkpoint.
#include <fcntl.h>
#include <sys/stat.h>
#include <time.h>

#include <algorithm>

#include "tests/store/store_fixture.h"

namespace store_test {

using ChangeService = StoreTest;

TEST_F(ChangeService, RefusedEditsLeaveTheDocumentsAndTheFilesExactlyAsBefore) {
  write_text(package_path("empty"), "{\"name\": \"Empty\"}");
  const struct {
    const char* route;
    const char* params;
    const char* error;
    // clang-format off
  } cases[] = {
      {.route = "set_route", .params = R"({"id": "gate_1", "mode": "loop"})", .error = "the actor has no route yet: add_route_point adds its first point"},
      {.route = "add_route_point", .params = R"({"id": "ghost", "position": {"x": 1, "y": 2, "z": 3}})", .error = "the actor has no position"},
      // refused after it set the mode
      {.route = "set_route", .params = R"({"id": "walker", "mode": "loop", "walk": "run"})", .error = "a resident walks with its own walk and stands with its own idle"},
      {.route = "remove_route", .params = R"({"id": "nobody"})", .error = "no placed actor \"nobody\" in windfall"},
      {.route = "add_route_point", .params = R"({"id": "chest", "position": {"x": 1, "y": 2, "z": 3}})", .error = "only residents, Bokoblins, Moblins and the mod's own models walk routes"},
      // a document without actors gains no "actors" member
      {.route = "remove_route", .params = R"({"id": "x", "package": "empty"})", .error = "no placed actor \"x\" in empty"},
  };
  // clang-format on
  for (const auto& c : cases) EXPECT_EQ(run(c.route, c.params).error, c.error) << c.params;
  EXPECT_EQ(document(), parse(kWindfallText));
  EXPECT_EQ(document("empty"), parse("{\"name\": \"Empty\"}"));
  EXPECT_EQ(flush_error(), "");
  EXPECT_EQ(read_text(package_path()), kWindfallText);
  EXPECT_FALSE(std::filesystem::exists(folder + "/.pathwright"));
  EXPECT_EQ(changed_calls, 0);
}

TEST_F(ChangeService, AppliedChangesStayInTheJournalUntilACheckpointReplacesTheWholeFile) {
  ASSERT_TRUE(set_walker_mode("loop").ok);
  EXPECT_EQ(changed_calls, 1);
  // A failed flush or rename comes after the checkpoint is journaled, as a crash between the two would.
  for (int Faults::*operation : {&Faults::write_temporary, &Faults::flush_temporary, &Faults::rename}) {
    faults.*operation = ENOSPC;
    EXPECT_EQ(flush_error(), "package \"windfall\" could not be saved: no space left on device");
    EXPECT_EQ(read_text(package_path()), kWindfallText);
    EXPECT_EQ(temporaries(), 0) << "a temporary is left";
    faults = {};
  }
  ASSERT_TRUE(set_walker_mode("back_and_forth").ok);
  EXPECT_EQ(read_text(package_path()), kWindfallText);  // the checkpoint is not due yet
  reopen();  // the journal replays both changes onto the file that stayed and folds them into it
  EXPECT_EQ(walker_mode(), "back_and_forth");
  EXPECT_EQ(parse(read_text(package_path())), document());
  EXPECT_EQ(history().items.size(), 2u);
}

// Changes, undo and the checkpoint of a change made before it are all refused; the file stays as found.
TEST_F(ChangeService, RefusesEveryChangeAndCheckpointOnceTheFileWasChangedOutsideTheEditor) {
  ASSERT_TRUE(set_walker_mode("loop").ok);
  ASSERT_EQ(flush_error(), "");
  ASSERT_TRUE(set_walker_mode("back_and_forth").ok);  // not yet saved when the file changes
  const std::string outside = "{\"actors\": [{\"id\": \"walker\", \"actor\": \"resident\"}]}\n";
  write_text(package_path(), outside);
  const std::string refusal = "package \"windfall\" was changed outside the editor: reload it before editing";
  EXPECT_EQ(flush_error(), refusal);
  EXPECT_EQ(temporaries(), 0);
  EXPECT_EQ(set_walker_mode("once").error, refusal);
  EXPECT_EQ(run("undo").error, refusal);
  EXPECT_EQ(read_text(package_path()), outside);

  // Reloading takes the outside version; the history no longer fits it and is set aside.
  ASSERT_TRUE(run("reload").ok);
  EXPECT_EQ(document(), parse(outside));
  EXPECT_EQ(run("undo").error, "nothing to undo in \"windfall\"");
  reopen();
  EXPECT_EQ(document(), parse(outside));
}

// A change whose journal write fails is refused, answers nothing that claims it was made (no "point"), and
// leaves no trace, in memory or on disk; a journal that cannot be cut back is rewritten before the next change.
TEST_F(ChangeService, FailedJournalWriteRefusesTheChangeAndLeavesNoTraceEvenIfItCannotBeCutBack) {
  for (const Faults& failing : {Faults{.append = EIO}, Faults{.append = EIO, .truncate = EIO}}) {
    start_over();
    ASSERT_TRUE(set_walker_mode("loop").ok);  // the journal exists: the next change appends to it
    const Value before = document();
    faults = failing;
    const Answer refused = run("add_route_point", R"({"id": "gate_1", "position": {"x": 1, "y": 0, "z": 2}})");
    EXPECT_EQ(refused.error, "package \"windfall\" could not be saved: input/output error");
    EXPECT_FALSE(refused.result.has("point")) << "a refused change claims a point number";
    EXPECT_EQ(document(), before);
    faults = {};
    ASSERT_TRUE(run("remove_route", R"({"id": "statue"})").ok);
    reopen();  // as after a crash: only what was answered comes back
    EXPECT_EQ(walker_mode(), "loop");
    EXPECT_FALSE(statue_has_route());
    EXPECT_EQ(history().items.size(), 2u);
  }
}

// A change soon after a save reads and hashes the package file again only while its time stamp could hide a
// write: 2 s for whole-second stamps, 50 ms for stamps with a fraction of a second.
TEST_F(ChangeService, ReadsThePackageAgainOnlyWhileItsTimeStampCouldHideAWrite) {
  struct Case {
    const char* stamp;
    long seconds_ago;
    bool whole_second;
    int reads;
  };
  // clang-format off
  const Case cases[] = {
      {.stamp = "a fraction of a second, 1 s before the read", .seconds_ago = 1, .whole_second = false, .reads = 0},
      {.stamp = "a whole second, 1 to 2 s before the read", .seconds_ago = 1, .whole_second = true, .reads = 1},
      {.stamp = "a fraction of a second, after the read", .seconds_ago = -1, .whole_second = false, .reads = 1},
  };
  // clang-format on
  for (const Case& c : cases) {
    start_over();
    timespec stamp{};
    ::clock_gettime(CLOCK_REALTIME, &stamp);
    stamp.tv_sec -= c.seconds_ago;
    stamp.tv_nsec = c.whole_second ? 0 : std::max(stamp.tv_nsec, 1L);
    const timespec times[2] = {stamp, stamp};
    ASSERT_EQ(::utimensat(AT_FDCWD, package_path().c_str(), times, 0), 0);
    reopen();
    document();  // loads the package: its text is read once
    faults.reads = 0;
    ASSERT_TRUE(set_walker_mode("loop").ok) << c.stamp;
    EXPECT_EQ(faults.reads, c.reads) << c.stamp;
  }
}

// Checkpoints print only the actors changed since the last one, starting from the file as read back; the
// file must still be exactly the print of the whole document after changes of several actors, undos and
// redos, one after another.
TEST_F(ChangeService, EveryCheckpointWritesExactlyThePrintOfTheWholeDocument) {
  struct Step {
    const char* method;
    const char* params;
  };
  // clang-format off
  const Step steps[] = {
      {.method = "set_route", .params = R"({"id": "walker", "mode": "loop"})"},
      {.method = "add_route_point", .params = R"({"id": "statue", "position": {"x": 3, "y": 0, "z": 0.25}})"},
      {.method = "add_route_point", .params = R"({"id": "gate_1", "position": {"x": -1, "y": 0, "z": 1e-7}})"},
      {.method = "remove_route", .params = R"({"id": "walker"})"},
      {.method = "undo", .params = "{}"},
      {.method = "undo", .params = "{}"},
      {.method = "redo", .params = "{}"},
      {.method = "remove_route_point", .params = R"({"id": "statue", "point": 1})"},
  };
  // clang-format on
  for (const Step& step : steps) {
    ASSERT_TRUE(run(step.method, step.params).ok) << step.method << " " << step.params;
    ASSERT_EQ(flush_error(), "");
    reopen();  // the next checkpoint starts from the file this one wrote, as read back
    std::string expected, error;
    ASSERT_TRUE(json_text::print_json(document(), json_text::JsonLayout::Indented, expected, error)) << error;
    EXPECT_EQ(read_text(package_path()), expected) << step.method << " " << step.params;
  }
}

// Changes replayed from the journal at open stay in every later checkpoint of the package, whether it was
// opened whole or outlined (for one route edit, its actors replayed whole): the same bytes either way.
TEST_F(ChangeService, ACheckpointAfterChangesReplayedAtOpenKeepsThem) {
  std::string saved[2];
  for (const bool as_outlined : {false, true}) {
    outlined = as_outlined;
    start_over();
    ASSERT_TRUE(set_walker_mode("loop").ok);
    reopen();  // the change waited in the journal: replayed and folded in when the package loads
    ASSERT_TRUE(run("add_route_point", R"({"id": "statue", "position": {"x": 3, "y": 0, "z": 0}})").ok);
    ASSERT_EQ(flush_error(), "");
    saved[as_outlined] = read_text(package_path());
  }
  const Value file = parse(saved[0]);
  EXPECT_EQ(file.get("actors").items[1].get("path").get("mode").str, "loop");
  EXPECT_EQ(file.get("actors").items[3].get("path").get("points").items.size(), 3u);
  EXPECT_EQ(saved[1], saved[0]) << "opened outlined";
}

}  // namespace store_test
