#include "host/store/set_aside_changes.h"

#include <map>

#include "host/store/change_history.h"

namespace host {

// The history is followed from the start, so that an undo or redo after the checkpoint knows its change.
SetAsideChanges waiting_changes(const std::vector<JournalRecord>& records) {
  long last_checkpoint = -1;
  for (std::size_t i = 0; i < records.size(); ++i)
    if (records[i].kind == JournalRecord::Kind::Checkpoint) last_checkpoint = static_cast<long>(i);
  ChangeHistory history;
  SetAsideChanges set_aside;
  std::map<std::size_t, mods::json::Value> left;  // actor index -> as the waiting changes left it
  for (std::size_t i = 0; i < records.size(); ++i) {
    const JournalRecord& r = records[i];
    const bool waiting = static_cast<long>(i) > last_checkpoint;
    if (r.kind == JournalRecord::Kind::Entry) {
      history.restore(r.change, r.undone);
    } else if (r.kind == JournalRecord::Kind::Change) {
      if (waiting) set_aside.labels.push_back(r.change.label);
      if (waiting) left[r.change.actor_index] = r.change.after;
      history.record(r.change);
    } else if (r.kind == JournalRecord::Kind::Undo || r.kind == JournalRecord::Kind::Redo) {
      const bool undo = r.kind == JournalRecord::Kind::Undo;
      if (undo ? !history.can_undo() : !history.can_redo()) break;  // damaged: what came before still counts
      const ChangeRecord& c = undo ? history.next_undo() : history.next_redo();
      if (waiting) set_aside.labels.push_back((undo ? "Undo: " : "Redo: ") + c.label);
      if (waiting) left[c.actor_index] = undo ? c.before : c.after;
      if (undo) {
        history.undo();
      } else {
        history.redo();
      }
    }
  }
  for (auto& [index, actor] : left) set_aside.actors.items.push_back(std::move(actor));
  return set_aside;
}

}  // namespace host
