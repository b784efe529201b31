// The journal file `.pathwright/NAME.journal`: a header, then self-checking records (length, checksum,
// payload), appended one per change and flushed before the change is answered. It holds the package's
// history (changes, undos, redos) and checkpoints that say which saved version of NAME.json holds the
// document as of that point, so that a restart can fold in changes a crash kept out of the file. The
// encoding and decoding are pure and safe from any thread; a JournalFile writes one package's journal and
// is owned by its StoredPackage, used by one thread at a time.
#ifndef PATHWRIGHT_STORE_CHANGE_JOURNAL_H_
#define PATHWRIGHT_STORE_CHANGE_JOURNAL_H_

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "store/change_history.h"
#include "store/file_system.h"

namespace host::store {

// One saved version of a package file.
struct FileVersion {
  std::uint64_t hash = 0;  // content_hash of the file's bytes
  std::uint64_t size = 0;  // bytes
  friend bool operator==(const FileVersion&, const FileVersion&) = default;
};

// Which file on disk a package version is: its device, inode and status change time. Content alone cannot
// tell the file a checkpoint renamed in from a copy others wrote (git putting back an older version), and
// replay may only ever apply onto the former. The change time is set by the kernel on every write,
// rename and attribute change, and no one can set it by hand. All zero: not known.
struct FileStamp {
  std::uint64_t device = 0;
  std::uint64_t inode = 0;
  std::int64_t status_changed_ns = 0;
  static FileStamp of(const FileIdentity& identity) {
    return {identity.device, identity.inode, identity.status_changed_ns};
  }
  bool known() const { return device != 0 || inode != 0 || status_changed_ns != 0; }
  friend bool operator==(const FileStamp&, const FileStamp&) = default;
};

struct JournalRecord {
  enum class Kind : char {
    Entry = 'E',       // a change of a compacted history, not applied again (`change`, `undone`)
    Change = 'C',      // a change applied after the checkpoint before it (`change`)
    Undo = 'U',        // the last applied change was undone
    Redo = 'R',        // the next undone change was applied again
    Checkpoint = 'K',  // NAME.json was replaced: `saved` holds everything before this record, `replaced`
                       // is the version it replaced (still there when a crash came before the rename), and
                       // `replaced_file` the file that held it (format 2 on)
    File = 'F',        // the file the checkpoint before this record renamed in is `saved_file` (format 2 on)
  };
  Kind kind = Kind::Checkpoint;
  ChangeRecord change;
  bool undone = false;
  FileVersion saved;
  FileVersion replaced;
  FileStamp replaced_file;
  FileStamp saved_file;
};

// The bytes every journal starts with; a file without them is no journal of ours. Format 2 added the
// files' stamps (`K` grew one, `F` is new); format 3 keeps a change as its patch instead of the actor
// before and after. Journals of formats 1 and 2, as earlier builds wrote them, still read.
constexpr std::string_view kJournalHeader = "PWJRNL3\n";
constexpr std::string_view kJournalHeaderFormat2 = "PWJRNL2\n";
constexpr std::string_view kJournalHeaderFormat1 = "PWJRNL1\n";
constexpr int kJournalFormat = 3;

// The framed bytes of `record`. On false (a number in an actor that JSON cannot hold), `error` says where.
// Sets record.change.stored_bytes to the framed size for Entry and Change records.
bool encode_record(JournalRecord& record, std::string& bytes, std::string& error);

// Everything readable in a journal file.
struct JournalContents {
  int format = kJournalFormat;  // 1 names no files; 1 and 2 hold whole actors (read as patches)
  std::vector<JournalRecord> records;
  std::uint64_t valid_bytes = 0;  // header plus whole, well-checked records; what follows is a torn tail
};

// Reads `bytes` up to the first record that is cut short or fails its checksum (a write a crash
// interrupted, never answered). False when the header is wrong: then nothing in the file can be trusted.
bool decode_journal(std::string_view bytes, JournalContents& contents);

// The index of the checkpoint from which `contents` replay onto the package file, whose content is
// `file` and which is the file `stamp` names: the last checkpoint when it saved `file` and nothing follows
// it to replay (the package as saved, whichever file holds it), or when it saved `file` into that very
// file (its `F` record); otherwise, when the file is the very one the checkpoint replaced (a crash came
// between the checkpoint and the rename, or a power cut undid the unflushed rename), the earlier
// checkpoint that saved that version, and so on back along the files each checkpoint replaced. -1 when the
// journal fits none: any other file, even of a content once saved, was put there by others. A format 1
// journal names no files, so it fits only a file of the content its last checkpoint saved.
long replay_start(const JournalContents& contents, const FileVersion& file, const FileStamp& stamp);

// True when records that change the document follow the last checkpoint: changes not yet in any file.
bool changes_after_last_checkpoint(const std::vector<JournalRecord>& records);

// A whole journal holding `history` alone (its changes as Entry records) and one checkpoint naming
// `version`, held by the file `stamp`, as both saved and replaced. On false (an actor JSON cannot hold),
// `error` says where.
bool encode_history(const ChangeHistory& history, const FileVersion& version, const FileStamp& stamp,
                    std::string& bytes, std::string& error);

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

}  // namespace host::store

#endif  // PATHWRIGHT_STORE_CHANGE_JOURNAL_H_
