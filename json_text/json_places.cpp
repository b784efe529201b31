#include "json_text/json_places.h"

#include <algorithm>

#include "json/value.h"
#include "json_text/json_text.h"

namespace json_text {
namespace {

bool is_space(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; }

std::size_t skip_space(std::string_view text, std::size_t at) {
  while (at < text.size() && is_space(text[at])) ++at;
  return at;
}

// Just after the string whose opening quote is at `at`.
std::size_t skip_string(std::string_view text, std::size_t at) {
  for (++at; at < text.size() && text[at] != '"'; ++at) {
    if (text[at] == '\\') ++at;
  }
  return std::min(at + 1, text.size());
}

// Just after the value starting at `at`.
std::size_t skip_value(std::string_view text, std::size_t at) {
  if (at >= text.size()) return at;
  if (text[at] == '"') return skip_string(text, at);
  if (text[at] != '{' && text[at] != '[') {
    while (at < text.size() && !is_space(text[at]) && text[at] != ',' && text[at] != ']' && text[at] != '}') ++at;
    return at;
  }
  std::size_t depth = 0;
  for (; at < text.size(); ++at) {
    const char c = text[at];
    if (c == '"') {
      at = skip_string(text, at) - 1;
    } else if (c == '{' || c == '[') {
      ++depth;
    } else if ((c == '}' || c == ']') && --depth == 0) {
      return at + 1;
    }
  }
  return at;
}

// The member name whose quoted text is [begin, end), unescaped when it holds an escape.
std::string member_name(std::string_view text, std::size_t begin, std::size_t end) {
  const std::string_view quoted = text.substr(begin, end - begin);
  if (quoted.find('\\') == std::string_view::npos) return std::string(quoted.substr(1, quoted.size() - 2));
  mods::json::Value name;
  JsonTextError error;
  return parse_json(quoted, name, error) ? name.str : std::string();
}

std::optional<std::size_t> member_offset(std::string_view text, std::size_t at, const std::string& wanted) {
  if (at >= text.size() || text[at] != '{') return std::nullopt;
  at = skip_space(text, at + 1);
  while (at < text.size() && text[at] == '"') {
    const std::size_t name_end = skip_string(text, at);
    const std::string name = member_name(text, at, name_end);
    const std::size_t value = skip_space(text, skip_space(text, name_end) + 1);  // past the ':'
    if (name == wanted) return value;
    at = skip_space(text, skip_value(text, value));
    if (at < text.size() && text[at] == ',') at = skip_space(text, at + 1);
  }
  return std::nullopt;
}

}  // namespace

std::size_t root_offset(std::string_view text) { return skip_space(text, 0); }

std::string_view value_text_at(std::string_view text, std::size_t from) {
  return from >= text.size() ? std::string_view() : text.substr(from, skip_value(text, from) - from);
}

std::vector<std::size_t> element_offsets(std::string_view text, std::size_t at) {
  std::vector<std::size_t> offsets;
  if (at >= text.size() || text[at] != '[') return offsets;
  at = skip_space(text, at + 1);
  while (at < text.size() && text[at] != ']') {
    offsets.push_back(at);
    at = skip_space(text, skip_value(text, at));
    if (at < text.size() && text[at] == ',') at = skip_space(text, at + 1);
  }
  return offsets;
}

std::optional<std::size_t> value_offset(std::string_view text, std::size_t from, const std::vector<PathStep>& path) {
  std::optional<std::size_t> at = from;
  for (const PathStep& step : path) {
    if (const auto* name = std::get_if<std::string>(&step)) {
      at = member_offset(text, *at, *name);
    } else {
      const std::vector<std::size_t> elements = element_offsets(text, *at);
      const std::size_t index = std::get<std::size_t>(step);
      at = index < elements.size() ? std::optional<std::size_t>(elements[index]) : std::nullopt;
    }
    if (!at) return std::nullopt;
  }
  return at;
}

TextLines::TextLines(std::string_view text) {
  starts_.push_back(0);
  for (std::size_t k = 0; k < text.size(); ++k) {
    if (text[k] == '\n') starts_.push_back(k + 1);
  }
}

std::size_t TextLines::line(std::size_t offset) const {
  return static_cast<std::size_t>(std::upper_bound(starts_.begin(), starts_.end(), offset) - starts_.begin());
}

std::size_t TextLines::column(std::size_t offset) const { return offset - starts_[line(offset) - 1] + 1; }

}  // namespace json_text
