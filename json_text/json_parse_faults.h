// Where and why the JSON reader refused a text, in words and as a line and column, and the conversion of
// number text that both the reader's handler and the messages need. Internal to pathwright_json_text;
// pure functions, safe from several threads.
#ifndef PATHWRIGHT_JSON_TEXT_JSON_PARSE_FAULTS_H_
#define PATHWRIGHT_JSON_TEXT_JSON_PARSE_FAULTS_H_

#include <rapidjson/error/error.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "json_text/json_text.h"

namespace json_text::json_parse {

// Converts the text of a JSON number (already checked against the grammar by the reader) to the nearest
// double. False when its magnitude is beyond the largest double; an underflow becomes a signed zero.
bool number_from_text(const char* first, std::size_t length, double& out);

// Numbers as packages write them (`1234.5`, `-88.25`, `60`): no exponent and at most 15 digits. The digits
// as an integer are then below 2^53 and the power of ten is at most 10^15, both exact doubles, so one IEEE
// division gives the correctly rounded value, the same double as from_chars, at a fraction of its cost.
// False for any other number (number_from_text reads those). Inline: the reader's handler calls it for
// every number.
inline bool short_decimal(const char* first, const char* last, double& out) {
  constexpr std::ptrdiff_t kExactDigits = 15;  // every integer of 15 digits is below 2^53
  static constexpr double kPowersOfTen[kExactDigits + 1] = {1e0, 1e1, 1e2,  1e3,  1e4,  1e5,  1e6,  1e7,
                                                            1e8, 1e9, 1e10, 1e11, 1e12, 1e13, 1e14, 1e15};
  const bool negative = first != last && *first == '-';
  const char* p = first + (negative ? 1 : 0);
  const char* const integer = p;
  std::uint64_t digits = 0;  // wraps only past 19 digits, which are refused below
  while (p != last && static_cast<unsigned char>(*p - '0') < 10) digits = digits * 10 + unsigned(*p++ - '0');
  const bool point = p != last && *p == '.';
  std::ptrdiff_t decimals = 0;
  if (point) {
    const char* const fraction = ++p;
    while (p != last && static_cast<unsigned char>(*p - '0') < 10) digits = digits * 10 + unsigned(*p++ - '0');
    decimals = p - fraction;
  }
  const std::ptrdiff_t count = p - integer - (point ? 1 : 0);
  if (p != last || count == 0 || count > kExactDigits) return false;
  const double magnitude = static_cast<double>(digits) / kPowersOfTen[decimals];
  out = negative ? -magnitude : magnitude;
  return true;
}

// The opening quote of the string whose closing quote is at `close`.
std::size_t string_start(std::string_view text, std::size_t close);
// The first \u escape of a low surrogate without a high one before it, in the string opening at `open`.
std::size_t lone_surrogate_escape(std::string_view text, std::size_t open);
// The reason for a fault the reader found; `offset` may move back to the start of a cut-short literal.
std::string reason_for(rapidjson::ParseErrorCode code, std::string_view text, std::size_t& offset);
// Sets `error`'s line and column (from 1, the column in bytes) of byte `offset` of `text`.
void locate(std::string_view text, std::size_t offset, JsonTextError& error);

}  // namespace json_text::json_parse

#endif  // PATHWRIGHT_JSON_TEXT_JSON_PARSE_FAULTS_H_
