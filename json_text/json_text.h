// JSON text for the host: turns package files and protocol messages into `mods::json::Value` and back.
// Parsing is strict (exact doubles, valid UTF-8, no duplicate member names, nesting at most 512 deep) and
// reports the line and column of the first fault; printing gives the shortest text that reads back to the
// same double. Stateless; safe to call from several threads at once.
#ifndef PATHWRIGHT_JSON_TEXT_JSON_TEXT_H_
#define PATHWRIGHT_JSON_TEXT_JSON_TEXT_H_

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "json/value.h"

namespace json_text {

// Where and why a text is not JSON. Lines and columns count from 1; a column counts bytes.
struct JsonTextError {
  std::size_t line = 0;
  std::size_t column = 0;
  std::string reason;           // lower-case, no final full stop, e.g. "duplicate member name \"id\""
  std::string message() const;  // "line L, column C: REASON"
};

// Parses the whole of `text` (surrounding white space allowed) into `out`. On false, `error` says where
// and why, and `out` is unspecified.
bool parse_json(std::string_view text, mods::json::Value& out, JsonTextError& error);

// The exact text of a number as it was written, for one member: `element` is 0 for the root object, or
// the index of the object in the root array that holds the member.
struct RawMemberText {
  std::size_t element = 0;
  std::string text;
};

// parse_json that also keeps, in `raw`, the text of every number that is the value of a member named
// `member` in the root object or in an object directly inside the root array (such as JSON-RPC ids,
// which must be echoed exactly). On false, `raw` is unspecified.
bool parse_json(std::string_view text, mods::json::Value& out, JsonTextError& error, const std::string& member,
                std::vector<RawMemberText>& raw);

enum class JsonLayout { Compact, Indented };

// Prints `value`: Compact on one line for protocol messages, Indented with two spaces (and a final
// newline) for files. Integral numbers print without a fraction. On false (a NaN or infinite number
// anywhere in `value`), `error` names where it was and `out` is unspecified.
bool print_json(const mods::json::Value& value, JsonLayout layout, std::string& out, std::string& error);

// The Compact text of `value`, for messages, events and test output; "(unprintable: WHY)" when
// print_json refuses it.
std::string compact(const mods::json::Value& value);

// Where one value stands in a printed text: bytes [begin, end).
struct TextRange {
  std::size_t begin = 0;
  std::size_t end = 0;
};

// parse_json that also answers, in `elements`, where each object element of the root object's array
// member `member` stands in `text` (from its '{' to just after its '}'): for a text print_json_indexed
// wrote, its ranges. An element that is not an object gets no range, so then `elements` is shorter than
// the array. On false, `elements` is unspecified.
bool parse_json_indexed(std::string_view text, mods::json::Value& out, JsonTextError& error, const std::string& member,
                        std::vector<TextRange>& elements);

// parse_json_indexed that keeps of each object element of `member` only its member `kept` (an outline): the
// rest of the element is read and checked exactly as parse_json does, then dropped, for a caller that reads
// an element again from its range of `text` when it needs it whole. Answers, faults and `elements` are
// those of parse_json_indexed.
bool parse_json_outline(std::string_view text, mods::json::Value& out, JsonTextError& error, const std::string& member,
                        const std::string& kept, std::vector<TextRange>& elements);

// print_json Indented that also answers, in `elements`, where each element of the root object's array
// member `member` stands in `out` (none when there is no such array), so that a later print can replace
// only the elements that changed (print_json_nested). On false as print_json.
// `stand_in`, when given, may answer for element `index` another value to print in its place (one read
// again from elsewhere, say); null prints the element itself.
using ElementStandIn = std::function<const mods::json::Value*(std::size_t index)>;
bool print_json_indexed(const mods::json::Value& value, const std::string& member, std::string& out,
                        std::vector<TextRange>& elements, std::string& error, const ElementStandIn& stand_in = {});

// Appends the Indented text of `value` exactly as print_json writes it `depth` levels deep (an element of
// an array in the root object stands at depth 2), without a final newline. False at the first value JSON
// cannot carry, with `out` unspecified; print the whole document for where it is.
bool print_json_nested(const mods::json::Value& value, std::size_t depth, std::string& out);

}  // namespace json_text

#endif  // PATHWRIGHT_JSON_TEXT_JSON_TEXT_H_
