// parse_json: what it builds, the exact double of every number, and where and why it refuses text.
#include <cmath>
#include <cstring>
#include <string>

#include <gtest/gtest.h>

#include "host/json_text/json_text.h"

namespace {

using mods::json::Value;

TEST(ParseJson, BuildsNestedValuesWithEveryMemberInPlace) {
  Value v;
  host::JsonTextError error;
  ASSERT_TRUE(host::parse_json(
      " {\"z\": [1, [true, null], {\"k\": \"s\"}], \"a\": {\"b\": {}, \"c\": []}, \"m\": false}\n", v, error))
      << error.message();
  Value expected = Value::object();
  expected["z"] = Value::array();
  expected["z"].items.push_back(Value::of(1.0));
  Value inner = Value::array();
  inner.items = {Value::of(true), Value()};
  expected["z"].items.push_back(inner);
  Value k = Value::object();
  k["k"] = Value::of("s");
  expected["z"].items.push_back(k);
  expected["a"]["b"] = Value::object();
  expected["a"]["c"] = Value::array();
  expected["m"] = Value::of(false);
  EXPECT_EQ(v, expected);
}

TEST(ParseJson, KeepsTheExactDoubleOfEveryNumber) {
  const struct { const char* text; double expected; } cases[] = {
      {"0.1", 0.1},
      {"1e-7", 1e-7},
      {"9007199254740993", 9007199254740992.0},  // halfway: rounds to even
      {"1.7976931348623157e308", 1.7976931348623157e308},
      {"5e-324", 5e-324},
      {"2.4703282292062328e-324", 5e-324},  // just above half the smallest denormal
      {"2.4703282292062327e-324", 0.0},     // just below it
      {"1e-400", 0.0},
      {"-1e-400", -0.0},
      {"-0", -0.0},
      {"123456789012345678901234567890", 1.2345678901234568e29},
      {"0.30000000000000004", 0.30000000000000004},
      {"-88.25", -88.25},
  };
  for (const auto& c : cases) {
    Value v;
    host::JsonTextError error;
    ASSERT_TRUE(host::parse_json(c.text, v, error)) << c.text << ": " << error.message();
    ASSERT_TRUE(v.is_number()) << c.text;
    EXPECT_EQ(std::memcmp(&v.number, &c.expected, sizeof(double)), 0)
        << c.text << " read as " << v.number << ", sign " << std::signbit(v.number);
  }
}

TEST(ParseJson, DecodesEscapesIntoUtf8) {
  const struct { const char* text; std::string expected; } cases[] = {
      {R"("\"\\\/\b\f\n\r\t")", "\"\\/\b\f\n\r\t"},
      {R"("\u0041\u00e9\u20AC")", "A\xC3\xA9\xE2\x82\xAC"},
      {R"("\uD83D\uDE00")", "\xF0\x9F\x98\x80"},  // a surrogate pair becomes one 4-byte character
      {"\"caf\xC3\xA9 \xF0\x9F\x98\x80\"", "caf\xC3\xA9 \xF0\x9F\x98\x80"},
      {R"("a\u0000b")", std::string("a\0b", 3)},
  };
  for (const auto& c : cases) {
    Value v;
    host::JsonTextError error;
    ASSERT_TRUE(host::parse_json(c.text, v, error)) << c.text << ": " << error.message();
    EXPECT_EQ(v.str, c.expected) << c.text;
  }
}

TEST(ParseJson, RefusesBadTextNamingLineColumnAndReason) {
  const struct { std::string text; std::size_t line, column; const char* reason; } cases[] = {
      {"", 1, 1, "empty text"},
      {"  \n ", 2, 2, "empty text"},
      {"[1, x]", 1, 5, "unexpected character 'x', expected a JSON value"},
      {"{\n  \"id\": 1\n  \"actor\": 2\n}", 3, 3, "unexpected character '\"', expected ',' or '}'"},
      {"[1] 2", 1, 5, "text after the JSON value"},
      {"[\"abc", 1, 6, "unterminated string"},
      {"[\"a\tb\"]", 1, 4, "control character in string"},
      {"[\"a\\qb\"]", 1, 4, "invalid escape '\\q'"},
      {"[\"\\u12G4\"]", 1, 3, "invalid \\u escape, expected four hex digits"},
      {"[\"ab\\uDC00\"]", 1, 5, "lone surrogate in \\u escape"},
      {"{\"k\\uDC00\": 1}", 1, 4, "lone surrogate in \\u escape"},
      {"[\"\\uD800x\"]", 1, 3, "lone surrogate in \\u escape"},
      {"[\"\xC0\xAF\"]", 1, 3, "invalid utf-8 in string"},        // overlong '/'
      {"[\"\xED\xA0\x80\"]", 1, 3, "invalid utf-8 in string"},    // a surrogate written in UTF-8
      {"[\"\xF5\x80\x80\x80\"]", 1, 3, "invalid utf-8 in string"},  // beyond U+10FFFF
      {"\"\xF0\x9F", 1, 2, "invalid utf-8 in string"},  // cut short at the end: read past the text
      {"[1, 1e400]", 1, 5, "number too large for a double"},
      {"\n -1e400", 2, 2, "number too large for a double"},
      {"[1000e306]", 1, 2, "number too large for a double"},
      {"[0, 0e400]", 1, 5, "number written with a power of ten beyond 308 is not supported"},
      {"{\"id\": 1, \"x\": {\"id\": 2}, \"id\": 3}", 1, 27, "duplicate member name \"id\""},
      {"[tru]", 1, 2, "invalid literal, expected true, false or null"},
      {"[-]", 1, 3, "unexpected character ']', expected a digit after '-'"},
      {"[1.]", 1, 4, "unexpected character ']', expected a digit after the decimal point"},
      {"{\"a\" 1}", 1, 6, "unexpected character '1', expected ':'"},
      {"{1: 2}", 1, 2, "unexpected character '1', expected a member name in double quotes"},
      {"[1,", 1, 4, "unexpected end of text, expected a JSON value"},
      {std::string("[1]\0", 4), 1, 4, "text after the JSON value"},
      {std::string("[1\0]", 4), 1, 3, "unexpected byte 0x00, expected ',' or ']'"},
      {std::string("[\"a\0\"]", 6), 1, 4, "control character in string"},
      {"\xEF\xBB\xBF{}", 1, 1, "unexpected byte 0xef, expected a JSON value"},
  };
  for (const auto& c : cases) {
    Value v;
    host::JsonTextError error;
    EXPECT_FALSE(host::parse_json(c.text, v, error)) << c.text;
    EXPECT_EQ(error.reason, c.reason) << c.text;
    EXPECT_EQ(error.line, c.line) << c.text;
    EXPECT_EQ(error.column, c.column) << c.text;
  }
}

TEST(ParseJson, AllowsNestingTo512LevelsAndRefusesTheNextAtItsBracket) {
  std::string ok;
  for (int i = 0; i < 511; ++i) ok += i % 2 ? "{\"k\":" : "[";
  ok += "[]";
  for (int i = 510; i >= 0; --i) ok += i % 2 ? "}" : "]";
  Value v;
  host::JsonTextError error;
  EXPECT_TRUE(host::parse_json(ok, v, error)) << error.message();

  const std::string too_deep = std::string(513, '[') + std::string(513, ']');
  ASSERT_FALSE(host::parse_json(too_deep, v, error));
  EXPECT_EQ(error.message(), "line 1, column 513: nesting deeper than 512");
}

}  // namespace
