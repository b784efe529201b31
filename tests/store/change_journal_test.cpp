// The journal after crashes: torn or damaged records are ignored, changes a crash kept out of the package
// file are folded in on open, and nothing is claimed that was not answered.
#include "store/change_journal.h"

#include <cerrno>
#include <string>
#include <vector>

#include "store/content_hash.h"
#include "tests/store/store_fixture.h"

namespace store_test {

struct ChangeJournal : StoreTest {
  // Two answered changes of "walker" (loop, then back_and_forth) and no checkpoint, as a crash leaves
  // them: the package file as it was and the journal as the session wrote it, which this returns.
  std::string crash_after_two_changes(std::size_t* last_record_start = nullptr) {
    EXPECT_TRUE(set_walker_mode("loop").ok);
    if (last_record_start) *last_record_start = read_text(journal_path()).size();
    EXPECT_TRUE(set_walker_mode("back_and_forth").ok);
    session.reset();
    return read_text(journal_path());
  }
};

TEST_F(ChangeJournal, TornOrDamagedLastRecordIsIgnoredAndCutOffBeforeTheNextAppend) {
  std::size_t start = 0;
  const std::string journal = crash_after_two_changes(&start);
  const host::store::FileIdentity file = package_identity();  // the file the changes were made on
  std::string bad_checksum = journal;
  bad_checksum[journal.size() - 3] ^= 0x20;  // inside the last record's payload
  // Cut inside its payload (at the last byte and half way) and inside its frame of length and checksum.
  const std::size_t half_way = (start + journal.size()) / 2;
  const std::string damaged_journals[] = {
      bad_checksum,
      journal.substr(0, journal.size() - 1),
      journal.substr(0, half_way),
      journal.substr(0, start + 5),
  };
  for (const std::string& damaged : damaged_journals) {
    put_back_file(package_path(), kWindfallText, file);
    write_text(journal_path(), damaged);
    reopen();
    EXPECT_EQ(walker_mode(), "loop") << damaged.size();
  }
  ASSERT_TRUE(run("remove_route", R"({"id": "statue"})").ok);
  reopen();
  EXPECT_EQ(walker_mode(), "loop");
  EXPECT_FALSE(statue_has_route());
}

// Builds before the files' stamps wrote journals of the first format: they name no file, so their
// changes (whole actors before and after) replay onto a file of the content their last checkpoint saved,
// and the journal is then written afresh in the current format.
TEST_F(ChangeJournal, JournalOfTheFirstFormatStillOpensAndIsWrittenAfreshInTheCurrentOne) {
  const auto u64 = [](std::string& out, std::uint64_t v, int bytes) {
    for (int i = 0; i < bytes; ++i) out.push_back(static_cast<char>((v >> (8 * i)) & 0xFF));
  };
  const auto text_of = [&](std::string& out, const std::string& text) {
    u64(out, text.size(), 4);
    out += text;
  };
  const auto frame = [&](const std::string& payload) {
    std::string framed;
    u64(framed, payload.size(), 4);
    u64(framed, host::store::content_hash(payload) ^ (payload.size() * 0x9E3779B97F4A7C15ULL), 8);
    return framed + payload;
  };
  const std::string text = kWindfallText;
  std::string checkpoint = "K";  // saved and replaced: the file as it stands
  for (int i = 0; i < 2; ++i) {
    u64(checkpoint, host::store::content_hash(text), 8);
    u64(checkpoint, text.size(), 8);
  }
  // A change of the first format: the walker before and after, whole.
  Value walker = parse(text).get("actors").items[1];
  std::string before, after, error;
  ASSERT_TRUE(json_text::print_json(walker, json_text::JsonLayout::Compact, before, error));
  walker["path"]["mode"] = Value::of("loop");
  ASSERT_TRUE(json_text::print_json(walker, json_text::JsonLayout::Compact, after, error));
  std::string change = "C";
  u64(change, 1795423000000, 8);
  u64(change, 1, 8);
  u64(change, 0, 1);
  text_of(change, "Route settings of walker");
  text_of(change, before);
  text_of(change, after);
  std::filesystem::create_directories(folder + "/.pathwright");
  write_text(journal_path(), std::string(host::store::kJournalHeaderFormat1) + frame(checkpoint) + frame(change));

  reopen();
  EXPECT_EQ(walker_mode(), "loop");
  EXPECT_EQ(parse(read_text(package_path())), document());
  EXPECT_EQ(read_text(journal_path()).substr(0, host::store::kJournalHeader.size()), host::store::kJournalHeader);
  ASSERT_TRUE(run("undo").ok);
  reopen();
  EXPECT_EQ(walker_mode(), "once");
  ASSERT_EQ(history().items.size(), 1u);
  EXPECT_TRUE(history().items[0].get("undone").boolean);
}

// A journal that cannot be read is named, with what to do, and the package is left as it is.
TEST_F(ChangeJournal, JournalThatCannotBeReadNamesItsFileAndWhatToDoAndLeavesThePackage) {
  std::filesystem::create_directories(journal_path());  // a folder where the journal should be
  std::string error;
  EXPECT_EQ(session->package(parse(R"({"package": "windfall"})"), error), nullptr);
  EXPECT_EQ(error, "package \"windfall\" cannot be opened: its journal \"" + journal_path() +
                       "\" cannot be read: it is a folder, not a regular file; the package file holds every change "
                       "saved so far, so moving the journal aside opens the package as that file holds it (without "
                       "the history, and without changes the journal holds beyond it)");
  EXPECT_EQ(read_text(package_path()), kWindfallText);
}

TEST_F(ChangeJournal, JournalThatDoesNotFitTheFileClaimsNothing) {
  crash_after_two_changes();
  const std::string outside = "{\"actors\": [{\"id\": \"walker\"}]}";
  write_text(package_path(), outside);
  reopen();
  EXPECT_EQ(document(), parse(outside));
  EXPECT_EQ(history().items.size(), 0u);
  EXPECT_EQ(read_text(package_path()), outside);
}

// Package renames are left unflushed, so a power cut may undo any number of saves: the file is then a
// version some earlier checkpoint saved, and the journal must still bring back every answered change
// exactly once (a change applied twice fails replay's check of the actor before it, and the history
// would be set aside).
TEST_F(ChangeJournal, APowerCutUndoingUnflushedSavesLosesNoAnsweredChange) {
  struct Case {
    // a walker mode, "save", "save fails", "save, folder unflushable", "undo", "broken journal", "cut"
    std::vector<std::string> steps;
    std::string walker_mode;
    std::size_t changes;
  };
  // clang-format off
  const Case cases[] = {
      {.steps = {"loop", "save"}, .walker_mode = "loop", .changes = 1},
      {.steps = {"loop", "save", "back_and_forth", "save"}, .walker_mode = "back_and_forth", .changes = 2},
      {.steps = {"loop", "save", "undo", "save"}, .walker_mode = "once", .changes = 1},
      // its checkpoint journaled, the temporary not: a version no later checkpoint names as replaced
      {.steps = {"loop", "save fails", "back_and_forth", "save"}, .walker_mode = "back_and_forth", .changes = 2},
      {.steps = {"loop", "save", "cut", "back_and_forth", "save"}, .walker_mode = "back_and_forth", .changes = 2},
      // the fresh journal that mends a broken one no longer rebuilds the save from the file before it
      {.steps = {"loop", "broken journal", "save"}, .walker_mode = "loop", .changes = 1},
      {.steps = {"loop", "broken journal", "save, folder unflushable", "save"}, .walker_mode = "loop", .changes = 1},
  };
  // clang-format on
  for (const Case& c : cases) {
    start_over();
    std::string steps;
    for (const std::string& step : c.steps) {
      steps += step + "; ";
      if (step == "save") {
        ASSERT_EQ(flush_error(), "") << steps;
      } else if (step == "save fails") {
        faults.flush_temporary = ENOSPC;
        ASSERT_NE(flush_error(), "") << steps;
        faults = {};
      } else if (step == "save, folder unflushable") {
        faults.sync_package_folder = EIO;  // the file is saved; the journal cannot be mended yet
        ASSERT_EQ(flush_error(), "") << steps;
        faults = {};
      } else if (step == "undo") {
        ASSERT_TRUE(run("undo").ok) << steps;
      } else if (step == "broken journal") {
        faults = {.append = EIO, .truncate = EIO};
        ASSERT_FALSE(run("remove_route", R"({"id": "statue"})").ok) << steps;
        faults = {};
      } else if (step == "cut") {
        power_cut();
      } else {
        ASSERT_TRUE(set_walker_mode(step).ok) << steps;
      }
    }
    power_cut();
    EXPECT_EQ(walker_mode(), c.walker_mode) << steps;
    EXPECT_EQ(history().items.size(), c.changes) << steps;
    EXPECT_EQ(parse(read_text(package_path())), document()) << steps;
  }
}

}  // namespace store_test
