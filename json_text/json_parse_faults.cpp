// The words and places of the reader's refusals. The reader reports a byte offset and a code; these turn
// them into the position a person looks for (the opening quote of a duplicate name, the start of a cut
// literal, the escape of a lone surrogate) and a reason naming what was found there.
#include "json_text/json_parse_faults.h"

#include <algorithm>
#include <charconv>

namespace json_text::json_parse {
namespace {

unsigned hex4(std::string_view text, std::size_t at) {
  unsigned value = 0;
  for (std::size_t i = at; i < at + 4 && i < text.size(); ++i) {
    const char c = text[i];
    const unsigned digit = c <= '9' ? unsigned(c - '0') : (unsigned(c | 0x20) - 'a' + 10);
    value = value * 16 + digit;
  }
  return value;
}

// What stands at `offset`, for messages: a printable ASCII character in quotes, or the byte in hex.
std::string what_is_at(std::string_view text, std::size_t offset) {
  if (offset >= text.size()) return "end of text";
  const auto byte = static_cast<unsigned char>(text[offset]);
  if (byte >= 0x20 && byte < 0x7F) return std::string("character '") + char(byte) + "'";
  static constexpr char kHex[] = "0123456789abcdef";
  return std::string("byte 0x") + kHex[byte >> 4] + kHex[byte & 15];
}

// The start of the cut-short literal (a proper prefix of true, false or null) that ends at `offset`, or
// `offset` itself when there is none.
std::size_t literal_start(std::string_view text, std::size_t offset) {
  std::size_t start = offset;
  while (start > 0 && text[start - 1] >= 'a' && text[start - 1] <= 'z') --start;
  const std::string_view word = text.substr(start, offset - start);
  for (std::string_view literal : {"true", "false", "null"}) {
    if (!word.empty() && word.size() < literal.size() && literal.substr(0, word.size()) == word) return start;
  }
  return offset;
}

}  // namespace

bool number_from_text(const char* first, std::size_t length, double& out) {
  const char* last = first + length;
  if (short_decimal(first, last, out)) return true;
  auto [ptr, ec] = std::from_chars(first, last, out);
  if (ec == std::errc()) return ptr == last;
  if (ec != std::errc::result_out_of_range) return false;
  // Out of range: decide between overflow and underflow from the power of ten of the first significant
  // digit. The exponent saturates, so absurd exponents cannot overflow the arithmetic.
  const char* p = first;
  const bool negative = *p == '-';
  if (negative) ++p;
  bool found = false;
  long long integer_digits = 0;
  long long leading_fraction_zeros = 0;
  for (; p != last && *p >= '0' && *p <= '9'; ++p) {
    if (found || *p != '0') {
      found = true;
      ++integer_digits;
    }
  }
  if (p != last && *p == '.') {
    for (++p; p != last && *p >= '0' && *p <= '9'; ++p) {
      if (!found && *p == '0')
        ++leading_fraction_zeros;
      else
        found = true;
    }
  }
  long long exponent = 0;
  if (p != last && (*p == 'e' || *p == 'E')) {
    ++p;
    bool exponent_negative = false;
    if (p != last && (*p == '+' || *p == '-')) exponent_negative = *p++ == '-';
    constexpr long long kSaturated = 1'000'000'000;
    for (; p != last && *p >= '0' && *p <= '9'; ++p) exponent = std::min(kSaturated, exponent * 10 + (*p - '0'));
    if (exponent_negative) exponent = -exponent;
  }
  if (!found) {  // all digits zero: the value is zero whatever the exponent
    out = negative ? -0.0 : 0.0;
    return true;
  }
  const long long power = integer_digits > 0 ? integer_digits - 1 : -(leading_fraction_zeros + 1);
  if (power + exponent >= 0) return false;  // power of ten of the first significant digit, scaled
  out = negative ? -0.0 : 0.0;
  return true;
}

std::size_t string_start(std::string_view text, std::size_t close) {
  std::size_t i = close;
  while (i > 0) {
    --i;
    if (text[i] != '"') continue;
    std::size_t backslashes = 0;
    while (backslashes < i && text[i - 1 - backslashes] == '\\') ++backslashes;
    if (backslashes % 2 == 0) return i;
  }
  return 0;
}

std::size_t lone_surrogate_escape(std::string_view text, std::size_t open) {
  std::size_t i = open + 1;
  while (i < text.size() && text[i] != '"') {
    if (text[i] != '\\') {
      ++i;
      continue;
    }
    if (i + 1 < text.size() && text[i + 1] == 'u') {
      const unsigned code = hex4(text, i + 2);
      if (code >= 0xDC00 && code <= 0xDFFF) return i;
      i += code >= 0xD800 && code <= 0xDBFF ? 12 : 6;  // a high surrogate always comes with its pair here
    } else {
      i += 2;
    }
  }
  return open;
}

std::string reason_for(rapidjson::ParseErrorCode code, std::string_view text, std::size_t& offset) {
  const std::string found = "unexpected " + what_is_at(text, offset);
  const bool at_end = offset >= text.size();
  switch (code) {
    case rapidjson::kParseErrorDocumentEmpty: return at_end ? "empty text" : found;
    case rapidjson::kParseErrorDocumentRootNotSingular: return "text after the JSON value";
    case rapidjson::kParseErrorValueInvalid:
      if (offset > 0 && text[offset - 1] == '-') return found + ", expected a digit after '-'";
      if (const std::size_t start = literal_start(text, offset); start != offset) {
        offset = start;
        return "invalid literal, expected true, false or null";
      }
      return found + ", expected a JSON value";
    case rapidjson::kParseErrorObjectMissName: return found + ", expected a member name in double quotes";
    case rapidjson::kParseErrorObjectMissColon: return found + ", expected ':'";
    case rapidjson::kParseErrorObjectMissCommaOrCurlyBracket: return found + ", expected ',' or '}'";
    case rapidjson::kParseErrorArrayMissCommaOrSquareBracket: return found + ", expected ',' or ']'";
    case rapidjson::kParseErrorStringUnicodeEscapeInvalidHex: return "invalid \\u escape, expected four hex digits";
    case rapidjson::kParseErrorStringUnicodeSurrogateInvalid: return "lone surrogate in \\u escape";
    case rapidjson::kParseErrorStringEscapeInvalid:
      if (!at_end && static_cast<unsigned char>(text[offset]) < 0x20) return "control character in string";
      if (offset + 1 < text.size() && text[offset + 1] > 0x20 && text[offset + 1] < 0x7F) {
        return "invalid escape '\\" + std::string(1, text[offset + 1]) + "'";
      }
      return "invalid escape, a backslash before " + what_is_at(text, offset + 1);
    case rapidjson::kParseErrorStringMissQuotationMark:
      return at_end ? "unterminated string" : "control character in string";
    case rapidjson::kParseErrorStringInvalidEncoding: return "invalid utf-8 in string";
    case rapidjson::kParseErrorNumberTooBig: {
      // The reader refuses from the digits it has seen, before the whole number is known: a zero with a
      // large exponent (0e400), or over 308 integer digits scaled back down, is refused although finite.
      const std::size_t end = text.find_first_not_of("0123456789+-.eE", offset);
      const std::string_view number = text.substr(offset, end == std::string_view::npos ? end : end - offset);
      double value = 0.0;
      if (number_from_text(number.data(), number.size(), value)) {
        return "number written with a power of ten beyond 308 is not supported";
      }
      return "number too large for a double";
    }
    case rapidjson::kParseErrorNumberMissFraction: return found + ", expected a digit after the decimal point";
    case rapidjson::kParseErrorNumberMissExponent: return found + ", expected a digit in the exponent";
    default: return found;
  }
}

void locate(std::string_view text, std::size_t offset, JsonTextError& error) {
  std::size_t line = 1;
  std::size_t line_start = 0;
  for (std::size_t i = 0; i < offset && i < text.size(); ++i) {
    if (text[i] == '\n') {
      ++line;
      line_start = i + 1;
    }
  }
  error.line = line;
  error.column = offset - line_start + 1;
}

}  // namespace json_text::json_parse
