// The actors of an outlined package document: opened for one quick change, a package keeps of every actor
// only its "id" until something reads that actor, which is then read whole from the package text it came
// from. Only the actors a change touches are ever read, so a 50,000-actor package opens for one edit
// without building 50,000 member trees. Owned by the package's StoredPackage; used by one thread at a time.
#ifndef PATHWRIGHT_HOST_STORE_UNREAD_ACTORS_H_
#define PATHWRIGHT_HOST_STORE_UNREAD_ACTORS_H_

#include <cstddef>
#include <string>
#include <vector>

#include "host/store/package_text.h"
#include "json/value.h"

namespace host {

class UnreadActors {
 public:
  // Every one of `count` actors holds only its "id".
  void outline(std::size_t count);
  // Every actor is whole (the document was read whole again).
  void forget();
  bool any() const { return unread_count_ > 0; }

  // Makes actor `index` of the array `actors` whole when it is unread, from `text`: the print whose
  // ranges were taken when the document was outlined. An unread actor has not changed since, so its
  // text there is still its own.
  void read(mods::json::Value& actors, std::size_t index, const PackageText& text);
  // The same for every actor whose "id", read as a string ("" for any other kind), is `id`.
  void read_with_id(mods::json::Value& actors, const std::string& id, const PackageText& text);
  void read_all(mods::json::Value& actors, const PackageText& text);

 private:
  std::vector<bool> unread_;
  std::size_t unread_count_ = 0;
};

}  // namespace host

#endif  // PATHWRIGHT_HOST_STORE_UNREAD_ACTORS_H_
