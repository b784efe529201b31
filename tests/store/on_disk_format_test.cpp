// Golden bytes of what the store leaves on disk: the content hash that names a saved package version and
// the journal records of known changes. Stores written by earlier builds hold exactly these bytes, so
// changing any of them is a change of the file format that old stores meet: they must still be read
// (a new header version and a reader for the old one), never silently misread. Update a golden value
// only together with that decision.
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "store/change_journal.h"
#include "store/content_hash.h"
#include "tests/store/store_fixture.h"

namespace store_test {
namespace {

using host::store::JournalContents;
using host::store::JournalRecord;

constexpr char kHexDigits[] = "0123456789abcdef";

// Bytes as hex, so that a failure shows the new bytes ready to paste after the decision.
std::string hex(std::string_view bytes) {
  std::string out;
  for (const unsigned char c : bytes) out += {kHexDigits[c >> 4], kHexDigits[c & 0xf]};
  return out;
}

std::string from_hex(std::string_view digits) {
  std::string bytes;
  for (std::size_t i = 0; i + 1 < digits.size(); i += 2) {
    const auto value = [](char c) { return static_cast<int>(std::string_view(kHexDigits).find(c)); };
    bytes.push_back(static_cast<char>(value(digits[i]) * 16 + value(digits[i + 1])));
  }
  return bytes;
}

struct HashCase {
  std::string_view text;
  std::uint64_t hash;
};

TEST(OnDiskFormat, ContentHashOfKnownTextsIsStable) {
  // clang-format off
  const HashCase cases[] = {
      {.text = "", .hash = 0x0ff2e69699c4857eULL},
      {.text = "{}", .hash = 0x47f147c38127bf2dULL},
      {.text = "{\n  \"actors\": []\n}\n", .hash = 0x4c977f4b66999568ULL},
      {.text = "eight by", .hash = 0xebc58fe7b2ff9a48ULL},
      {.text = "{\"actors\":[{\"id\":\"gate_guard\",\"actor\":\"resident\"}]}", .hash = 0x26951f416f269b1cULL},
  };
  // clang-format on
  for (const HashCase& c : cases) {
    EXPECT_EQ(host::store::content_hash(c.text), c.hash)
        << hex(c.text) << ": 0x" << std::hex << host::store::content_hash(c.text) << "ULL";
  }
}

JournalRecord known_change() {
  JournalRecord record;
  record.kind = JournalRecord::Kind::Change;
  record.change.label = "Add a route point to gate_guard";
  record.change.time_ms = 1795423000000;  // 2026-11-23T08:36:40Z
  record.change.actor_index = 2;
  record.change.patch = host::store::diff_actor(parse(R"({"id":"gate_guard","actor":"resident","type":"Ym1"})"),
                                                parse(R"({"id":"gate_guard","actor":"resident","type":"Ym1",)"
                                                      R"("path":{"points":[{"x":-150,"y":100,"z":1100.5}]}})"));
  return record;
}

JournalRecord known_checkpoint() {
  JournalRecord record;
  record.kind = JournalRecord::Kind::Checkpoint;
  record.saved = {.hash = 0x0123456789abcdefULL, .size = 4096};
  record.replaced = {.hash = 0xfedcba9876543210ULL, .size = 4000};
  record.replaced_file = {.device = 0x801, .inode = 1234567, .status_changed_ns = 1795423000123456789};
  return record;
}

JournalRecord known_file() {
  JournalRecord record;
  record.kind = JournalRecord::Kind::File;
  record.saved_file = {.device = 0x801, .inode = 1234599, .status_changed_ns = 1795423000223456789};
  return record;
}

JournalRecord of_kind(JournalRecord::Kind kind) {
  JournalRecord record;
  record.kind = kind;
  return record;
}

// A change, its undo and redo, a checkpoint and the file it renamed in.
std::vector<JournalRecord> known_records() {
  return {known_change(), of_kind(JournalRecord::Kind::Undo), of_kind(JournalRecord::Kind::Redo), known_checkpoint(),
          known_file()};
}

// The journal of `records` as a store writes it now: every field a record holds, framed after the header.
std::string written(std::vector<JournalRecord> records) {
  std::string bytes(host::store::kJournalHeader), error;
  for (JournalRecord& record : records) {
    std::string framed;
    EXPECT_TRUE(host::store::encode_record(record, framed, error)) << error;
    bytes += framed;
  }
  return bytes;
}

// The records the formats share, as hex: an undo (U) and a redo (R); from the second format, a checkpoint (K:
// saved hash and size, replaced hash and size, replaced file as device, inode, ctime) and the file it
// renamed in (F: device, inode, ctime); in the first two, the change (C: time, actor index, undone flag,
// label, then the actor before and after as compact JSON). Each record is its payload length and checksum,
// then its payload.
// clang-format off
const std::string kUndoAndRedoHex =
    "01000000" "b8d999da2a577d2a" "55"
    "01000000" "c6f7251b15226b38" "52";
const std::string kCheckpointAndFileHex =
    "39000000" "15e2afa5ec3caff6"
    "4befcdab896745230100100000000000001032547698badcfea00f0000000000"
    "000108000000000000" "87d6120000000000" "15bdecbfb49fea18"
    "19000000" "b498095dcfb29df5"
    "46" "0108000000000000" "a7d6120000000000" "159ee2c5b49fea18";
const std::string kWholeActorChangeHex =
    "d5000000" "d4328e64b970c35b"
    "43c0d58c07a20100000200000000000000001f000000416464206120726f7574"
    "6520706f696e7420746f20676174655f6775617264330000007b226163746f72"
    "223a227265736964656e74222c226964223a22676174655f6775617264222c22"
    "74797065223a22596d31227d650000007b226163746f72223a22726573696465"
    "6e74222c226964223a22676174655f6775617264222c2270617468223a7b2270"
    "6f696e7473223a5b7b2278223a2d3135302c2279223a3130302c227a223a3131"
    "30302e357d5d7d2c2274797065223a22596d31227d";

// Header, a change, its undo and redo, a checkpoint and the file it renamed in, as a store writes them.
const std::string kGoldenJournal = from_hex(
    // the header, "PWJRNL3\n"
    "50574a524e4c330a"
    // a change (C): time, actor index, undone flag, label, then its patch: one edit, a member (M) at the
    // actor itself (no steps), key "path", index 0, only an after side (flags 2), before "" and after JSON
    "81000000" "6ac852e897214099"  // payload length, checksum
    "43c0d58c07a20100000200000000000000001f000000416464206120726f7574"
    "6520706f696e7420746f20676174655f6775617264"
    "01000000" "4d" "00000000" "0400000070617468" "0000000000000000" "02" "00000000"
    "2a0000007b22706f696e7473223a5b7b2278223a2d3135302c2279223a313030"
    "2c227a223a313130302e357d5d7d"
    + kUndoAndRedoHex + kCheckpointAndFileHex);

// The same in the second format, as builds before patches wrote it: the change holds the actor before and
// after, whole.
const std::string kGoldenJournalFormat2 = from_hex("50574a524e4c320a" + kWholeActorChangeHex + kUndoAndRedoHex + kCheckpointAndFileHex);

// The same in the first format, as builds before the files' stamps wrote it: no `F` record, and a
// checkpoint without the replaced file's stamp.
const std::string kGoldenJournalFormat1 = from_hex(
    "50574a524e4c310a" + kWholeActorChangeHex + kUndoAndRedoHex +
    // a checkpoint (K): saved hash and size, replaced hash and size
    "21000000" "b9669ad3cf8663a4"  // payload length, checksum
    "4befcdab896745230100100000000000001032547698badcfea00f0000000000"
    "00");
// clang-format on

TEST(OnDiskFormat, JournalBytesOfKnownChangesAreStable) {
  const std::string bytes = written(known_records());
  EXPECT_EQ(bytes, kGoldenJournal) << "now written: " << hex(bytes);
}

// Each format's journal reads as the same records: changes as patches, and (from the second) the files.
TEST(OnDiskFormat, JournalWrittenByEarlierBuildsStillReads) {
  const struct {
    const std::string* journal;
    int format;
    bool files;  // whether it names the files: the checkpoint's replaced file and a File record
    // clang-format off
  } cases[] = {
      {.journal = &kGoldenJournalFormat1, .format = 1, .files = false},
      {.journal = &kGoldenJournalFormat2, .format = 2, .files = true},
      {.journal = &kGoldenJournal,        .format = 3, .files = true},
  };
  // clang-format on
  for (const auto& c : cases) {
    SCOPED_TRACE(c.format);
    JournalContents contents;
    ASSERT_TRUE(host::store::decode_journal(*c.journal, contents));
    EXPECT_EQ(contents.format, c.format);
    EXPECT_EQ(contents.valid_bytes, c.journal->size());
    std::vector<JournalRecord> expected = known_records();
    if (!c.files) {  // no File record, and a checkpoint that does not name the file it replaced
      expected.pop_back();
      expected.back().replaced_file = {};
    }
    EXPECT_EQ(hex(written(contents.records)), hex(written(expected)));
  }
}

}  // namespace
}  // namespace store_test
