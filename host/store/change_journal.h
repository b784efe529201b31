// The journal file `.pathwright/NAME.journal`: a header, then self-checking records (length, checksum,
// payload), appended one per change and flushed before the change is answered. It holds the package's
// history (changes, undos, redos) and checkpoints that say which saved version of NAME.json holds the
// document as of that point, so that a restart can fold in changes a crash kept out of the file. Pure
// encoding and decoding; the file itself is handled by StoredPackage. Safe from any thread.
#ifndef PATHWRIGHT_HOST_STORE_CHANGE_JOURNAL_H_
#define PATHWRIGHT_HOST_STORE_CHANGE_JOURNAL_H_

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "host/store/change_history.h"

namespace host {

// One saved version of a package file.
struct FileVersion {
  std::uint64_t hash = 0;  // content_hash of the file's bytes
  std::uint64_t size = 0;  // bytes
  friend bool operator==(const FileVersion&, const FileVersion&) = default;
};

struct JournalRecord {
  enum class Kind : char {
    Entry = 'E',       // a change of a compacted history, not applied again (`change`, `undone`)
    Change = 'C',      // a change applied after the checkpoint before it (`change`)
    Undo = 'U',        // the last applied change was undone
    Redo = 'R',        // the next undone change was applied again
    Checkpoint = 'K',  // NAME.json was replaced: `saved` holds everything before this record, `replaced`
                       // is the version it replaced (still there when a crash came before the rename)
  };
  Kind kind = Kind::Checkpoint;
  ChangeRecord change;
  bool undone = false;
  FileVersion saved;
  FileVersion replaced;
};

// The bytes every journal starts with; a file without them is no journal of ours.
constexpr std::string_view kJournalHeader = "PWJRNL1\n";

// The framed bytes of `record`. On false (a number in an actor that JSON cannot hold), `error` says where.
// Sets record.change.stored_bytes to the framed size for Entry and Change records.
bool encode_record(JournalRecord& record, std::string& bytes, std::string& error);

// Everything readable in a journal file.
struct JournalContents {
  std::vector<JournalRecord> records;
  std::uint64_t valid_bytes = 0;  // header plus whole, well-checked records; what follows is a torn tail
};

// Reads `bytes` up to the first record that is cut short or fails its checksum (a write a crash
// interrupted, never answered). False when the header is wrong: then nothing in the file can be trusted.
bool decode_journal(std::string_view bytes, JournalContents& contents);

}  // namespace host

#endif  // PATHWRIGHT_HOST_STORE_CHANGE_JOURNAL_H_
