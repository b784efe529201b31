#include "json_text/utf8.h"

namespace json_text {

std::size_t first_bad_utf8(std::string_view s) {
  std::size_t i = 0;
  while (i < s.size()) {
    const auto c = static_cast<unsigned char>(s[i]);
    if (c < 0x80) {
      ++i;
      continue;
    }
    std::size_t length = 0;
    unsigned char low = 0x80, high = 0xBF;  // the allowed range of the second byte
    if (c >= 0xC2 && c <= 0xDF) {
      length = 2;
    } else if (c >= 0xE0 && c <= 0xEF) {
      length = 3;
      if (c == 0xE0) low = 0xA0;
      if (c == 0xED) high = 0x9F;
    } else if (c >= 0xF0 && c <= 0xF4) {
      length = 4;
      if (c == 0xF0) low = 0x90;
      if (c == 0xF4) high = 0x8F;
    } else {
      return i;
    }
    if (i + length > s.size()) return i;
    const auto second = static_cast<unsigned char>(s[i + 1]);
    if (second < low || second > high) return i;
    for (std::size_t k = 2; k < length; ++k) {
      const auto next = static_cast<unsigned char>(s[i + k]);
      if (next < 0x80 || next > 0xBF) return i;
    }
    i += length;
  }
  return std::string_view::npos;
}

}  // namespace json_text
