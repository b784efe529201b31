#include "json_text/member_names.h"

#include <algorithm>
#include <cassert>

namespace json_text {

void MemberNames::open() { objects_.push_back(Object{names_.size(), nullptr}); }

bool MemberNames::add(std::string_view name) {
  assert(!objects_.empty() && "a member name outside any object");
  Object& object = objects_.back();
  if (object.many) return object.many->insert(name).second;
  const auto first = names_.begin() + static_cast<std::ptrdiff_t>(object.first);
  if (std::find(first, names_.end(), name) != names_.end()) return false;
  names_.push_back(name);
  if (names_.size() - object.first > kCompareAtMost) {
    object.many = std::make_unique<std::unordered_set<std::string_view>>(
        names_.begin() + static_cast<std::ptrdiff_t>(object.first), names_.end());
  }
  return true;
}

void MemberNames::close() {
  assert(!objects_.empty() && "an object closed that was never opened");
  names_.resize(objects_.back().first);
  objects_.pop_back();
}

}  // namespace json_text
