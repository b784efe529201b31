// Strict JSON parsing into mods::json::Value: rapidjson's SAX reader scans the text, and a builder writes
// every value straight into its final place (json_text/value_builder.h), so each value is built once and
// moved at most once.
#include <rapidjson/error/error.h>
#include <rapidjson/reader.h>

#include <string>
#include <string_view>
#include <vector>

#include "json_text/json_parse_faults.h"
#include "json_text/json_text.h"
#include "json_text/value_builder.h"

namespace json_text {
namespace {

using json_parse::Anchor;
using json_parse::Fault;
using json_parse::kReaderFlags;
using json_parse::locate;
using json_parse::lone_surrogate_escape;
using json_parse::reason_for;
using json_parse::string_start;
using json_parse::ValueBuilder;
using mods::json::Value;

}  // namespace

std::string JsonTextError::message() const {
  return "line " + std::to_string(line) + ", column " + std::to_string(column) + ": " + reason;
}

namespace {

// What a parse notes beside the value: number texts of one member, places of one array's elements.
struct Notes {
  const std::string* raw_member = nullptr;
  std::vector<RawMemberText>* raw = nullptr;
  const std::string* index_member = nullptr;
  std::vector<TextRange>* elements = nullptr;
  const std::string* kept_member = nullptr;
};

bool parse_noting(std::string_view text, Value& out, JsonTextError& error, const Notes& notes) {
  out = Value();
  // The reader needs a writable, NUL-terminated copy; it takes a NUL byte for the end of the text, so a NUL
  // inside the text is recognised below by where the reader stopped.
  // The UTF-8 check takes up to three continuation bytes without looking for the end, so a sequence cut
  // short at the very end would read past the text: NUL padding stops it inside the buffer. The copy is
  // sized once with its padding; growing it afterwards would allocate, touch and copy the text twice.
  constexpr std::size_t kLongestContinuation = 3;
  std::string buffer;
  buffer.reserve(text.size() + kLongestContinuation + 1);
  buffer.append(text);
  buffer.append(kLongestContinuation + 1, '\0');
  const std::size_t nul = text.find('\0');

  ValueBuilder builder(out);
  builder.text_has_escapes(text.find("\\u") != std::string_view::npos);
  if (notes.raw) builder.keep_raw(*notes.raw_member, *notes.raw);
  rapidjson::Reader reader;
  rapidjson::InsituStringStream stream(buffer.data());
  if (notes.elements) builder.index_elements(*notes.index_member, stream, *notes.elements);
  if (notes.kept_member) builder.outline_elements(*notes.kept_member);
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

}  // namespace

bool parse_json(std::string_view text, Value& out, JsonTextError& error) {
  return parse_noting(text, out, error, Notes{});
}

bool parse_json(std::string_view text, Value& out, JsonTextError& error, const std::string& member,
                std::vector<RawMemberText>& raw) {
  raw.clear();
  Notes notes;
  if (!member.empty()) {
    notes.raw_member = &member;
    notes.raw = &raw;
  }
  return parse_noting(text, out, error, notes);
}

bool parse_json_indexed(std::string_view text, Value& out, JsonTextError& error, const std::string& member,
                        std::vector<TextRange>& elements) {
  elements.clear();
  Notes notes;
  notes.index_member = &member;
  notes.elements = &elements;
  return parse_noting(text, out, error, notes);
}

bool parse_json_outline(std::string_view text, Value& out, JsonTextError& error, const std::string& member,
                        const std::string& kept, std::vector<TextRange>& elements) {
  elements.clear();
  Notes notes;
  notes.index_member = &member;
  notes.elements = &elements;
  notes.kept_member = &kept;
  return parse_noting(text, out, error, notes);
}

}  // namespace json_text
