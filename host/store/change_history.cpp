// Undo/redo bookkeeping. Positions only; the document is changed by the caller through swap_actor.
#include "host/store/change_history.h"

namespace host {

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

void ChangeHistory::clear() {
  changes_.clear();
  applied_ = 0;
}

std::uint64_t ChangeHistory::stored_bytes() const {
  std::uint64_t total = 0;
  for (const ChangeRecord& c : changes_) total += c.stored_bytes;
  return total;
}

bool swap_actor(mods::json::Value& document, std::size_t index, const mods::json::Value& expected,
                const mods::json::Value& value) {
  if (!document.is_object()) return false;
  auto it = document.members.find("actors");
  if (it == document.members.end() || !it->second.is_array() || index >= it->second.items.size()) return false;
  mods::json::Value& actor = it->second.items[index];
  if (!(actor == expected)) return false;
  actor = value;
  return true;
}

}  // namespace host
