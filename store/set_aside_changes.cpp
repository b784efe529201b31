#include "store/set_aside_changes.h"

#include "store/change_history.h"

namespace host::store {
namespace {

void note(SetAsideChanges& set_aside, const std::string& label, const ChangeRecord& change, bool forward) {
  set_aside.labels.push_back(label);
  ActorPatch applied = change.patch;
  if (!forward) {
    for (PatchEdit& edit : applied) {
      std::swap(edit.before, edit.after);
      std::swap(edit.had_before, edit.has_after);
    }
  }
  mods::json::Value entry = mods::json::Value::object();
  entry["label"] = mods::json::Value::of(label);
  entry["actor"] = mods::json::Value::of(static_cast<double>(change.actor_index));
  entry["edits"] = patch_json(applied);
  set_aside.changes.items.push_back(std::move(entry));
}

}  // namespace

// The history is followed from the start, so that an undo or redo after the checkpoint knows its change.
SetAsideChanges waiting_changes(const std::vector<JournalRecord>& records) {
  long last_checkpoint = -1;
  for (std::size_t i = 0; i < records.size(); ++i)
    if (records[i].kind == JournalRecord::Kind::Checkpoint) last_checkpoint = static_cast<long>(i);
  ChangeHistory history;
  SetAsideChanges set_aside;
  for (std::size_t i = 0; i < records.size(); ++i) {
    const JournalRecord& r = records[i];
    const bool waiting = static_cast<long>(i) > last_checkpoint;
    if (r.kind == JournalRecord::Kind::Entry) {
      history.restore(r.change, r.undone);
    } else if (r.kind == JournalRecord::Kind::Change) {
      if (waiting) note(set_aside, r.change.label, r.change, true);
      history.record(r.change);
    } else if (r.kind == JournalRecord::Kind::Undo || r.kind == JournalRecord::Kind::Redo) {
      const bool undo = r.kind == JournalRecord::Kind::Undo;
      if (undo ? !history.can_undo() : !history.can_redo()) break;  // damaged: what came before still counts
      const ChangeRecord& c = undo ? history.next_undo() : history.next_redo();
      if (waiting) note(set_aside, (undo ? "Undo: " : "Redo: ") + c.label, c, !undo);
      if (undo) {
        history.undo();
      } else {
        history.redo();
      }
    }
  }
  return set_aside;
}

}  // namespace host::store
