// The journal after crashes: torn or damaged records are ignored, changes a crash kept out of the package
// file are folded in on open, and nothing is claimed that was not answered.
#include "tests/host/store/store_fixture.h"

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
    write_text(package_path(), kWindfallText);
    write_text(journal_path(), damaged);
    reopen();
    EXPECT_EQ(walker_mode(), "loop") << damaged.size();
  }
  ASSERT_TRUE(run("remove_route", R"({"id": "statue"})").ok);
  reopen();
  EXPECT_EQ(walker_mode(), "loop");
  EXPECT_FALSE(statue_has_route());
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

}  // namespace store_test
