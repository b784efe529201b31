// The undo/redo history of one package: each applied change as the one actor it touched, before and
// after, so the history grows with what changed and never with the size of the document. Owned by the
// package's StoredPackage; used by one thread at a time.
#ifndef PATHWRIGHT_HOST_STORE_CHANGE_HISTORY_H_
#define PATHWRIGHT_HOST_STORE_CHANGE_HISTORY_H_

#include <cstddef>
#include <cstdint>
#include <deque>
#include <string>

#include "json/value.h"

namespace host {

// One applied change: actor `actor_index` of the document's "actors" went from `before` to `after`.
struct ChangeRecord {
  std::string label;
  std::int64_t time_ms = 0;       // when it was applied, milliseconds since 1970-01-01 UTC
  std::size_t actor_index = 0;
  mods::json::Value before;
  mods::json::Value after;
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

  void clear();
  const std::deque<ChangeRecord>& changes() const { return changes_; }
  std::size_t applied() const { return applied_; }   // changes_[0, applied) are in the document
  std::uint64_t stored_bytes() const;                 // journal bytes a compacted copy would take

 private:
  std::deque<ChangeRecord> changes_;
  std::size_t applied_ = 0;
};

// Sets actor `index` of `document`'s "actors" to `value` when it currently equals `expected`. False
// (nothing changed) when the document has no such actor or it differs: the change does not fit.
bool swap_actor(mods::json::Value& document, std::size_t index, const mods::json::Value& expected,
                const mods::json::Value& value);

}  // namespace host

#endif  // PATHWRIGHT_HOST_STORE_CHANGE_HISTORY_H_
