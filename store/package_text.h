// The text of a package file as the editor prints it, kept between checkpoints together with where each
// actor stands in it, so that a checkpoint prints only the actors changed since the last one and copies
// the rest: walking a 50,000-actor tree to print it costs several times writing the bytes. Owned by the
// package's StoredPackage; used by one thread at a time.
#ifndef PATHWRIGHT_STORE_PACKAGE_TEXT_H_
#define PATHWRIGHT_STORE_PACKAGE_TEXT_H_

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "json/value.h"
#include "json_text/json_text.h"

namespace host::store {

class PackageText {
 public:
  // Actor `index` of the document's "actors" changed (or was put back): it is printed again next time.
  void actor_changed(std::size_t index) { changed_.push_back(index); }

  // Takes `text`, with where each actor stands in it, as the print of the document it was read into:
  // only for a file this editor printed (a checkpoint names it as saved), read before any change.
  void adopt(std::string text, std::vector<json_text::TextRange> actors);

  // Makes text() exactly print_json(document, Indented): the whole document the first time, and whenever
  // the actors are not those last printed plus the changes reported since; otherwise only the changed
  // actors, between copies of the kept text. `size_hint` (bytes, the file's last size) sizes the buffer.
  // A whole print puts what `stand_in` answers in place of an actor (see print_json_indexed); it may read
  // the kept text, which stays as it was until the print is complete. On false, `error` is print_json's
  // and text() is the last print still.
  bool print(const mods::json::Value& document, std::uint64_t size_hint, std::string& error,
             const json_text::ElementStandIn& stand_in = {});
  const std::string& text() const { return text_; }
  // Actor `index`'s text in text(), when the last print or adoption placed it; empty otherwise.
  std::string_view actor_text(std::size_t index) const;
  // True when print() would print only the changed actors of `document` and copy every other one.
  bool reuses_print_for(const mods::json::Value& document) const;

 private:
  bool print_whole(const mods::json::Value& document, std::uint64_t size_hint, std::string& error,
                   const json_text::ElementStandIn& stand_in);

  std::string text_;
  std::string spare_;                         // the text before the last print, its memory reused by the next
  std::vector<json_text::TextRange> actors_;  // where each actor stands in text_
  std::vector<std::size_t> changed_;          // actors changed since text_ was printed, in any order, repeats allowed
  bool valid_ = false;                        // text_ and actors_ describe a print of the document
};

}  // namespace host::store

#endif  // PATHWRIGHT_STORE_PACKAGE_TEXT_H_
