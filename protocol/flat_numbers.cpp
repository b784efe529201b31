#include "protocol/flat_numbers.h"

#include <charconv>
#include <cmath>
#include <limits>

namespace protocol {

namespace {

constexpr std::size_t kFloatTextMax = 32;      // bytes: the longest shortest float text is 15
constexpr std::size_t kLongestFloatText = 15;  // bytes: "-1.17549435e-38"

bool is_digit(char c) { return c >= '0' && c <= '9'; }
bool is_space(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; }

// Exact powers of ten as doubles: 10^22 is the largest that a double holds exactly.
constexpr double kExactPowersOfTen[] = {1e0,  1e1,  1e2,  1e3,  1e4,  1e5,  1e6,  1e7,  1e8,  1e9,  1e10, 1e11,
                                        1e12, 1e13, 1e14, 1e15, 1e16, 1e17, 1e18, 1e19, 1e20, 1e21, 1e22};
constexpr int kMaxExactPower = 22;
constexpr std::uint64_t kMaxExactMantissa = std::uint64_t{1} << 53;  // every integer up to it is a double
constexpr int kMaxMantissaDigits = 19;                               // always fits in 64 bits

// Reads the JSON number at the start of `s` (-?(0|[1-9]d*)(.d+)?([eE][+-]?d+)?) into `value`, answering
// its length, or 0 when there is none. Short decimals (all that a float's shortest text can be) are
// converted by one exact multiplication or division, which rounds correctly; anything longer goes to
// std::from_chars.
std::size_t read_json_number(std::string_view s, double& value) {
  std::size_t i = 0;
  const bool negative = i < s.size() && s[i] == '-';
  if (negative) ++i;
  if (i >= s.size() || !is_digit(s[i])) return 0;
  std::uint64_t mantissa = 0;
  int digits = 0, exponent = 0;
  auto take_digit = [&](char c, bool fraction) {
    if (digits == 0 && c == '0') {
      if (fraction) --exponent;  // leading zeros of a fraction only scale
      return;
    }
    if (digits < kMaxMantissaDigits) {
      mantissa = mantissa * 10 + static_cast<unsigned>(c - '0');
      if (fraction) --exponent;
    } else if (!fraction) {
      ++exponent;
    }
    ++digits;
  };
  if (s[i] == '0') {
    ++i;
  } else {
    while (i < s.size() && is_digit(s[i])) take_digit(s[i++], false);
  }
  if (i < s.size() && s[i] == '.') {
    ++i;
    if (i >= s.size() || !is_digit(s[i])) return 0;
    while (i < s.size() && is_digit(s[i])) take_digit(s[i++], true);
  }
  if (i < s.size() && (s[i] == 'e' || s[i] == 'E')) {
    ++i;
    bool exponent_negative = false;
    if (i < s.size() && (s[i] == '+' || s[i] == '-')) exponent_negative = s[i++] == '-';
    if (i >= s.size() || !is_digit(s[i])) return 0;
    int written = 0;
    while (i < s.size() && is_digit(s[i])) {
      if (written < 100000) written = written * 10 + (s[i] - '0');
      ++i;
    }
    exponent += exponent_negative ? -written : written;
  }
  if (digits <= kMaxMantissaDigits && mantissa <= kMaxExactMantissa && exponent >= -kMaxExactPower &&
      exponent <= kMaxExactPower) {
    double magnitude = static_cast<double>(mantissa);
    magnitude = exponent < 0 ? magnitude / kExactPowersOfTen[-exponent] : magnitude * kExactPowersOfTen[exponent];
    value = negative ? -magnitude : magnitude;
    return i;
  }
  const auto parsed = std::from_chars(s.data(), s.data() + i, value);
  if (parsed.ec == std::errc::result_out_of_range) {
    // Too large in magnitude becomes infinite (and is refused by the caller); too small is zero.
    value = exponent > 0 ? std::numeric_limits<double>::infinity() : 0.0;
    if (negative) value = -value;
  }
  return i;
}

}  // namespace

bool narrow_to_float(double value, float& out) {
  constexpr double kLargestFloat = std::numeric_limits<float>::max();
  constexpr double kFirstInfinite = 0x1.ffffffp127;  // halfway from the largest float to 2^128
  const double magnitude = std::fabs(value);
  if (!(magnitude < kFirstInfinite)) return false;
  // Between the largest float and the halfway point, rounding gives the largest float; say so directly
  // rather than leave an out-of-range conversion to the compiler.
  out = magnitude > kLargestFloat ? static_cast<float>(std::copysign(kLargestFloat, value)) : static_cast<float>(value);
  return true;
}

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
  // Write straight into the string's storage, sized for the longest texts, then trim.
  const std::size_t start = out.size();
  out.resize(start + count * (kLongestFloatText + 1) + 2);
  char* at = out.data() + start;
  char* const limit = out.data() + out.size();
  *at++ = '[';
  for (std::size_t k = 0; k < count; ++k) {
    if (k) *at++ = ',';
    at = std::to_chars(at, limit, values[k]).ptr;
  }
  *at++ = ']';
  out.resize(static_cast<std::size_t>(at - out.data()));
}

void append_point_array(std::string& out, const story_notebook::WorldPoint* points, std::size_t count) {
  // As append_float_array: straight into the string's storage, sized for the longest texts, then trimmed.
  const std::size_t start = out.size();
  out.resize(start + 3 * count * (kLongestFloatText + 1) + 2);
  char* at = out.data() + start;
  char* const limit = out.data() + out.size();
  *at++ = '[';
  for (std::size_t k = 0; k < count; ++k) {
    if (k) *at++ = ',';
    at = std::to_chars(at, limit, points[k].x).ptr;
    *at++ = ',';
    at = std::to_chars(at, limit, points[k].y).ptr;
    *at++ = ',';
    at = std::to_chars(at, limit, points[k].z).ptr;
  }
  *at++ = ']';
  out.resize(static_cast<std::size_t>(at - out.data()));
}

void append_flag_array(std::string& out, const std::uint8_t* flags, std::size_t count) {
  const std::size_t start = out.size();
  out.resize(start + (count ? 2 * count - 1 : 0) + 2);
  char* at = out.data() + start;
  *at++ = '[';
  for (std::size_t k = 0; k < count; ++k) {
    if (k) *at++ = ',';
    *at++ = flags[k] ? '1' : '0';
  }
  *at = ']';
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
    double value = 0;
    const std::size_t length = read_json_number(text.substr(pos), value);
    if (length == 0) {
      error = pos >= text.size() ? "is not closed" : "holds a non-number at index " + std::to_string(out.size());
      return false;
    }
    float narrowed = 0;
    if (!narrow_to_float(value, narrowed)) {
      error = "holds a number out of range at index " + std::to_string(out.size());
      return false;
    }
    out.push_back(narrowed);
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

}  // namespace protocol
