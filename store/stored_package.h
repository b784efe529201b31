// One open package of the store: its document, its undo/redo history and its journal, and the change
// service that keeps the three in step. Every applied change is flushed to the journal before it is
// answered; the package file is rewritten atomically by `fold` (a checkpoint), within a second of the
// oldest change not yet in it. Owned by the HostSession; used by one thread at a time.
#ifndef PATHWRIGHT_STORE_STORED_PACKAGE_H_
#define PATHWRIGHT_STORE_STORED_PACKAGE_H_

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "editor/session.h"
#include "store/change_history.h"
#include "store/change_journal.h"
#include "store/package_store.h"
#include "store/package_text.h"
#include "store/set_aside_changes.h"
#include "store/unread_actors.h"

namespace host::store {

class StoredPackage {
 public:
  using Clock = std::chrono::steady_clock;
  // How long a change may wait in the journal before the package file is rewritten. The host calls
  // `maintain` at least every 200 ms and a large package takes a few hundred ms to write, so this leaves
  // the file within a second of every answered change while batching quick edits into one rewrite.
  static constexpr std::chrono::milliseconds kFoldAfter{400};
  // A journal is rewritten as its history alone once it is this large and more than twice that history.
  static constexpr std::uint64_t kCompactAboveBytes = 256 * 1024;  // bytes
  // A journal is rewritten at the next checkpoint once it passes this, whatever its history, and the
  // history it is rewritten with is cut (oldest changes first) to half of it: far below the 256 MiB the
  // store reads, so that a journal never grows past what the store can open again.
  static constexpr std::uint64_t kJournalCeilingBytes = std::uint64_t{64} << 20;  // bytes
  // The coarsest file time stamp we allow for: a file whose time lies this close to when we last knew its
  // content is hashed, not trusted. Whole-second time stamps (2 s on FAT, 1 s on older file systems) get
  // the first; time stamps with a fraction of a second tick at least every 10 ms (exFAT; the kernel's
  // clock tick elsewhere), so they get the second, with a margin.
  static constexpr std::int64_t kTimestampGranularityNs = 2'000'000'000;   // ns
  static constexpr std::int64_t kFineTimestampGranularityNs = 50'000'000;  // ns

  // How much of the document `open` builds. Outline: each actor only as its "id" until it is read, for a
  // process that runs one route edit, undo or redo; it falls back to Whole when the journal has changes
  // to replay or an element of "actors" is not an object.
  enum class Reading { Whole, Outline };

  // Loads package `name` from `store` (which must outlive it): NAME.json, then its journal; changes the
  // journal holds beyond the file (a crash came before the checkpoint) are applied and saved first. On
  // null, `error` is one of the store's load texts and nothing was written.
  static std::unique_ptr<StoredPackage> open(PackageStore& store, const std::string& name, std::string& error,
                                             Reading reading = Reading::Whole);

  const std::string& name() const { return package_.name; }
  // The package with every actor whole.
  editor::Session::Package& package();
  // The package as read so far: an outlined actor holds only its "id" until read_actors_with_id (or a
  // change, undo or redo of it) reads it. For callers that look at nothing else.
  editor::Session::Package& package_as_read() { return package_; }
  // Reads whole every actor whose "id", read as a string ("" for any other kind), is `id`.
  void read_actors_with_id(const std::string& id);
  const ChangeHistory& history() const { return history_; }

  // Runs `edit` on the document and records it as a change of the first actor whose "id" is `actor_id`.
  // True when the edit answered true and the change is in the journal on disk. On false, the document is
  // exactly as before and `error` is the edit's text untouched, the outside-change text, or
  // "package \"NAME\" could not be saved: REASON".
  bool change(const std::string& label, const editor::Session::Edit& edit, const std::string& actor_id,
              std::string& error);
  // Reverts the last applied change / re-applies the next undone one, durably like a change. On true,
  // `label` is that change's label; on false nothing changed and `error` says why.
  bool undo(std::string& label, std::string& error);
  bool redo(std::string& label, std::string& error);

