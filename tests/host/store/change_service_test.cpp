// The change service through the real route commands: refused edits leave no trace in memory or on disk,
// applied ones are journaled before the answer and reach the package file by the next checkpoint.
#include "tests/host/store/store_fixture.h"

namespace store_test {

using ChangeService = StoreTest;

TEST_F(ChangeService, RefusedEditsLeaveTheDocumentsAndTheFilesExactlyAsBefore) {
  write_text(package_path("empty"), "{\"name\": \"Empty\"}");
  const struct {
    const char* route;
    const char* params;
    const char* error;
  } cases[] = {
      {.route = "set_route",
       .params = R"({"id": "gate_1", "mode": "loop"})",
       .error = "the actor has no route yet: add_route_point adds its first point"},
      {.route = "add_route_point",
       .params = R"({"id": "ghost", "position": {"x": 1, "y": 2, "z": 3}})",
       .error = "the actor has no position"},
      // refused after it set the mode
      {.route = "set_route",
       .params = R"({"id": "walker", "mode": "loop", "walk": "run"})",
       .error = "a resident walks with its own walk and stands with its own idle"},
      {.route = "remove_route", .params = R"({"id": "nobody"})", .error = "no placed actor \"nobody\" in windfall"},
      {.route = "add_route_point",
       .params = R"({"id": "chest", "position": {"x": 1, "y": 2, "z": 3}})",
       .error = "only residents, Bokoblins, Moblins and the mod's own models walk routes"},
      // a document without actors gains no "actors" member
      {.route = "remove_route",
       .params = R"({"id": "x", "package": "empty"})",
       .error = "no placed actor \"x\" in empty"},
  };
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
  // A failed rename comes after the checkpoint is journaled, as a crash between the two would.
  for (int Faults::*operation : {&Faults::write_temporary, &Faults::rename}) {
    faults.*operation = ENOSPC;
    EXPECT_EQ(flush_error(), "package \"windfall\" could not be saved: no space left on device");
    EXPECT_EQ(read_text(package_path()), kWindfallText);
    faults = {};
  }
  ASSERT_TRUE(set_walker_mode("back_and_forth").ok);
  EXPECT_EQ(read_text(package_path()), kWindfallText);  // the checkpoint is not due yet
  reopen();  // the journal replays both changes onto the file that stayed and folds them into it
  EXPECT_EQ(walker_mode(), "back_and_forth");
  EXPECT_EQ(parse(read_text(package_path())), document());
  EXPECT_EQ(history().items.size(), 2u);
}

TEST_F(ChangeService, RefusesEveryChangeOnceTheFileWasChangedOutsideTheEditor) {
  ASSERT_TRUE(set_walker_mode("loop").ok);
  ASSERT_EQ(flush_error(), "");
  const std::string outside = "{\"actors\": [{\"id\": \"walker\", \"actor\": \"resident\"}]}\n";
  write_text(package_path(), outside);
  const std::string refusal = "package \"windfall\" was changed outside the editor: reload it before editing";
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

TEST_F(ChangeService, FailedJournalWriteRefusesTheChangeAndLeavesNoTraceEvenIfItCannotBeCutBack) {
  // A journal that cannot be cut back is rewritten before the next change.
  for (const Faults& failing : {Faults{.append = EIO}, Faults{.append = EIO, .truncate = EIO}}) {
    start_over();
    ASSERT_TRUE(set_walker_mode("loop").ok);
    const Value before = document();
    faults = failing;
    EXPECT_EQ(set_walker_mode("back_and_forth").error, "package \"windfall\" could not be saved: input/output error");
    EXPECT_EQ(document(), before);
    faults = {};
    ASSERT_TRUE(run("remove_route", R"({"id": "statue"})").ok);
    reopen();  // as after a crash: only what was answered comes back
    EXPECT_EQ(walker_mode(), "loop");
    EXPECT_FALSE(statue_has_route());
    EXPECT_EQ(history().items.size(), 2u);
  }
}

// The fault: a save that failed still answered "point", as if the point had been added.
TEST_F(ChangeService, FailedSaveLeavesNoResultClaimingTheChange) {
  ASSERT_TRUE(set_walker_mode("loop").ok);  // the journal exists: the next change appends to it
  faults = {.append = EIO};
  const Answer answer = run("add_route_point", R"({"id": "gate_1", "position": {"x": 1, "y": 0, "z": 2}})");
  EXPECT_FALSE(answer.ok);
  EXPECT_EQ(answer.error, "package \"windfall\" could not be saved: input/output error");
  EXPECT_FALSE(answer.result.has("point")) << "a refused change claims a point number";
}

}  // namespace store_test
