// Which actor of one package is which actor of another: the same "id", and among actors sharing an id the
// same place in their order (the second "guard" is the second "guard"). Pure; any thread.
#ifndef PATHWRIGHT_COMPARE_ACTOR_KEYS_H_
#define PATHWRIGHT_COMPARE_ACTOR_KEYS_H_

#include <cstddef>
#include <string>
#include <unordered_map>
#include <vector>

#include "json/value.h"

namespace host::compare {

struct ActorKey {
  std::string id;              // the actor's "id" when it is a string, "" otherwise
  std::size_t occurrence = 0;  // how many actors before it share the id
  friend bool operator==(const ActorKey&, const ActorKey&) = default;
};

struct ActorKeyHash {
  std::size_t operator()(const ActorKey& key) const {
    return std::hash<std::string>()(key.id) ^ (key.occurrence * 0x9e3779b97f4a7c15ull);
  }
};

// The actors of a package in order, each with its key, and the way back from a key to its index.
class ActorIndex {
 public:
  explicit ActorIndex(const mods::json::Value& actors);
  std::size_t size() const { return keys_.size(); }
  const ActorKey& key(std::size_t index) const { return keys_[index]; }
  // The index of the actor with `key`, or null.
  const std::size_t* find(const ActorKey& key) const;

 private:
  std::vector<ActorKey> keys_;
  std::unordered_map<ActorKey, std::size_t, ActorKeyHash> index_;
};

}  // namespace host::compare

#endif  // PATHWRIGHT_COMPARE_ACTOR_KEYS_H_
