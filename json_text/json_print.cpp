// Printing mods::json::Value as JSON text. Numbers use the shortest text that reads back to the same
// double; a value that JSON cannot carry (a non-finite number, a string that is not UTF-8) stops the print,
// and a second walk then names where it is, so the common path carries no bookkeeping.
#include <charconv>
#include <cmath>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "json_text/json_text.h"
#include "json_text/utf8.h"

namespace json_text {
namespace {

using mods::json::Value;

// Integral doubles up to this magnitude print as plain integers (60, not 6e+01); beyond it not every
// integer is a double, so the shortest round-trip form is used.
constexpr double kLargestSafeInteger = 9007199254740991.0;  // 2^53 - 1
constexpr std::size_t kIndentWidth = 2;                     // spaces per nesting level

void write_string(std::string_view s, std::string& out) {
  static constexpr char kHex[] = "0123456789abcdef";
  out.push_back('"');
  std::size_t run = 0;  // start of the bytes not yet copied
  for (std::size_t i = 0; i < s.size(); ++i) {
    const auto c = static_cast<unsigned char>(s[i]);
    if (c >= 0x20 && c != '"' && c != '\\') continue;
    out.append(s.data() + run, i - run);
    run = i + 1;
    switch (c) {
      case '"': out.append("\\\""); break;
      case '\\': out.append("\\\\"); break;
      case '\n': out.append("\\n"); break;
      case '\t': out.append("\\t"); break;
      case '\r': out.append("\\r"); break;
      case '\b': out.append("\\b"); break;
      case '\f': out.append("\\f"); break;
      default:
        out.append("\\u00");
        out.push_back(kHex[c >> 4]);
        out.push_back(kHex[c & 15]);
    }
  }
  out.append(s.data() + run, s.size() - run);
  out.push_back('"');
}

void write_number(double n, std::string& out) {
  char buffer[32];  // the longest shortest-form double is 24 characters
  std::to_chars_result result;
  if (n == std::trunc(n) && std::fabs(n) <= kLargestSafeInteger) {
    if (n == 0 && std::signbit(n)) {  // -0 keeps its sign so that it reads back bit for bit
      out.append("-0");
      return;
    }
    result = std::to_chars(buffer, buffer + sizeof buffer, static_cast<std::int64_t>(n));
  } else {
    result = std::to_chars(buffer, buffer + sizeof buffer, n);
  }
  out.append(buffer, result.ptr);
}

void new_line(std::size_t depth, std::string& out) {
  out.push_back('\n');
  out.append(depth * kIndentWidth, ' ');
}

// Where print_json_indexed records the elements of one array as they are written.
struct ElementIndex {
  const Value* array = nullptr;
  std::vector<TextRange>* ranges = nullptr;
  const ElementStandIn* stand_in = nullptr;  // may print another value in an element's place
};

// Writes `v`; false at the first number or string that JSON cannot carry.
bool write_value(const Value& v, bool indented, std::size_t depth, std::string& out,
                 const ElementIndex* index = nullptr) {
  switch (v.kind) {
    case Value::Kind::Null: out.append("null"); return true;
    case Value::Kind::Bool: out.append(v.boolean ? "true" : "false"); return true;
    case Value::Kind::Number:
      if (!std::isfinite(v.number)) return false;
      write_number(v.number, out);
      return true;
    case Value::Kind::String:
      if (!is_utf8(v.str)) return false;
      write_string(v.str, out);
      return true;
    case Value::Kind::Array: {
      if (v.items.empty()) {
        out.append("[]");
        return true;
      }
      out.push_back('[');
      bool first = true;
      const bool indexed = index != nullptr && index->array == &v;
      for (const Value& item : v.items) {
        if (!first) out.push_back(',');
        first = false;
        if (indented) new_line(depth + 1, out);
        const std::size_t begin = out.size();
        // The ranges recorded so far count this array's elements before this one: its index.
        const Value* stand_in = indexed && index->stand_in ? (*index->stand_in)(index->ranges->size()) : nullptr;
        if (!write_value(stand_in != nullptr ? *stand_in : item, indented, depth + 1, out, index)) return false;
        if (indexed) index->ranges->push_back({begin, out.size()});
      }
      if (indented) new_line(depth, out);
      out.push_back(']');
      return true;
    }
    case Value::Kind::Object: {
      if (v.members.empty()) {
        out.append("{}");
        return true;
      }
      out.push_back('{');
      bool first = true;
      for (const auto& [key, member] : v.members) {
        if (!first) out.push_back(',');
        first = false;
        if (indented) new_line(depth + 1, out);
        if (!is_utf8(key)) return false;
        write_string(key, out);
        out.append(indented ? ": " : ":");
        if (!write_value(member, indented, depth + 1, out, index)) return false;
      }
      if (indented) new_line(depth, out);
      out.push_back('}');
      return true;
    }
  }
  return false;
}

bool is_identifier(const std::string& key) {
  if (key.empty()) return false;
  for (char c : key) {
    const bool word = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_';
    if (!word) return false;
  }
  return true;
}

// Appends the step to a member to `path`: .name, or ["name"] when the name is not a plain word.
void append_member(std::string& path, const std::string& key) {
  if (is_identifier(key)) {
    if (!path.empty()) path.push_back('.');
    path.append(key);
  } else {
    path.append("[");
    write_string(key, path);
    path.append("]");
  }
}

// Finds the first value that `write_value` refuses, in the same order, and describes it with its path.
bool describe_refusal(const Value& v, std::string& path, std::string& what) {
  switch (v.kind) {
    case Value::Kind::Number:
      if (std::isfinite(v.number)) return false;
      what = "a number that is not finite";
      return true;
    case Value::Kind::String:
      if (is_utf8(v.str)) return false;
      what = "a string that is not valid utf-8";
      return true;
    case Value::Kind::Array:
      for (std::size_t i = 0; i < v.items.size(); ++i) {
        const std::size_t length = path.size();
        path.push_back('[');
        path.append(std::to_string(i));
        path.push_back(']');
        if (describe_refusal(v.items[i], path, what)) return true;
        path.resize(length);
      }
      return false;
    case Value::Kind::Object:
      for (const auto& [key, member] : v.members) {
        const std::size_t length = path.size();
        if (!is_utf8(key)) {
          what = "a member name that is not valid utf-8";
          return true;
        }
        append_member(path, key);
        if (describe_refusal(member, path, what)) return true;
        path.resize(length);
      }
      return false;
    default: return false;
  }
}

}  // namespace

bool print_json(const Value& value, JsonLayout layout, std::string& out, std::string& error) {
  out.clear();
  const bool indented = layout == JsonLayout::Indented;
  if (write_value(value, indented, 0, out)) {
    if (indented) out.push_back('\n');
    return true;
  }
  std::string path;
  std::string what = "a value";
  describe_refusal(value, path, what);
  error = what + " at " + (path.empty() ? std::string("the top level") : path) + " cannot be written";
  return false;
}

std::string compact(const Value& value) {
  std::string text, error;
  return print_json(value, JsonLayout::Compact, text, error) ? text : "(unprintable: " + error + ")";
}

bool print_json_indexed(const Value& value, const std::string& member, std::string& out,
                        std::vector<TextRange>& elements, std::string& error, const ElementStandIn& stand_in) {
  elements.clear();
  ElementIndex index;
  index.ranges = &elements;
  if (stand_in) index.stand_in = &stand_in;
  if (const Value& array = value.get(member); value.is_object() && array.is_array()) index.array = &array;
  out.clear();
  if (write_value(value, true, 0, out, &index)) {
    out.push_back('\n');
    return true;
  }
  return print_json(value, JsonLayout::Indented, out, error);  // names where the refused value is
}

bool print_json_nested(const Value& value, std::size_t depth, std::string& out) {
  return write_value(value, true, depth, out);
}

}  // namespace json_text
