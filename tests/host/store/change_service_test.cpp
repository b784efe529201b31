// The change service through the real route commands: refused edits leave no trace in memory or on disk,
// applied ones are journaled at once and reach the package file by the next checkpoint.
#include "host/json_text/json_text.h"
#include "tests/host/store/store_fixture.h"

namespace store_test {
namespace {

using mods::json::Value;

Value at(double x, double y, double z) {
  Value point = Value::object();
  point["x"] = Value::of(x);
  point["y"] = Value::of(y);
  point["z"] = Value::of(z);
  return point;
}

Value with(Value params, const char* key, Value value) {
  params[key] = std::move(value);
  return params;
}

using ChangeService = StoreTest;

std::string mode_of_walker(const Value& document) {
  return document.get("actors").items[1].get("path").get("mode").string("");
}

TEST_F(ChangeService, RefusedEditsLeaveTheDocumentAndTheFilesExactlyAsBefore) {
  const Value original = parse(kWindfallText);
  const struct {
    const char* what;
    const char* route;
    Value params;
    const char* error;
  } cases[] = {
      {"set_route on an actor without a route", "set_route", params({{"id", "gate_1"}, {"mode", "loop"}}),
       "the actor has no route yet: add_route_point adds its first point"},
      {"add_route_point on a model without position", "add_route_point",
       with(params({{"id", "ghost"}}), "position", at(1, 2, 3)), "the actor has no position"},
      {"set_route refused after it set the mode", "set_route",
       params({{"id", "walker"}, {"mode", "loop"}, {"walk", "run"}}),
       "a resident walks with its own walk and stands with its own idle"},
      {"an unknown actor", "remove_route", params({{"id", "nobody"}}), "no placed actor \"nobody\" in windfall"},
      {"a refused actor", "add_route_point", with(params({{"id", "chest"}}), "position", at(1, 2, 3)),
       "only residents, Bokoblins, Moblins and the mod's own models walk routes"},
  };
  for (const auto& c : cases) {
    Answer answer = run(c.route, c.params);
    EXPECT_FALSE(answer.ok) << c.what;
    EXPECT_EQ(answer.error, c.error) << c.what;
    EXPECT_EQ(document(), original) << c.what;
  }
  std::string error;
  EXPECT_TRUE(session->flush(error)) << error;
  EXPECT_EQ(read_text(package_path()), kWindfallText);
  EXPECT_FALSE(exists(journal_path()));
  EXPECT_EQ(changed_calls, 0);
}

TEST_F(ChangeService, RefusedEditOnADocumentWithoutActorsLeavesNoActorsMember) {
  write_text(package_path("empty"), "{\"name\": \"Empty\"}");
  Answer answer = run("remove_route", with(params({{"id", "x"}}), "package", Value::of("empty")));
  EXPECT_FALSE(answer.ok);
  EXPECT_EQ(document("empty"), parse("{\"name\": \"Empty\"}"));
}

TEST_F(ChangeService, AppliedChangeIsJournaledAtOnceAndInThePackageFileAfterTheCheckpoint) {
  Answer answer = run("set_route", params({{"id", "walker"}, {"mode", "loop"}}));
  ASSERT_TRUE(answer.ok) << answer.error;
  EXPECT_EQ(changed_calls, 1);
  EXPECT_TRUE(exists(journal_path()));
  EXPECT_EQ(read_text(package_path()), kWindfallText);  // the checkpoint is not due yet
  std::string error;
  ASSERT_TRUE(session->flush(error)) << error;
  Value on_disk = parse(read_text(package_path()));
  EXPECT_EQ(on_disk, document());
  EXPECT_EQ(on_disk.get("actors").items[1].get("path").get("mode").str, "loop");
}

TEST_F(ChangeService, RefusesEveryChangeOnceTheFileWasChangedOutsideTheEditor) {
  ASSERT_TRUE(run("set_route", params({{"id", "walker"}, {"mode", "loop"}})).ok);
  std::string error;
  ASSERT_TRUE(session->flush(error)) << error;
  const std::string outside = "{\"actors\": [{\"id\": \"walker\", \"actor\": \"resident\"}]}\n";
  write_text(package_path(), outside);
  const std::string refusal = "package \"windfall\" was changed outside the editor: reload it before editing";
  EXPECT_EQ(run("set_route", params({{"id", "walker"}, {"mode", "once"}})).error, refusal);
  EXPECT_EQ(run("undo", Value::object()).error, refusal);
  EXPECT_EQ(read_text(package_path()), outside);

  // Reloading takes the outside version; the history no longer fits it and is set aside.
  Answer reloaded = run("reload", Value::object());
  ASSERT_TRUE(reloaded.ok) << reloaded.error;
  EXPECT_EQ(document(), parse(outside));
  EXPECT_EQ(run("undo", Value::object()).error, "nothing to undo in \"windfall\"");
  reopen();
  EXPECT_EQ(document(), parse(outside));
}

TEST_F(ChangeService, FailedJournalWriteRefusesTheChangeAndLeavesNoTrace) {
  ASSERT_TRUE(run("set_route", params({{"id", "walker"}, {"mode", "loop"}})).ok);
  const Value before = document();
  (*faults)["append"] = EIO;
  Answer answer = run("set_route", params({{"id", "walker"}, {"mode", "back_and_forth"}}));
  EXPECT_FALSE(answer.ok);
  EXPECT_EQ(answer.error, "package \"windfall\" could not be saved: input/output error");
  EXPECT_EQ(document(), before);
  faults->clear();
  ASSERT_TRUE(run("remove_route", params({{"id", "statue"}})).ok);
  reopen();  // as after a crash: only what was answered comes back
  EXPECT_EQ(document().get("actors").items[1].get("path").get("mode").str, "loop");
  EXPECT_FALSE(document().get("actors").items[3].has("path"));
}

TEST_F(ChangeService, JournalThatCannotBeCutBackIsRewrittenBeforeTheNextChange) {
  ASSERT_TRUE(run("set_route", params({{"id", "walker"}, {"mode", "loop"}})).ok);
  (*faults)["append"] = EIO;
  (*faults)["truncate"] = EIO;
  EXPECT_FALSE(run("set_route", params({{"id", "walker"}, {"mode", "back_and_forth"}})).ok);
  faults->clear();
  ASSERT_TRUE(run("remove_route", params({{"id", "statue"}})).ok);
  reopen();
  EXPECT_EQ(document().get("actors").items[1].get("path").get("mode").str, "loop");
  EXPECT_FALSE(document().get("actors").items[3].has("path"));
  EXPECT_EQ(run("history", Value::object()).result.get("changes").items.size(), 2u);
}

TEST_F(ChangeService, FailedCheckpointKeepsTheFileWholeAndTheChangesInTheJournal) {
  ASSERT_TRUE(run("set_route", params({{"id", "walker"}, {"mode", "loop"}})).ok);
  for (const char* operation : {"write_temporary", "rename"}) {
    (*faults)[operation] = ENOSPC;
    std::string error;
    EXPECT_FALSE(session->flush(error)) << operation;
    EXPECT_EQ(error, "package \"windfall\" could not be saved: no space left on device");
    EXPECT_EQ(read_text(package_path()), kWindfallText);
    faults->clear();
  }
  reopen();  // the journal still holds the change and folds it into the file when the package opens
  EXPECT_EQ(mode_of_walker(document()), "loop");
  EXPECT_EQ(parse(read_text(package_path())).get("actors").items[1].get("path").get("mode").str, "loop");
}

}  // namespace
}  // namespace store_test