  // True when answered changes wait for a checkpoint and the file was changed outside the editor: they can
  // no longer be saved, only discarded by a reload. That includes changes a journal kept when the package
  // opened on a file that is not the one they were made on (`set_aside`).
  bool in_conflict();
  // The changes of a journal that did not fit the file at open, not in any file: the document is the file
  // as others left it, and every change is refused until a reload discards these.
  const SetAsideChanges& set_aside() const { return set_aside_; }
  // Removes the journal, once the changes in conflict are kept elsewhere, so that the package opens again
  // on the file as it stands. Nothing more may be recorded here: the caller drops this package. On false,
  // `error` says why and nothing changed.
  bool drop_journal(std::string& error);
  // The labels of the answered changes (undo and redo as "Undo: LABEL" / "Redo: LABEL") since the file
  // last took them, oldest first. Changes replayed from a journal at open are folded at once and not listed.
  const std::vector<std::string>& unfolded_labels() const {
    return set_aside_.labels.empty() ? unfolded_labels_ : set_aside_.labels;
  }

  // True when changes wait for a checkpoint and the oldest has waited kFoldAfter by `now`.
  bool fold_due(Clock::time_point now) const;
  bool has_unfolded() const { return oldest_unfolded_.has_value() || journal_.state() == JournalFile::State::Broken; }
  // Rewrites the package file atomically with every change (a checkpoint). True at once when nothing waits.
  // On false, `error` says why; the changes stay in the journal and a later call tries again. The rename
  // is left for the store to flush (PackageStore::commit_unflushed): a power cut before that brings back
  // the old file, onto which the journal replays the same document.
  bool fold(std::string& error);

 private:
  // What puts the document back exactly as it was when an edit is refused or its change cannot be saved:
  // the document's kind, its "actors" as found, and a copy of the one actor the request names.
  struct Rollback {
    mods::json::Value::Kind document_kind = mods::json::Value::Kind::Null;
    bool had_actors = false;
    bool actors_array = false;
    std::size_t actor_count = 0;
    long index = -1;               // the named actor, -1 when there is none
    mods::json::Value before;      // that actor before the edit
    mods::json::Value odd_actors;  // a non-array "actors", kept whole
  };

  StoredPackage(PackageStore& store, std::string name);
  bool read_journal(const std::string& file_bytes, std::string& error);
  void read_whole(const std::string& file_bytes, std::vector<json_text::TextRange>& actors);
  mods::json::Value* actors_array();
  bool replay(const JournalContents& contents, long start);
  static std::int64_t wall_clock_ns();
  bool unchanged_on_disk(std::string& error);
  bool ready_to_record(std::string& error);
  // The steps of `change`.
  Rollback note_before_edit(const std::string& actor_id);
  bool edit_kept_to_actor(const Rollback& rollback, const std::string& actor_id, std::string& error);
  bool journal_change(const std::string& label, Rollback& rollback, ChangeRecord& change, std::string& error);
  void roll_back(Rollback& rollback);
  // Undo (`back`) or redo: the shared steps of both.
  bool step(bool back, std::string& label, std::string& error);
  bool append(const std::string& bytes, std::string& error);
  bool write_fresh_journal(const std::string& extra, std::string& error);
  bool journal_wants_compacting() const;
  // The steps of `fold` before the rename.
  bool stage_and_journal(const std::string& path, bool journal_fits, bool check, FileVersion& saved, StagedFile& staged,
                         std::string& error);
  bool journal_checkpoint(const FileVersion& saved, std::string& error);
  void mark_unfolded();
  std::string saving_failed(const std::string& reason) const;
  long find_actor(const mods::json::Value& actors, const std::string& id);

  PackageStore& store_;
  editor::Session::Package package_;
  ChangeHistory history_;
  FileIdentity identity_;         // NAME.json as last read or written: any other version was written by others
  std::int64_t known_at_ns_ = 0;  // wall clock (ns) just before `identity_`'s content was last read or written
  FileVersion version_;           // the same version's content hash and size, as checkpoints name it
  JournalFile journal_;
  PackageText printed_;  // the document's text as a checkpoint writes it, printed again only where it changed
  UnreadActors unread_;  // outlined actors, read from `printed_` when first needed
  std::optional<Clock::time_point> oldest_unfolded_;
  std::vector<std::string> unfolded_labels_;
  SetAsideChanges set_aside_;
  bool file_noted_ = true;  // false from a checkpoint's rename until a record names the file it renamed in
  // Where the first actor of each id is, so that a change of a 50,000-actor package does not scan it.
  // Valid while no change altered an id and the actor count is what was indexed (edits never change it).
  std::unordered_map<std::string, std::size_t> first_actor_;
  std::size_t indexed_count_ = 0;
  bool ids_indexed_ = false;
};

}  // namespace host::store

#endif  // PATHWRIGHT_STORE_STORED_PACKAGE_H_
