// The journal file `.pathwright/NAME.journal`: a header, then self-checking records (length, checksum,
// payload), appended one per change and flushed before the change is answered. It holds the package's
// history (changes, undos, redos) and checkpoints that say which saved version of NAME.json holds the
// document as of that point, so that a restart can fold in changes a crash kept out of the file. The
// encoding and decoding are pure and safe from any thread; a JournalFile writes one package's journal and
// is owned by its StoredPackage, used by one thread at a time.
#ifndef PATHWRIGHT_HOST_STORE_CHANGE_JOURNAL_H_
#define PATHWRIGHT_HOST_STORE_CHANGE_JOURNAL_H_

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "host/store/change_history.h"
#include "host/store/file_system.h"

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

// The index of the checkpoint from which `records` replay onto the package file version `file`: the last
// checkpoint when it saved `file`; otherwise, when `file` is the version it replaced (a crash came between
// the checkpoint and the rename, or a power cut undid the unflushed rename), the earlier checkpoint that
// saved `file`, and so on back along the versions each checkpoint replaced. -1 when the journal fits none.
long replay_start(const std::vector<JournalRecord>& records, const FileVersion& file);

// A whole journal holding `history` alone (its changes as Entry records) and one checkpoint naming
// `version` as both saved and replaced. On false (an actor JSON cannot hold), `error` says where.
bool encode_history(const ChangeHistory& history, const FileVersion& version, std::string& bytes,
                    std::string& error);

class PackageStore;

// One package's journal file as this editor writes it: appends flushed records after the whole records
// it holds, cuts a torn tail before appending after it, and remembers when a failed append could not be
// cut back off, so that nothing is appended after a record no one answered.
class JournalFile {
 public:
  enum class State {
    Missing,  // no journal fits the package file; the owner writes a fresh one (`replace`)
    Open,     // the journal fits the file; records are appended
    Broken,   // an append failed and could not be cut back; only `replace` mends it
  };

  // `store` must outlive the JournalFile; `path` is the journal's file.
  JournalFile(PackageStore& store, std::string path) : store_(store), path_(std::move(path)) {}

  State state() const { return state_; }
  std::uint64_t bytes() const { return bytes_; }  // whole records, header included

  // The journal on disk fits the package: its first `valid` bytes are whole records, and anything up to
  // `file_size` is a torn tail, cut off before the next append.
  void adopt(std::uint64_t valid, std::uint64_t file_size);
  // Appends `records` (framed) and flushes them. Only when Open. On false, `reason` says why (lower case)
  // and the file holds what it held before; when that could not be restored the journal is Broken.
  bool append(std::string_view records, std::string& reason);
  // Replaces the file atomically with `contents` (a whole journal) and makes it Open. On false, `reason`
  // says why and the state is unchanged.
  bool replace(std::string_view contents, std::string& reason);
  // A journal that no longer fits and could not be rewritten: nothing is appended until `replace`.
  void break_off();

 private:
  PackageStore& store_;
  std::string path_;
  State state_ = State::Missing;
  std::unique_ptr<AppendFile> file_;  // opened on the first append
  std::uint64_t bytes_ = 0;
  bool torn_ = false;  // a tail beyond `bytes_` waits to be cut off
};

}  // namespace host

#endif  // PATHWRIGHT_HOST_STORE_CHANGE_JOURNAL_H_
