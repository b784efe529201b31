// Where values stand in a JSON text, for reports that name a line and a column (`FILE:LINE:COLUMN:`, as
// compilers write them): the byte offset of a value reached by member names and array indices, and an
// offset's line and column. For texts that parse_json accepts; a text it refuses finds nothing. Pure;
// any thread.
#ifndef PATHWRIGHT_JSON_TEXT_JSON_PLACES_H_
#define PATHWRIGHT_JSON_TEXT_JSON_PLACES_H_

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace json_text {

// One step down: a member of an object, or an element of an array.
using PathStep = std::variant<std::string, std::size_t>;

// The offset of the first byte of the value `path` leads to from the value starting at `from` (an
// offset of the text's first value, or an answer of this function); nothing when the path leads nowhere.
std::optional<std::size_t> value_offset(std::string_view text, std::size_t from, const std::vector<PathStep>& path);

// The offsets of the elements of the array starting at `from` (empty when it is no array).
std::vector<std::size_t> element_offsets(std::string_view text, std::size_t from);

// The text of the value starting at `from`, e.g. `"gate"` (with its quotes) or `{"x": 1}`.
std::string_view value_text_at(std::string_view text, std::size_t from);

// The offset of the text's first value (after leading white space).
std::size_t root_offset(std::string_view text);

// Line and column (from 1; the column counts bytes) of offsets in one text, counted as JsonTextError does.
class TextLines {
 public:
  explicit TextLines(std::string_view text);
  std::size_t line(std::size_t offset) const;
  std::size_t column(std::size_t offset) const;

 private:
  std::vector<std::size_t> starts_;  // offset of each line's first byte
};

}  // namespace json_text

#endif  // PATHWRIGHT_JSON_TEXT_JSON_PLACES_H_
