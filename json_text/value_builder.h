// The SAX handler behind parse_json: each value is written where it will stay (the root, a member slot in
// an object's map, or, for array elements, a shared scratch stack from which a finished array moves its
// elements into one exactly-sized vector), so each value is built once and moved at most once. It can also
// note number texts of one member, note where the objects of one root array stand in the text, and build
// of those objects only one member (an outline). Internal to json_parse.cpp; one parse at a time.
#ifndef PATHWRIGHT_JSON_TEXT_VALUE_BUILDER_H_
#define PATHWRIGHT_JSON_TEXT_VALUE_BUILDER_H_

#include <rapidjson/reader.h>

#include <cstdint>
#include <cstring>
#include <map>
#include <string>
#include <string_view>
#include <tuple>
#include <utility>
#include <vector>

#if PATHWRIGHT_MIMALLOC_HEAPS
#include <mimalloc.h>
#endif

#include "json_text/json_parse_faults.h"
#include "json_text/json_text.h"
#include "json_text/member_names.h"

namespace json_text::json_parse {

using mods::json::Value;

// Arrays and objects together may nest this deep; deeper text is refused before it can exhaust the stack.
inline constexpr std::size_t kMaxNestingLevels = 512;

// rapidjson reads the copy of the text in place (strings are unescaped over their own source bytes, so no
// second buffer), validates UTF-8, and hands numbers over as their text so that they are converted here
// with correct rounding and an explicit overflow check.
inline constexpr unsigned kReaderFlags =
    rapidjson::kParseInsituFlag | rapidjson::kParseValidateEncodingFlag | rapidjson::kParseNumbersAsStringsFlag;

// Where a fault found by the builder lies, relative to the reader's offset when the builder stopped it.
enum class Anchor {
  ReaderOffset,   // the offset itself (numbers: their first byte)
  ByteBefore,     // the byte before it (an opening bracket)
  StringStart,    // the opening quote of the string that ends just before it
  LoneSurrogate,  // the \u escape of a lone surrogate inside that string
};

struct Fault {
  std::string reason;
  Anchor anchor = Anchor::ReaderOffset;
};

// True when a string decoded by the reader holds a surrogate code point (UTF-8 ED A0..BF). The source bytes
// were validated, so only a \u escape of a lone low surrogate can have produced one.
inline bool holds_surrogate(const char* str, std::size_t length) {
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
  explicit ValueBuilder(Value& root) : root_(root) {
    frames_.reserve(kFrames);
    scratch_.reserve(kScratchElements);
  }

  // Also keep the text of numbers that are the value of a member named `member` (see parse_json).
  void keep_raw(const std::string& member, std::vector<RawMemberText>& out) {
    raw_member_ = &member;
    raw_out_ = &out;
  }

  // Also note where each object element of the root object's array member `member` stands in the text
  // read through `stream`.
  void index_elements(const std::string& member, rapidjson::InsituStringStream& stream, std::vector<TextRange>& out) {
    index_member_ = &member;
    stream_ = &stream;
    index_out_ = &out;
  }

  // With index_elements: of each indexed object element build only the member `kept`. The rest is read and
  // checked as if built (names, numbers, escapes, nesting), so the text is refused exactly where it would be.
  void outline_elements(const std::string& kept) { kept_member_ = &kept; }

  const Fault& fault() const { return fault_; }

  bool Null() {
    if (!skip_value()) place();
    return true;
  }
  bool Bool(bool b) {
    if (skip_value()) return true;
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
    if (!short_decimal(str, str + length, n) && !number_from_text(str, length, n)) {
      return fail("number too large for a double", Anchor::ReaderOffset);
    }
    if (raw_next_) keep_raw_text(std::string(str, length));
    return number(n);
  }

  // Only a \u escape can put a surrogate into a decoded string (the reader refuses one written in UTF-8),
  // so a text without any "\u" needs no look at its strings.
  void text_has_escapes(bool has) { check_surrogates_ = has; }

  bool String(const char* str, rapidjson::SizeType length, bool /*copy*/) {
    if (check_surrogates_ && holds_surrogate(str, length)) return fail_surrogate();
    if (skip_value()) return true;
    Value& v = place();
    v.kind = Value::Kind::String;
    v.str.assign(str, length);
    return true;
  }

  bool StartObject() { return open(false); }
  bool StartArray() { return open(true); }

  bool Key(const char* str, rapidjson::SizeType length, bool /*copy*/) {
    if (check_surrogates_ && holds_surrogate(str, length)) return fail_surrogate();
    if (frames_.back().unbuilt || frames_.back().outlined) {
      if (!unbuilt_names_.add(std::string_view(str, length))) {
        return fail("duplicate member name \"" + std::string(str, length) + "\"", Anchor::StringStart);
      }
      raw_next_ = false;
      unbuilt_next_ = frames_.back().unbuilt || std::string_view(str, length) != *kept_member_;
      if (unbuilt_next_) return true;
    }
    auto& members = container(frames_.back()).members;
    const std::string_view key(str, length);
    raw_next_ = raw_out_ && key == *raw_member_;
    index_next_ = index_out_ && frames_.size() == 1 && key == *index_member_;
    // The key is built in its node. With the end as hint the map compares the key once with its last one
    // and appends when keys arrive sorted, as package writers usually write them; otherwise it searches.
    // A member already there leaves the map as it was.
    const std::size_t before = members.size();
    auto it = in_record_object() ? place_member(members, key) : emplace_last(members, key);
    if (members.size() == before) {
      return fail("duplicate member name \"" + std::string(key) + "\"", Anchor::StringStart);
    }
    frames_.back().slot = &it->second;
    return true;
  }

  bool EndObject(rapidjson::SizeType /*members*/) {
    if (frames_.size() == 3 && frames_[1].indexed) index_out_->back().end = stream_->Tell();
    if (frames_.back().unbuilt || frames_.back().outlined) unbuilt_names_.close();
    frames_.pop_back();
    return true;
  }

  bool EndArray(rapidjson::SizeType /*elements*/) {
    const Frame frame = frames_.back();
    frames_.pop_back();
    if (frame.unbuilt) return true;
    auto& items = container(frame).items;
    // An array that fills the stack on its own (a package's actors) takes over the stack's storage instead
    // of moving every element into new memory, as long as the stack's slack is less than its elements.
    if (frame.first_element == 0 && scratch_.size() > scratch_.capacity() / 2) {
      items = std::move(scratch_);
      scratch_ = std::vector<Value>();
      scratch_.reserve(kScratchElements);
      return true;
    }
    auto first = scratch_.begin() + static_cast<std::ptrdiff_t>(frame.first_element);
    items.assign(std::make_move_iterator(first), std::make_move_iterator(scratch_.end()));
    scratch_.erase(first, scratch_.end());
    return true;
  }

 private:
  static constexpr std::size_t kFrames = 64;            // nesting levels before the frame stack grows
  static constexpr std::size_t kScratchElements = 256;  // array elements before the scratch stack grows

  // An array or object being filled. It lives either at a stable address (the root or a map slot) or in
  // the scratch stack, whose storage may move while inner arrays grow it, so by index there.
  struct Frame {
    bool is_array = false;
    bool in_scratch = false;
    Value* stable = nullptr;
    std::size_t scratch_index = 0;
    std::size_t first_element = 0;  // arrays: where their elements start in the scratch stack
    bool indexed = false;           // arrays: the array whose object elements are located
    Value* slot = nullptr;          // objects: the member named by the last key
    bool unbuilt = false;           // read and checked, but neither it nor anything inside is built
    bool outlined = false;          // objects: an indexed element of which only the kept member is built
  };

  // Whether the value the reader hands over next is one an outline drops.
  bool unbuilt() const { return unbuilt_next_ || (!frames_.empty() && frames_.back().unbuilt); }
  // For a scalar: true when it is dropped (and so consumed here).
  bool skip_value() {
    const bool skip = unbuilt();
    unbuilt_next_ = false;
    return skip;
  }

  Value& container(const Frame& frame) { return frame.in_scratch ? scratch_[frame.scratch_index] : *frame.stable; }

  // An object that is an element of an array in the root object, such as an actor of a package.
  bool in_record_object() const {
    return frames_.size() == 3 && !frames_[0].is_array && frames_[1].is_array && !frames_[2].is_array;
  }

  using Members = std::map<std::string, Value>;
  static Members::iterator emplace_last(Members& members, std::string_view key) {
    return members.emplace_hint(members.end(), std::piecewise_construct, std::forward_as_tuple(key), std::tuple<>());
  }
  static Members::iterator place_member(Members& members, std::string_view key) {
    [[maybe_unused]] MemberPlacement::Scope in_member_heap;  // empty without mimalloc
    return emplace_last(members, key);
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
    if (skip_value()) return true;
    Value& v = place();
    v.kind = Value::Kind::Number;
    v.number = n;
    return true;
  }

  bool open(bool is_array) {
    if (frames_.size() >= kMaxNestingLevels) return fail("nesting deeper than 512", Anchor::ByteBefore);
    Frame frame;
    frame.is_array = is_array;
    if (unbuilt()) {
      unbuilt_next_ = false;
      frame.unbuilt = true;
      if (!is_array) unbuilt_names_.open();
      frames_.push_back(frame);
      return true;
    }
    frame.indexed = is_array && index_next_ && frames_.size() == 1;
    frame.outlined = !is_array && kept_member_ != nullptr && frames_.size() == 2 && frames_[1].indexed;
    if (frame.outlined) unbuilt_names_.open();
    if (!is_array && frames_.size() == 2 && frames_[1].indexed) {
      const std::size_t brace = stream_->Tell() - 1;  // the reader has taken the '{'
      index_out_->push_back({brace, brace});
    }
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
  const std::string* index_member_ = nullptr;
  rapidjson::InsituStringStream* stream_ = nullptr;  // read only for its position
  std::vector<TextRange>* index_out_ = nullptr;
  const std::string* kept_member_ = nullptr;  // outlines: the one member an indexed element keeps
  bool unbuilt_next_ = false;                 // outlines: the last key names a member that is not built
  MemberNames unbuilt_names_;                 // outlines: the names of the open objects that are not built
  bool index_next_ = false;                   // the last key of the root object names the indexed array
  std::vector<Frame> frames_;
  std::vector<Value> scratch_;
  Fault fault_;
};

}  // namespace json_text::json_parse

#endif  // PATHWRIGHT_JSON_TEXT_VALUE_BUILDER_H_
