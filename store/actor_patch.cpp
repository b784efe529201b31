// diff_actor descends while both sides are objects, or arrays that differ in one item of the same place
// (after the common head and tail are stripped); anything else is one edit. apply_patch checks every edit
// on a copy-free dry run first, so a patch that does not fit changes nothing.
#include "store/actor_patch.h"

#include <algorithm>

namespace host::store {
namespace {

using mods::json::Value;
using Path = std::vector<std::variant<std::string, std::size_t>>;

void diff_into(const Value& before, const Value& after, Path& at, ActorPatch& patch);

void diff_objects(const Value& before, const Value& after, Path& at, ActorPatch& patch) {
  for (const auto& [key, value] : before.members) {
    auto other = after.members.find(key);
    if (other == after.members.end()) {
      patch.push_back({.kind = PatchEdit::Kind::Member,
                       .at = at,
                       .key = key,
                       .index = 0,
                       .had_before = true,
                       .has_after = false,
                       .before = value,
                       .after = Value()});
    } else if (!(value == other->second)) {
      at.emplace_back(key);
      diff_into(value, other->second, at, patch);
      at.pop_back();
    }
  }
  for (const auto& [key, value] : after.members) {
    if (before.members.count(key) == 0)
      patch.push_back({.kind = PatchEdit::Kind::Member,
                       .at = at,
                       .key = key,
                       .index = 0,
                       .had_before = false,
                       .has_after = true,
                       .before = Value(),
                       .after = value});
  }
}

void diff_arrays(const Value& before, const Value& after, Path& at, ActorPatch& patch) {
  const std::vector<Value>& a = before.items;
  const std::vector<Value>& b = after.items;
  std::size_t head = 0;
  while (head < a.size() && head < b.size() && a[head] == b[head]) ++head;
  std::size_t tail = 0;
  while (tail < a.size() - head && tail < b.size() - head && a[a.size() - 1 - tail] == b[b.size() - 1 - tail]) ++tail;
  const std::size_t removed = a.size() - head - tail, added = b.size() - head - tail;
  if (removed == 1 && added == 1 && a[head].kind == b[head].kind && (a[head].is_object() || a[head].is_array())) {
    at.emplace_back(head);
    diff_into(a[head], b[head], at, patch);
    at.pop_back();
    return;
  }
  PatchEdit edit{.kind = PatchEdit::Kind::Splice,
                 .at = at,
                 .key = "",
                 .index = head,
                 .had_before = true,
                 .has_after = true,
                 .before = Value::array(),
                 .after = Value::array()};
  edit.before.items.assign(a.begin() + static_cast<long>(head), a.begin() + static_cast<long>(head + removed));
  edit.after.items.assign(b.begin() + static_cast<long>(head), b.begin() + static_cast<long>(head + added));
  patch.push_back(std::move(edit));
}

void diff_into(const Value& before, const Value& after, Path& at, ActorPatch& patch) {
  if (before.kind == after.kind && before.is_object()) return diff_objects(before, after, at, patch);
  if (before.kind == after.kind && before.is_array()) return diff_arrays(before, after, at, patch);
  patch.push_back({.kind = PatchEdit::Kind::Whole,
                   .at = at,
                   .key = "",
                   .index = 0,
                   .had_before = true,
                   .has_after = true,
                   .before = before,
                   .after = after});
}

// The container `at` names inside `value`, or null when the path leads nowhere.
Value* reach(Value& value, const Path& at) {
  Value* here = &value;
  for (const auto& step : at) {
    if (const std::string* key = std::get_if<std::string>(&step)) {
      if (!here->is_object()) return nullptr;
      auto found = here->members.find(*key);
      if (found == here->members.end()) return nullptr;
      here = &found->second;
    } else {
      const std::size_t index = std::get<std::size_t>(step);
      if (!here->is_array() || index >= here->items.size()) return nullptr;
      here = &here->items[index];
    }
  }
  return here;
}

// Whether `edit` meets its `from` side in `target` (the value `at` reached).
bool fits(const Value& target, const PatchEdit& edit, bool forward) {
  const Value& from = forward ? edit.before : edit.after;
  switch (edit.kind) {
    case PatchEdit::Kind::Whole: return target == from;
    case PatchEdit::Kind::Member: {
      if (!target.is_object()) return false;
      auto found = target.members.find(edit.key);
      const bool present = forward ? edit.had_before : edit.has_after;
      return present ? found != target.members.end() && found->second == from : found == target.members.end();
    }
    case PatchEdit::Kind::Splice:
      return target.is_array() && edit.index + from.items.size() <= target.items.size() &&
             std::equal(from.items.begin(), from.items.end(), target.items.begin() + static_cast<long>(edit.index));
  }
  return false;
}

void put(Value& target, const PatchEdit& edit, bool forward) {
  const Value& from = forward ? edit.before : edit.after;
  const Value& to = forward ? edit.after : edit.before;
  switch (edit.kind) {
    case PatchEdit::Kind::Whole: target = to; break;
    case PatchEdit::Kind::Member:
      if (forward ? edit.has_after : edit.had_before) {
        target.members[edit.key] = to;
      } else {
        target.members.erase(edit.key);
      }
      break;
    case PatchEdit::Kind::Splice: {
      auto first = target.items.begin() + static_cast<long>(edit.index);
      target.items.erase(first, first + static_cast<long>(from.items.size()));
      target.items.insert(target.items.begin() + static_cast<long>(edit.index), to.items.begin(), to.items.end());
      break;
    }
  }
}

}  // namespace

ActorPatch diff_actor(const Value& before, const Value& after) {
  ActorPatch patch;
  Path at;
  if (!(before == after)) diff_into(before, after, at, patch);
  return patch;
}

// The edits of one patch touch disjoint places (no edit's path passes through another's), so checking
// them all before changing any keeps a refused patch from leaving a half-applied actor.
bool apply_patch(Value& actor, const ActorPatch& patch, bool forward) {
  for (const PatchEdit& edit : patch) {
    const Value* target = reach(actor, edit.at);
    if (target == nullptr || !fits(*target, edit, forward)) return false;
  }
  for (const PatchEdit& edit : patch) put(*reach(actor, edit.at), edit, forward);
  return true;
}

Value patch_json(const ActorPatch& patch) {
  Value list = Value::array();
  for (const PatchEdit& edit : patch) {
    Value entry = Value::object();
    entry["at"] = Value::array();
    for (const auto& step : edit.at) {
      const std::string* key = std::get_if<std::string>(&step);
      entry["at"].items.push_back(key ? Value::of(*key) : Value::of(static_cast<double>(std::get<std::size_t>(step))));
    }
    if (edit.kind == PatchEdit::Kind::Member) entry["member"] = Value::of(edit.key);
    if (edit.kind == PatchEdit::Kind::Splice) entry["index"] = Value::of(static_cast<double>(edit.index));
    if (edit.had_before) entry["before"] = edit.before;
    if (edit.has_after) entry["after"] = edit.after;
    list.items.push_back(std::move(entry));
  }
  return list;
}

}  // namespace host::store
