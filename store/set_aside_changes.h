// The changes a journal held beyond its last checkpoint when the package file turned out to be another
// than the one they were made on (git or a hand put it there): no file holds them, and the file's own
// version is taken, so they are kept aside for a reload to discard into NAME.discarded. A plain value.
#ifndef PATHWRIGHT_STORE_SET_ASIDE_CHANGES_H_
#define PATHWRIGHT_STORE_SET_ASIDE_CHANGES_H_

#include <string>
#include <vector>

#include "json/value.h"
#include "store/change_journal.h"

namespace host::store {

struct SetAsideChanges {
  // Their labels, oldest first, undo and redo as "Undo: LABEL" / "Redo: LABEL".
  std::vector<std::string> labels;
  // Each of them, oldest first: {"label", "actor" (its place in "actors"), "edits" (patch_json, as applied:
  // an undo's sides already swapped)}, for carrying them over by hand.
  mods::json::Value changes = mods::json::Value::array();
};

// The changes after the last checkpoint of `records` (none when it ends in one).
SetAsideChanges waiting_changes(const std::vector<JournalRecord>& records);

}  // namespace host::store

#endif  // PATHWRIGHT_STORE_SET_ASIDE_CHANGES_H_
