#include "host/store/unread_actors.h"

#include <cassert>
#include <cstdlib>

#include "json_text/json_text.h"

namespace host {

void UnreadActors::outline(std::size_t count) {
  unread_.assign(count, true);
  unread_count_ = count;
}

void UnreadActors::forget() {
  unread_.clear();
  unread_count_ = 0;
}

void UnreadActors::read(mods::json::Value& actors, std::size_t index, const PackageText& text) {
  if (index >= unread_.size() || !unread_[index]) return;
  assert(actors.items.size() == unread_.size() && "the actors were outlined with another count");
  json_text::JsonTextError error;
  mods::json::Value whole;
  // A whole object cut out of text that was read and checked whole: it reads again, or the text changed
  // under us, which nothing but this class's owner can do.
  const bool read = json_text::parse_json(text.actor_text(index), whole, error);
  assert(read && "an outlined actor's text no longer reads");
  if (!read) std::abort();  // editing what stands in for the actor would save it as its bare "id"

  actors.items[index] = std::move(whole);
  unread_[index] = false;
  --unread_count_;
}

void UnreadActors::read_with_id(mods::json::Value& actors, const std::string& id, const PackageText& text) {
  for (std::size_t i = 0; any() && i < unread_.size(); ++i) {
    if (unread_[i] && actors.items[i].get("id").string("") == id) read(actors, i, text);
  }
}

void UnreadActors::read_all(mods::json::Value& actors, const PackageText& text) {
  for (std::size_t i = 0; any() && i < unread_.size(); ++i) read(actors, i, text);
}

}  // namespace host
