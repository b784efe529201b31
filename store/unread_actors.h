// The actors of an outlined package document: opened for one quick change, a package keeps of every actor
// only its "id" until something reads that actor, which is then read whole from the text it came from.
// Only the actors a change touches are ever built, so a 50,000-actor package opens for one edit without
// building 50,000 member trees; a checkpoint prints the others from their text. Owned by the package's
// StoredPackage; used by one thread at a time.
#ifndef PATHWRIGHT_STORE_UNREAD_ACTORS_H_
#define PATHWRIGHT_STORE_UNREAD_ACTORS_H_

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "json/value.h"
#include "json_text/json_text.h"
#include "store/package_text.h"

namespace host::store {

class UnreadActors {
 public:
  // Every one of `count` actors holds only its "id"; each is read from the kept print (the file was this
  // editor's print, adopted by the PackageText).
  void outline(std::size_t count);
  // The same, read from `text` (the file as read; `ranges` where each actor stands in it) until a whole
  // print holds them all.
  void outline(std::size_t count, std::string text, std::vector<json_text::TextRange> ranges);
  // Every actor is whole (the document was read whole again).
  void forget();
  bool any() const { return unread_count_ > 0; }

  // Makes actor `index` of the array `actors` whole when it is unread. `printed` is the package's print:
  // an unread actor has not changed since it was outlined, so its text there is still its own.
  void read(mods::json::Value& actors, std::size_t index, const PackageText& printed);
  // The same for every actor whose "id", read as a string ("" for any other kind), is `id`.
  void read_with_id(mods::json::Value& actors, const std::string& id, const PackageText& printed);
  void read_all(mods::json::Value& actors, const PackageText& printed);

  // For a whole print of the document: actor `index` read into `scratch` when it is unread, else null.
  const mods::json::Value* stand_in(std::size_t index, const PackageText& printed, mods::json::Value& scratch) const;
  // `printed` now holds a whole print, the unread actors' text among it: the file's text is let go.
  void printed_whole();

 private:
  std::string_view text_of(std::size_t index, const PackageText& printed) const;
  void read_text(std::size_t index, const PackageText& printed, mods::json::Value& out) const;

  std::vector<bool> unread_;
  std::size_t unread_count_ = 0;
  std::string source_;                        // the file's text, while no print holds the unread actors
  std::vector<json_text::TextRange> ranges_;  // where each actor stands in source_
};

}  // namespace host::store

#endif  // PATHWRIGHT_STORE_UNREAD_ACTORS_H_
