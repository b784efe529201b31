// Undo/redo bookkeeping. Positions only; the document is changed by the caller through patch_actor.
#include "store/change_history.h"

namespace host::store {

void ChangeHistory::record(ChangeRecord change) {
  changes_.resize(applied_);
  changes_.push_back(std::move(change));
  ++applied_;
  while (changes_.size() > kMaxChanges) {
    changes_.pop_front();
    --applied_;
  }
}

bool ChangeHistory::restore(ChangeRecord change, bool undone) {
  if (!undone && applied_ != changes_.size()) return false;
  changes_.push_back(std::move(change));
  if (!undone) ++applied_;
  while (changes_.size() > kMaxChanges) {
    changes_.pop_front();
    if (applied_ > 0) --applied_;
  }
  return true;
}

void ChangeHistory::forget_oldest() {
  if (applied_ == 0) {
    clear();
    return;
  }
  changes_.pop_front();
  --applied_;
}

void ChangeHistory::clear() {
  changes_.clear();
  applied_ = 0;
}

std::uint64_t ChangeHistory::stored_bytes() const {
  std::uint64_t total = 0;
  for (const ChangeRecord& c : changes_) total += c.stored_bytes;
  return total;
}

bool patch_actor(mods::json::Value& document, std::size_t index, const ActorPatch& patch, bool forward) {
  if (!document.is_object()) return false;
  auto it = document.members.find("actors");
  if (it == document.members.end() || !it->second.is_array() || index >= it->second.items.size()) return false;
  return apply_patch(it->second.items[index], patch, forward);
}

bool patch_touches_id(const ActorPatch& patch) {
  for (const PatchEdit& edit : patch)
    if (edit.at.empty() && (edit.kind != PatchEdit::Kind::Member || edit.key == "id")) return true;
  return false;
}

}  // namespace host::store
