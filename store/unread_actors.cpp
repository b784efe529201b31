#include "store/unread_actors.h"

#include <cassert>
#include <cstdlib>
#include <utility>

namespace host::store {

void UnreadActors::outline(std::size_t count) {
  unread_.assign(count, true);
  unread_count_ = count;
  source_.clear();
  ranges_.clear();
}

void UnreadActors::outline(std::size_t count, std::string text, std::vector<json_text::TextRange> ranges) {
  assert(ranges.size() == count && "an outline needs the place of every actor");
  outline(count);
  source_ = std::move(text);
  ranges_ = std::move(ranges);
}

void UnreadActors::forget() {
  unread_.clear();
  unread_count_ = 0;
  printed_whole();
}

void UnreadActors::printed_whole() {
  std::string().swap(source_);
  std::vector<json_text::TextRange>().swap(ranges_);
}

std::string_view UnreadActors::text_of(std::size_t index, const PackageText& printed) const {
  if (ranges_.empty()) return printed.actor_text(index);
  const json_text::TextRange& range = ranges_[index];
  return std::string_view(source_).substr(range.begin, range.end - range.begin);
}

// A whole object cut out of text that was read and checked whole: it reads again. If it did not, editing
// or printing what stands in for the actor would save it as its bare "id": better to stop.
void UnreadActors::read_text(std::size_t index, const PackageText& printed, mods::json::Value& out) const {
  json_text::JsonTextError error;
  const bool read = json_text::parse_json(text_of(index, printed), out, error);
  assert(read && "an outlined actor's text no longer reads");
  if (!read) std::abort();
}

void UnreadActors::read(mods::json::Value& actors, std::size_t index, const PackageText& printed) {
  if (index >= unread_.size() || !unread_[index]) return;
  assert(actors.items.size() == unread_.size() && "the actors were outlined with another count");
  mods::json::Value whole;
  read_text(index, printed, whole);
  actors.items[index] = std::move(whole);
  unread_[index] = false;
  --unread_count_;
}

void UnreadActors::read_with_id(mods::json::Value& actors, const std::string& id, const PackageText& printed) {
  for (std::size_t i = 0; any() && i < unread_.size(); ++i) {
    if (unread_[i] && actors.items[i].get("id").string("") == id) read(actors, i, printed);
  }
}

void UnreadActors::read_all(mods::json::Value& actors, const PackageText& printed) {
  for (std::size_t i = 0; any() && i < unread_.size(); ++i) read(actors, i, printed);
}

const mods::json::Value* UnreadActors::stand_in(std::size_t index, const PackageText& printed,
                                                mods::json::Value& scratch) const {
  if (index >= unread_.size() || !unread_[index]) return nullptr;
  read_text(index, printed, scratch);
  return &scratch;
}

}  // namespace host::store
