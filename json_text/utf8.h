// The UTF-8 check JSON text needs, shared with the game link's line reader: well-formed UTF-8 has no
// overlong forms, no surrogates and nothing above U+10FFFF. Stateless; any thread.
#ifndef PATHWRIGHT_JSON_TEXT_UTF8_H_
#define PATHWRIGHT_JSON_TEXT_UTF8_H_

#include <cstddef>
#include <string_view>

namespace json_text {

// The byte offset of the first byte that does not belong to well-formed UTF-8, or npos when all of `s`
// is well-formed. A sequence cut short by the end of `s` is not well-formed.
std::size_t first_bad_utf8(std::string_view s);

inline bool is_utf8(std::string_view s) { return first_bad_utf8(s) == std::string_view::npos; }

}  // namespace json_text

#endif  // PATHWRIGHT_JSON_TEXT_UTF8_H_
