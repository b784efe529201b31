#include "game/flat_numbers.h"

#include <charconv>
#include <cmath>
#include <limits>

namespace game {

namespace {

constexpr std::size_t kFloatTextMax = 32;  // bytes: the longest shortest float text is 15

bool is_digit(char c) { return c >= '0' && c <= '9'; }
bool is_space(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; }

// Length of the JSON number at the start of `s` (-?(0|[1-9]d*)(.d+)?([eE][+-]?d+)?), or 0 for none.
std::size_t json_number_length(std::string_view s) {
  std::size_t i = 0;
  if (i < s.size() && s[i] == '-') ++i;
  if (i >= s.size() || !is_digit(s[i])) return 0;
  if (s[i] == '0') {
    ++i;
  } else {
    while (i < s.size() && is_digit(s[i])) ++i;
  }
  if (i < s.size() && s[i] == '.') {
    ++i;
    if (i >= s.size() || !is_digit(s[i])) return 0;
    while (i < s.size() && is_digit(s[i])) ++i;
  }
  if (i < s.size() && (s[i] == 'e' || s[i] == 'E')) {
    ++i;
    if (i < s.size() && (s[i] == '+' || s[i] == '-')) ++i;
    if (i >= s.size() || !is_digit(s[i])) return 0;
    while (i < s.size() && is_digit(s[i])) ++i;
  }
  return i;
}

}  // namespace

void append_float(std::string& out, float value) {
  char buffer[kFloatTextMax];
  const auto result = std::to_chars(buffer, buffer + sizeof buffer, value);
  out.append(buffer, result.ptr);
}

std::string float_text(float value) {
  std::string out;
  append_float(out, value);
  return out;
}

double wire_double(float value) {
  char buffer[kFloatTextMax];
  const auto written = std::to_chars(buffer, buffer + sizeof buffer, value);
  double result = value;
  std::from_chars(buffer, written.ptr, result);
  return result;
}

void append_float_array(std::string& out, const float* values, std::size_t count) {
  out.reserve(out.size() + count * 9 + 2);
  out.push_back('[');
  for (std::size_t k = 0; k < count; ++k) {
    if (k) out.push_back(',');
    append_float(out, values[k]);
  }
  out.push_back(']');
}

void append_flag_array(std::string& out, const std::uint8_t* flags, std::size_t count) {
  out.reserve(out.size() + count * 2 + 2);
  out.push_back('[');
  for (std::size_t k = 0; k < count; ++k) {
    if (k) out.push_back(',');
    out.push_back(flags[k] ? '1' : '0');
  }
  out.push_back(']');
}

bool read_float_array(std::string_view text, std::size_t& pos, std::vector<float>& out, std::string& error) {
  out.clear();
  if (pos >= text.size() || text[pos] != '[') {
    error = "is not an array";
    return false;
  }
  ++pos;
  auto skip_space = [&] {
    while (pos < text.size() && is_space(text[pos])) ++pos;
  };
  skip_space();
  if (pos < text.size() && text[pos] == ']') {
    ++pos;
    return true;
  }
  for (;;) {
    skip_space();
    const std::size_t length = json_number_length(text.substr(pos));
    if (length == 0) {
      error = pos >= text.size() ? "is not closed" : "holds a non-number at index " + std::to_string(out.size());
      return false;
    }
    double value = 0;
    const auto parsed = std::from_chars(text.data() + pos, text.data() + pos + length, value);
    if (parsed.ec != std::errc() || !(std::fabs(value) <= std::numeric_limits<float>::max())) {
      error = "holds a number out of range at index " + std::to_string(out.size());
      return false;
    }
    out.push_back(static_cast<float>(value));
    pos += length;
    skip_space();
    if (pos >= text.size()) {
      error = "is not closed";
      return false;
    }
    if (text[pos] == ']') {
      ++pos;
      return true;
    }
    if (text[pos] != ',') {
      error = "holds a non-number at index " + std::to_string(out.size());
      return false;
    }
    ++pos;
  }
}

}  // namespace game
