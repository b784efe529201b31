// The undo/redo history of one package: each applied change as what it changed in the one actor it
// touched (an ActorPatch), so the history grows with what changed, not with the actor or the document. Owned by the
// package's StoredPackage; used by one thread at a time.
#ifndef PATHWRIGHT_STORE_CHANGE_HISTORY_H_
#define PATHWRIGHT_STORE_CHANGE_HISTORY_H_

#include <cstddef>
#include <cstdint>
#include <deque>
#include <string>

#include "json/value.h"
#include "store/actor_patch.h"

namespace host::store {

// One applied change: actor `actor_index` of the document's "actors" changed by `patch`.
struct ChangeRecord {
  std::string label;
  std::int64_t time_ms = 0;  // when it was applied, milliseconds since 1970-01-01 UTC
  std::size_t actor_index = 0;
  ActorPatch patch;
  std::uint64_t stored_bytes = 0;  // size of its journal record, to judge when the journal wants compacting
};

class ChangeHistory {
 public:
  // Oldest changes are forgotten beyond this many, so that an editing session of days stays small.
  static constexpr std::size_t kMaxChanges = 1000;  // changes per package

  // Adds an applied change: drops the redo tail, then the oldest change when over the limit.
  void record(ChangeRecord change);
  // Appends a change read back from a compacted journal. False (nothing added) when an applied change
  // would follow an undone one, which no history can hold.
  bool restore(ChangeRecord change, bool undone);

  bool can_undo() const { return applied_ > 0; }
  bool can_redo() const { return applied_ < changes_.size(); }
  // The change an undo would revert / a redo would re-apply. Only when can_undo() / can_redo().
  const ChangeRecord& next_undo() const { return changes_[applied_ - 1]; }
  const ChangeRecord& next_redo() const { return changes_[applied_]; }
  // Moves the position only; the caller changes the document. Only when can_undo() / can_redo().
  void undo() { --applied_; }
  void redo() { ++applied_; }

  // Forgets the oldest change when it is applied; when every change is undone, forgets them all (a redo
  // past a forgotten change could not fit).
  void forget_oldest();
  void clear();
  const std::deque<ChangeRecord>& changes() const { return changes_; }
  std::size_t applied() const { return applied_; }  // changes_[0, applied) are in the document
  std::uint64_t stored_bytes() const;               // journal bytes a compacted copy would take

 private:
  std::deque<ChangeRecord> changes_;
  std::size_t applied_ = 0;
};

// Applies `patch` to actor `index` of `document`'s "actors", forward (redo) or backward (undo). False
// (nothing changed) when the document has no such actor or the patch does not fit it.
bool patch_actor(mods::json::Value& document, std::size_t index, const ActorPatch& patch, bool forward);

// True when `patch` may change the actor's "id".
bool patch_touches_id(const ActorPatch& patch);

}  // namespace host::store

#endif  // PATHWRIGHT_STORE_CHANGE_HISTORY_H_
