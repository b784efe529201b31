// The journal after crashes: torn records are ignored, changes a crash kept out of the package file are
// folded in on open, and nothing is claimed that was not answered.
#include <filesystem>

#include "host/store/change_journal.h"
#include "host/store/content_hash.h"
#include "tests/host/store/store_fixture.h"

namespace store_test {
namespace {

using mods::json::Value;

std::string encoded(host::JournalRecord record) {
  std::string bytes, error;
  EXPECT_TRUE(host::encode_record(record, bytes, error)) << error;
  return bytes;
}

host::JournalRecord change_of(std::size_t index, const Value& before, const Value& after) {
  host::JournalRecord record;
  record.kind = host::JournalRecord::Kind::Change;
  record.change.label = "Route settings of " + before.get("id").str;
  record.change.time_ms = 1700000000000;
  record.change.actor_index = index;
  record.change.before = before;
  record.change.after = after;
  return record;
}

class ChangeJournal : public StoreTest {
 protected:
  // A journal as a crash leaves it: a checkpoint naming the package file as written, then two changes of
  // "walker" never folded into it.
  std::string crashed_journal(Value& first, Value& second) {
    const Value original = parse(kWindfallText);
    const Value& walker = original.get("actors").items[1];
    first = walker;
    first["path"]["mode"] = Value::of("loop");
    second = first;
    second["path"]["mode"] = Value::of("back_and_forth");
    host::JournalRecord checkpoint;
    const std::string text = kWindfallText;
    checkpoint.saved = checkpoint.replaced = host::FileVersion{host::content_hash(text), text.size()};
    std::filesystem::create_directories(folder.path() + "/.pathwright");
    return std::string(host::kJournalHeader) + encoded(checkpoint) + encoded(change_of(1, walker, first)) +
           encoded(change_of(1, first, second));
  }
};

TEST_F(ChangeJournal, ChangesACrashKeptOutOfTheFileAreFoldedInOnOpen) {
  Value first, second;
  write_text(journal_path(), crashed_journal(first, second));
  reopen();
  EXPECT_EQ(document().get("actors").items[1], second);
  EXPECT_EQ(parse(read_text(package_path())), document());
  EXPECT_EQ(run("history", Value::object()).result.get("changes").items.size(), 2u);
  ASSERT_TRUE(run("undo", Value::object()).ok);
  EXPECT_EQ(document().get("actors").items[1], first);
}

TEST_F(ChangeJournal, TornLastRecordIsIgnoredAndCutOffBeforeTheNextAppend) {
  Value first, second;
  std::string journal = crashed_journal(first, second);
  const std::size_t last = encoded(change_of(1, first, second)).size();
  for (std::size_t kept : {last - 1, last / 2, std::size_t{5}}) {
    write_text(package_path(), kWindfallText);
    write_text(journal_path(), journal.substr(0, journal.size() - last + kept));
    reopen();
    EXPECT_EQ(document().get("actors").items[1], first) << kept;
  }
  ASSERT_TRUE(run("remove_route", params({{"id", "statue"}})).ok);
  reopen();
  EXPECT_EQ(document().get("actors").items[1], first);
  EXPECT_FALSE(document().get("actors").items[3].has("path"));
}

TEST_F(ChangeJournal, RecordWithABadChecksumEndsTheReadableJournal) {
  Value first, second;
  std::string journal = crashed_journal(first, second);
  journal[journal.size() - 3] ^= 0x20;  // inside the last record's payload
  write_text(journal_path(), journal);
  reopen();
  EXPECT_EQ(document().get("actors").items[1], first);
}

TEST_F(ChangeJournal, JournalThatDoesNotFitTheFileClaimsNothing) {
  Value first, second;
  write_text(journal_path(), crashed_journal(first, second));
  const std::string outside = "{\"actors\": [{\"id\": \"walker\"}]}";
  write_text(package_path(), outside);
  reopen();
  EXPECT_EQ(document(), parse(outside));
  EXPECT_EQ(run("history", Value::object()).result.get("changes").items.size(), 0u);
  EXPECT_EQ(read_text(package_path()), outside);
}

TEST_F(ChangeJournal, CrashBetweenCheckpointAndRenameReplaysFromTheFileThatStayed) {
  ASSERT_TRUE(run("set_route", params({{"id", "walker"}, {"mode", "loop"}})).ok);
  (*faults)["rename"] = EIO;  // the checkpoint is journaled, the file is not replaced
  std::string error;
  EXPECT_FALSE(session->flush(error));
  faults->clear();
  ASSERT_TRUE(run("set_route", params({{"id", "walker"}, {"mode", "back_and_forth"}})).ok);
  EXPECT_EQ(read_text(package_path()), kWindfallText);
  reopen();
  EXPECT_EQ(document().get("actors").items[1].get("path").get("mode").str, "back_and_forth");
  EXPECT_EQ(parse(read_text(package_path())), document());
}

}  // namespace
}  // namespace store_test
