// Strict JSON parsing into mods::json::Value: rapidjson's SAX reader scans the text, and a builder writes
// every value straight into its final place, so each value is built once and moved at most once.
#include <algorithm>
#include <charconv>
#include <cstdint>
#include <cstring>
#include <map>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include <rapidjson/error/error.h>
#include <rapidjson/reader.h>

#if PATHWRIGHT_MIMALLOC_HEAPS
#include <mimalloc.h>
#endif

#include "host/json_text/json_text.h"

namespace host {
namespace {

using mods::json::Value;

// Arrays and objects together may nest this deep; deeper text is refused before it can exhaust the stack.
constexpr std::size_t kMaxNestingLevels = 512;

// rapidjson reads the copy of the text in place (strings are unescaped over their own source bytes, so no
// second buffer), validates UTF-8, and hands numbers over as their text so that they are converted here
// with correct rounding and an explicit overflow check.
constexpr unsigned kReaderFlags =
    rapidjson::kParseInsituFlag | rapidjson::kParseValidateEncodingFlag | rapidjson::kParseNumbersAsStringsFlag;

// Where a fault found by the builder lies, relative to the reader's offset when the builder stopped it.
enum class Anchor {
  ReaderOffset,    // the offset itself (numbers: their first byte)
  ByteBefore,      // the byte before it (an opening bracket)
  StringStart,     // the opening quote of the string that ends just before it
  LoneSurrogate,   // the \u escape of a lone surrogate inside that string
};

struct Fault {
  std::string reason;
  Anchor anchor = Anchor::ReaderOffset;
};

// Converts the text of a JSON number (already checked against the grammar by the reader) to the nearest
// double. False when its magnitude is beyond the largest double; an underflow becomes a signed zero.
bool number_from_text(const char* first, std::size_t length, double& out) {
  const char* last = first + length;
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
    if (found || *p != '0') { found = true; ++integer_digits; }
  }
  if (p != last && *p == '.') {
    for (++p; p != last && *p >= '0' && *p <= '9'; ++p) {
      if (!found && *p == '0') ++leading_fraction_zeros;
      else found = true;
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

// True when a string decoded by the reader holds a surrogate code point (UTF-8 ED A0..BF). The source bytes
// were validated, so only a \u escape of a lone low surrogate can have produced one.
bool holds_surrogate(const char* str, std::size_t length) {
  const void* at = str;
  std::size_t left = length;
  while ((at = std::memchr(at, 0xED, left)) != nullptr) {
    const auto* byte = static_cast<const unsigned char*>(at);
    const std::size_t index = static_cast<std::size_t>(byte - reinterpret_cast<const unsigned char*>(str));
    if (index + 1 < length && byte[1] >= 0xA0) return true;
    at = byte + 1;
    left = length - index - 1;
  }
  return false;
}

// The member nodes of the objects in an array of the root object (the actors of a package) are allocated
// in a heap of their own, one after another in document order, away from everything nested inside them.
// A search of the actors by "id" then walks memory forwards instead of jumping from page to page: at
// 50,000 actors it took a scan for an id that is not there from 6.4 to 5.4 ms (best of 30, loaded
// machine). Without mimalloc it does nothing.
class MemberPlacement {
 public:
#if PATHWRIGHT_MIMALLOC_HEAPS
  // Until destroyed, this thread allocates in `heap`.
  class Scope {
   public:
    Scope() : previous_(mi_heap_set_default(heap())) {}
    ~Scope() { mi_heap_set_default(previous_); }
    Scope(const Scope&) = delete;
    Scope& operator=(const Scope&) = delete;

   private:
    // One per thread (a heap allocates only on its own thread); blocks may be freed on any thread, and
    // what lives on when the thread ends is taken over by the others.
    static mi_heap_t* heap() {
      thread_local mi_heap_t* const members = mi_heap_new();
      return members;
    }
    mi_heap_t* previous_;
  };
#else
  struct Scope {};
#endif
};

// The SAX handler. Each value is written where it will stay: the root, a member slot in an object's map
// (map nodes never move), or, for array elements, a shared scratch stack from which a finished array moves
// its elements into one exactly-sized vector.
class ValueBuilder {
 public:
  explicit ValueBuilder(Value& root) : root_(root) { frames_.reserve(64); scratch_.reserve(256); }

  // Also keep the text of numbers that are the value of a member named `member` (see parse_json).
  void keep_raw(const std::string& member, std::vector<RawMemberText>& out) {
    raw_member_ = &member;
    raw_out_ = &out;
  }

  const Fault& fault() const { return fault_; }

  bool Null() { place(); return true; }
  bool Bool(bool b) {
    Value& v = place();
    v.kind = Value::Kind::Bool;
    v.boolean = b;
    return true;
  }
  // The reader hands every number over as text (RawNumber); these exist only to complete its interface.
  bool Int(int n) { return number(n); }
  bool Uint(unsigned n) { return number(n); }
  bool Int64(std::int64_t n) { return number(static_cast<double>(n)); }
  bool Uint64(std::uint64_t n) { return number(static_cast<double>(n)); }
  bool Double(double n) { return number(n); }

  bool RawNumber(const char* str, rapidjson::SizeType length, bool /*copy*/) {
    double n = 0.0;
    if (!number_from_text(str, length, n)) return fail("number too large for a double", Anchor::ReaderOffset);
    if (raw_next_) keep_raw_text(std::string(str, length));
    return number(n);
  }

  // Only a \u escape can put a surrogate into a decoded string (the reader refuses one written in UTF-8),
  // so a text without any "\u" needs no look at its strings.
  void text_has_escapes(bool has) { check_surrogates_ = has; }

  bool String(const char* str, rapidjson::SizeType length, bool /*copy*/) {
    if (check_surrogates_ && holds_surrogate(str, length)) return fail_surrogate();
    Value& v = place();
    v.kind = Value::Kind::String;
    v.str.assign(str, length);
    return true;
  }

  bool StartObject() { return open(false); }
  bool StartArray() { return open(true); }

  bool Key(const char* str, rapidjson::SizeType length, bool /*copy*/) {
    if (check_surrogates_ && holds_surrogate(str, length)) return fail_surrogate();
    auto& members = container(frames_.back()).members;
    std::string key(str, length);
    raw_next_ = raw_out_ && key == *raw_member_;
    // Package writers usually sort their keys; then the new member goes at the end without a search.
    auto hint = members.end();
    if (!members.empty() && !(members.rbegin()->first < key)) {
      hint = members.lower_bound(key);
      if (hint != members.end() && hint->first == key) {
        return fail("duplicate member name \"" + key + "\"", Anchor::StringStart);
      }
    }
    auto it = in_record_object() ? place_member(members, hint, std::move(key))
                                 : members.emplace_hint(hint, std::piecewise_construct,
                                                        std::forward_as_tuple(std::move(key)), std::tuple<>());
    frames_.back().slot = &it->second;
    return true;
  }

  bool EndObject(rapidjson::SizeType /*members*/) {
    frames_.pop_back();
    return true;
  }

  bool EndArray(rapidjson::SizeType /*elements*/) {
    const Frame frame = frames_.back();
    frames_.pop_back();
    auto first = scratch_.begin() + static_cast<std::ptrdiff_t>(frame.first_element);
    container(frame).items.assign(std::make_move_iterator(first), std::make_move_iterator(scratch_.end()));
    scratch_.erase(first, scratch_.end());
    return true;
  }

 private:
  // An array or object being filled. It lives either at a stable address (the root or a map slot) or in
  // the scratch stack, whose storage may move while inner arrays grow it, so by index there.
  struct Frame {
    bool is_array = false;
    bool in_scratch = false;
    Value* stable = nullptr;
    std::size_t scratch_index = 0;
    std::size_t first_element = 0;  // arrays: where their elements start in the scratch stack
    Value* slot = nullptr;          // objects: the member named by the last key
  };

  Value& container(const Frame& frame) { return frame.in_scratch ? scratch_[frame.scratch_index] : *frame.stable; }

  // An object that is an element of an array in the root object, such as an actor of a package.
  bool in_record_object() const {
    return frames_.size() == 3 && !frames_[0].is_array && frames_[1].is_array && !frames_[2].is_array;
  }

  using Members = std::map<std::string, Value>;
  static Members::iterator place_member(Members& members, Members::iterator hint, std::string key) {
    MemberPlacement::Scope in_member_heap;
    return members.emplace_hint(hint, std::piecewise_construct, std::forward_as_tuple(std::move(key)),
                                std::tuple<>());
  }

  // The place of the next value: the root, the pending member slot, or a new array element.
  Value& place() {
    raw_next_ = false;
    if (frames_.empty()) return root_;
    Frame& top = frames_.back();
    if (!top.is_array) return *top.slot;
    return scratch_.emplace_back();
  }

  bool number(double n) {
    Value& v = place();
    v.kind = Value::Kind::Number;
    v.number = n;
    return true;
  }

  bool open(bool is_array) {
    if (frames_.size() >= kMaxNestingLevels) return fail("nesting deeper than 512", Anchor::ByteBefore);
    Frame frame;
    frame.is_array = is_array;
    if (!frames_.empty() && frames_.back().is_array) {
      frame.in_scratch = true;
      frame.scratch_index = scratch_.size();
    }
    Value& v = place();
    if (!frame.in_scratch) frame.stable = &v;
    v.kind = is_array ? Value::Kind::Array : Value::Kind::Object;
    frame.first_element = scratch_.size();
    frames_.push_back(frame);
    return true;
  }

  bool fail(std::string reason, Anchor anchor) {
    fault_.reason = std::move(reason);
    fault_.anchor = anchor;
    return false;
  }

  bool fail_surrogate() { return fail("lone surrogate in \\u escape", Anchor::LoneSurrogate); }

  // Records a kept number's text for the root object (element 0) or an object in the root array.
  void keep_raw_text(std::string text) {
    if (frames_.size() == 1) raw_out_->push_back({0, std::move(text)});
    if (frames_.size() == 2 && frames_[0].is_array) {
      raw_out_->push_back({frames_[1].scratch_index - frames_[0].first_element, std::move(text)});
    }
  }

  Value& root_;
  const std::string* raw_member_ = nullptr;
  std::vector<RawMemberText>* raw_out_ = nullptr;
  bool raw_next_ = false;  // the last key names a member whose number text is kept
  bool check_surrogates_ = true;
  std::vector<Frame> frames_;
  std::vector<Value> scratch_;
  Fault fault_;
};

// The opening quote of the string whose closing quote is at `close`: the nearest quote before it that is
// not escaped (a quote inside a string is always preceded by an odd run of backslashes).
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

unsigned hex4(std::string_view text, std::size_t at) {
  unsigned value = 0;
  for (std::size_t i = at; i < at + 4 && i < text.size(); ++i) {
    const char c = text[i];
    const unsigned digit = c <= '9' ? unsigned(c - '0') : (unsigned(c | 0x20) - 'a' + 10);
    value = value * 16 + digit;
  }
  return value;
}

// The first \u escape of a low surrogate without a high one before it, in the string opening at `open`.
std::size_t lone_surrogate_escape(std::string_view text, std::size_t open) {
  std::size_t i = open + 1;
  while (i < text.size() && text[i] != '"') {
    if (text[i] != '\\') { ++i; continue; }
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

// The reason for a fault the reader found; `offset` may move back to the start of a cut-short literal.
std::string reason_for(rapidjson::ParseErrorCode code, std::string_view text, std::size_t& offset) {
  const std::string found = "unexpected " + what_is_at(text, offset);
  const bool at_end = offset >= text.size();
  switch (code) {
    case rapidjson::kParseErrorDocumentEmpty:
      return at_end ? "empty text" : found;
    case rapidjson::kParseErrorDocumentRootNotSingular:
      return "text after the JSON value";
    case rapidjson::kParseErrorValueInvalid:
      if (offset > 0 && text[offset - 1] == '-') return found + ", expected a digit after '-'";
      if (const std::size_t start = literal_start(text, offset); start != offset) {
        offset = start;
        return "invalid literal, expected true, false or null";
      }
      return found + ", expected a JSON value";
    case rapidjson::kParseErrorObjectMissName:
      return found + ", expected a member name in double quotes";
    case rapidjson::kParseErrorObjectMissColon:
      return found + ", expected ':'";
    case rapidjson::kParseErrorObjectMissCommaOrCurlyBracket:
      return found + ", expected ',' or '}'";
    case rapidjson::kParseErrorArrayMissCommaOrSquareBracket:
      return found + ", expected ',' or ']'";
    case rapidjson::kParseErrorStringUnicodeEscapeInvalidHex:
      return "invalid \\u escape, expected four hex digits";
    case rapidjson::kParseErrorStringUnicodeSurrogateInvalid:
      return "lone surrogate in \\u escape";
    case rapidjson::kParseErrorStringEscapeInvalid:
      if (!at_end && static_cast<unsigned char>(text[offset]) < 0x20) return "control character in string";
      if (offset + 1 < text.size() && text[offset + 1] > 0x20 && text[offset + 1] < 0x7F) {
        return "invalid escape '\\" + std::string(1, text[offset + 1]) + "'";
      }
      return "invalid escape, a backslash before " + what_is_at(text, offset + 1);
    case rapidjson::kParseErrorStringMissQuotationMark:
      return at_end ? "unterminated string" : "control character in string";
    case rapidjson::kParseErrorStringInvalidEncoding:
      return "invalid utf-8 in string";
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
    case rapidjson::kParseErrorNumberMissFraction:
      return found + ", expected a digit after the decimal point";
    case rapidjson::kParseErrorNumberMissExponent:
      return found + ", expected a digit in the exponent";
    default:
      return found;
  }
}

void locate(std::string_view text, std::size_t offset, JsonTextError& error) {
  std::size_t line = 1;
  std::size_t line_start = 0;
  for (std::size_t i = 0; i < offset && i < text.size(); ++i) {
    if (text[i] == '\n') { ++line; line_start = i + 1; }
  }
  error.line = line;
  error.column = offset - line_start + 1;
}

}  // namespace

std::string JsonTextError::message() const {
  return "line " + std::to_string(line) + ", column " + std::to_string(column) + ": " + reason;
}

bool parse_json(std::string_view text, Value& out, JsonTextError& error) {
  std::vector<RawMemberText> unused;
  return parse_json(text, out, error, "", unused);
}

bool parse_json(std::string_view text, Value& out, JsonTextError& error, const std::string& member,
                std::vector<RawMemberText>& raw) {
  out = Value();
  raw.clear();
  // The reader needs a writable, NUL-terminated copy; it takes a NUL byte for the end of the text, so a NUL
  // inside the text is recognised below by where the reader stopped.
  std::string buffer(text);
  // The UTF-8 check takes up to three continuation bytes without looking for the end, so a sequence cut
  // short at the very end would read past the text: NUL padding stops it inside the buffer.
  constexpr std::size_t kLongestContinuation = 3;
  buffer.append(kLongestContinuation + 1, '\0');
  const std::size_t nul = text.find('\0');

  ValueBuilder builder(out);
  builder.text_has_escapes(text.find("\\u") != std::string_view::npos);
  if (!member.empty()) builder.keep_raw(member, raw);
  rapidjson::Reader reader;
  rapidjson::InsituStringStream stream(buffer.data());
  const rapidjson::ParseResult result = reader.Parse<kReaderFlags>(stream, builder);

  std::size_t offset = 0;
  if (result) {
    if (nul == std::string_view::npos) return true;
    offset = nul;
    error.reason = "text after the JSON value";
  } else if (result.Code() == rapidjson::kParseErrorTermination) {
    offset = result.Offset();
    const Fault& fault = builder.fault();
    error.reason = fault.reason;
    switch (fault.anchor) {
      case Anchor::ReaderOffset: break;
      case Anchor::ByteBefore: offset -= 1; break;
      case Anchor::StringStart: offset = string_start(text, offset - 1); break;
      case Anchor::LoneSurrogate: offset = lone_surrogate_escape(text, string_start(text, offset - 1)); break;
    }
  } else {
    offset = result.Offset();
    error.reason = reason_for(result.Code(), text, offset);
  }
  locate(text, offset, error);
  return false;
}

}  // namespace host
