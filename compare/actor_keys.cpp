#include "compare/actor_keys.h"

namespace host::compare {

ActorIndex::ActorIndex(const mods::json::Value& actors) {
  std::unordered_map<std::string, std::size_t> seen;  // id -> actors so far with it
  keys_.reserve(actors.items.size());
  index_.reserve(actors.items.size());
  for (const mods::json::Value& actor : actors.items) {
    std::string id = actor.get("id").string("");
    const std::size_t occurrence = seen[id]++;
    keys_.push_back({.id = std::move(id), .occurrence = occurrence});
    index_.emplace(keys_.back(), keys_.size() - 1);
  }
}

const std::size_t* ActorIndex::find(const ActorKey& key) const {
  const auto found = index_.find(key);
  return found == index_.end() ? nullptr : &found->second;
}

}  // namespace host::compare
