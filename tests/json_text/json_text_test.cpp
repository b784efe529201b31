// parse_json and print_json: what parsing builds, the exact double of every number, where and why text is
// refused; number and string forms, the two layouts, refusals that name where, and round trips.
#include "json_text/json_text.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <iterator>
#include <limits>
#include <string>
#include <tuple>
#include <vector>

namespace {

using mods::json::Value;

Value parsed(const std::string& text) {
  Value v;
  json_text::JsonTextError error;
  EXPECT_TRUE(json_text::parse_json(text, v, error)) << text << ": " << error.message();
  return v;
}

std::string printed(const Value& v, json_text::JsonLayout layout = json_text::JsonLayout::Compact) {
  std::string out, error;
  EXPECT_TRUE(json_text::print_json(v, layout, out, error)) << error;
  return out;
}

TEST(ParseJson, BuildsNestedValuesWithEveryMemberInPlace) {
  EXPECT_EQ(printed(parsed(R"( {"z": [1, [true, null], {"k": "s"}], "a": {"b": {}, "c": []}, "m": false} )")),
            R"({"a":{"b":{},"c":[]},"m":false,"z":[1,[true,null],{"k":"s"}]})");
}

TEST(ParseJson, KeepsTheExactDoubleOfEveryNumber) {
  // Halfway 2^53 + 1 rounds to even; 2.4703282292062328e-324 is just above half the smallest denormal.
  const struct {
    const char* text;
    double expected;
    // clang-format off
  } cases[] = {
      {.text = "0.1", .expected = 0.1},
      {.text = "1e-7", .expected = 1e-7},
      {.text = "-88.25", .expected = -88.25},
      {.text = "-0.0", .expected = -0.0},
      {.text = "123456789012345", .expected = 123456789012345.0},
      {.text = "0.12345678901234", .expected = 0.12345678901234},
      {.text = "0.00000000000001", .expected = 1e-14},
      {.text = "8.333333333333333", .expected = 8.333333333333333},
      {.text = "1234567890123456.7", .expected = 1234567890123456.7},
      {.text = "0.30000000000000004", .expected = 0.30000000000000004},
      {.text = "9007199254740993", .expected = 9007199254740992.0},
      {.text = "1.7976931348623157e308", .expected = 1.7976931348623157e308},
      {.text = "5e-324", .expected = 5e-324},
      {.text = "2.4703282292062328e-324", .expected = 5e-324},
      {.text = "2.4703282292062327e-324", .expected = 0.0},
      {.text = "1e-400", .expected = 0.0},
      {.text = "-1e-400", .expected = -0.0},
      {.text = "-0", .expected = -0.0},
      {.text = "123456789012345678901234567890", .expected = 1.2345678901234568e29},
  };
  // clang-format on
  for (const auto& c : cases) {
    const Value v = parsed(c.text);
    EXPECT_TRUE(v.is_number() && std::memcmp(&v.number, &c.expected, sizeof(double)) == 0)
        << c.text << " read as " << v.number << ", sign " << std::signbit(v.number);
  }
}

TEST(ParseJson, DecodesEscapesIntoUtf8) {
  // A surrogate pair becomes one 4-byte character.
  const struct {
    const char* text;
    std::string expected;
    // clang-format off
  } cases[] = {
      {.text = R"("\"\\\/\b\f\n\r\t")", .expected = "\"\\/\b\f\n\r\t"},
      {.text = R"("\u0041\u00e9\u20AC")", .expected = "A\xC3\xA9\xE2\x82\xAC"},
      {.text = R"("\uD83D\uDE00")", .expected = "\xF0\x9F\x98\x80"},
      {.text = R"("a\u0000b")", .expected = std::string("a\0b", 3)},
      {.text = "\"caf\xC3\xA9 \xF0\x9F\x98\x80\"", .expected = "caf\xC3\xA9 \xF0\x9F\x98\x80"},
  };
  // clang-format on
  for (const auto& c : cases) EXPECT_EQ(parsed(c.text).str, c.expected) << c.text;
}

TEST(ParseJson, RefusesBadTextNamingLineColumnAndReason) {
  // The utf-8 rows: an overlong '/', a surrogate written in UTF-8, beyond U+10FFFF, cut short at the end.
  const struct {
    std::string text;
    std::size_t line, column;
    const char* reason;
    // clang-format off
  } cases[] = {
      {.text = "", .line = 1, .column = 1, .reason = "empty text"},
      {.text = "  \n ", .line = 2, .column = 2, .reason = "empty text"},
      {.text = "[1] 2", .line = 1, .column = 5, .reason = "text after the JSON value"},
      {.text = "[1, x]", .line = 1, .column = 5, .reason = "unexpected character 'x', expected a JSON value"},
      {.text = "{\n  \"id\": 1\n  \"actor\": 2\n}", .line = 3, .column = 3, .reason = "unexpected character '\"', expected ',' or '}'"},
      {.text = "[\"abc", .line = 1, .column = 6, .reason = "unterminated string"},
      {.text = "[\"a\tb\"]", .line = 1, .column = 4, .reason = "control character in string"},
      {.text = "[\"a\\qb\"]", .line = 1, .column = 4, .reason = "invalid escape '\\q'"},
      {.text = "[\"ab\\uDC00\"]", .line = 1, .column = 5, .reason = "lone surrogate in \\u escape"},
      {.text = "[\"\\u12G4\"]", .line = 1, .column = 3, .reason = "invalid \\u escape, expected four hex digits"},
      {.text = "{\"k\\uDC00\": 1}", .line = 1, .column = 4, .reason = "lone surrogate in \\u escape"},
      {.text = "[\"\\uD800x\"]", .line = 1, .column = 3, .reason = "lone surrogate in \\u escape"},
      {.text = "[\"\xC0\xAF\"]", .line = 1, .column = 3, .reason = "invalid utf-8 in string"},
      {.text = "[\"\xED\xA0\x80\"]", .line = 1, .column = 3, .reason = "invalid utf-8 in string"},
      {.text = "[\"\xF5\x80\x80\x80\"]", .line = 1, .column = 3, .reason = "invalid utf-8 in string"},
      {.text = "\"\xF0\x9F", .line = 1, .column = 2, .reason = "invalid utf-8 in string"},
      {.text = "[1, 1e400]", .line = 1, .column = 5, .reason = "number too large for a double"},
      {.text = "\n -1e400", .line = 2, .column = 2, .reason = "number too large for a double"},
      {.text = "[1000e306]", .line = 1, .column = 2, .reason = "number too large for a double"},
      // A finite zero, refused by a limit of the underlying reader (it judges "too large" from the digits
      // seen so far): pinned so that the refusal stays explicit and never becomes a changed value.
      {.text = "[0, 0e400]", .line = 1, .column = 5, .reason = "number written with a power of ten beyond 308 is not supported"},
      {.text = "{\"id\": 1, \"x\": {\"id\": 2}, \"id\": 3}", .line = 1, .column = 27, .reason = "duplicate member name \"id\""},
      {.text = "[tru]", .line = 1, .column = 2, .reason = "invalid literal, expected true, false or null"},
      {.text = "[-]", .line = 1, .column = 3, .reason = "unexpected character ']', expected a digit after '-'"},
      {.text = "[1.]", .line = 1, .column = 4, .reason = "unexpected character ']', expected a digit after the decimal point"},
      {.text = "{\"a\" 1}", .line = 1, .column = 6, .reason = "unexpected character '1', expected ':'"},
      {.text = "{1: 2}", .line = 1, .column = 2, .reason = "unexpected character '1', expected a member name in double quotes"},
      {.text = "[1,", .line = 1, .column = 4, .reason = "unexpected end of text, expected a JSON value"},
      {.text = std::string("[1]\0", 4), .line = 1, .column = 4, .reason = "text after the JSON value"},
      {.text = std::string("[1\0]", 4), .line = 1, .column = 3, .reason = "unexpected byte 0x00, expected ',' or ']'"},
      {.text = std::string("[\"a\0\"]", 6), .line = 1, .column = 4, .reason = "control character in string"},
      // A byte-order mark is not accepted: package files are plain UTF-8.
      {.text = "\xEF\xBB\xBF{}", .line = 1, .column = 1, .reason = "unexpected byte 0xef, expected a JSON value"},
  };
  // clang-format on
  for (const auto& c : cases) {
    Value v;
    json_text::JsonTextError error;
    EXPECT_FALSE(json_text::parse_json(c.text, v, error)) << c.text;
    EXPECT_EQ(std::tie(error.line, error.column, error.reason), std::tie(c.line, c.column, c.reason)) << c.text;
  }
}

TEST(ParseJson, AllowsNestingTo512LevelsAndRefusesTheNextAtItsBracket) {
  std::string ok;
  for (int i = 0; i < 511; ++i) ok += i % 2 ? "{\"k\":" : "[";
  ok += "[]";
  for (int i = 510; i >= 0; --i) ok += i % 2 ? "}" : "]";
  parsed(ok);
  Value v;
  json_text::JsonTextError error;
  ASSERT_FALSE(json_text::parse_json(std::string(513, '[') + std::string(513, ']'), v, error));
  EXPECT_EQ(error.message(), "line 1, column 513: nesting deeper than 512");
}

TEST(PrintJson, WritesIntegralNumbersPlainAndOthersInTheirShortestForm) {
  const struct {
    double n;
    const char* text;
    // clang-format off
  } cases[] = {
      {.n = 60, .text = "60"},
      {.n = -3, .text = "-3"},
      {.n = 0, .text = "0"},
      {.n = -0.0, .text = "-0"},
      {.n = 1234.5, .text = "1234.5"},
      {.n = -88.25, .text = "-88.25"},
      {.n = 0.1, .text = "0.1"},
      {.n = 1e-7, .text = "1e-07"},
      {.n = 1.0 / 3, .text = "0.3333333333333333"},
      {.n = 9007199254740991.0, .text = "9007199254740991"},
      {.n = 1e15, .text = "1000000000000000"},
      {.n = 1e300, .text = "1e+300"},
      {.n = 1.7976931348623157e308, .text = "1.7976931348623157e+308"},
      {.n = 5e-324, .text = "5e-324"},
  };
  // clang-format on
  for (const auto& c : cases) EXPECT_EQ(printed(Value::of(c.n)), c.text) << c.n;
}

TEST(PrintJson, EscapesOnlyWhatJsonRequires) {
  const struct {
    std::string s;
    const char* text;
    // clang-format off
  } cases[] = {
      {.s = "q\"b\\s/", .text = R"("q\"b\\s/")"},
      {.s = "\n\t\r\b\f", .text = R"("\n\t\r\b\f")"},
      {.s = std::string("\0\x01\x1f\x7f", 4), .text = "\"\\u0000\\u0001\\u001f\x7f\""},
      {.s = "caf\xC3\xA9 \xF0\x9F\x98\x80", .text = "\"caf\xC3\xA9 \xF0\x9F\x98\x80\""},
  };
  // clang-format on
  for (const auto& c : cases) EXPECT_EQ(printed(Value::of(c.s)), c.text);
}

TEST(PrintJson, LaysOutMembersInKeyOrderIndentedOrCompact) {
  const Value sample =
      parsed(R"({"on": true, "actors": [{"tags": [], "id": "mill_1", "path": {"points": [1.5], "pauses": {}}}]})");
  EXPECT_EQ(printed(sample, json_text::JsonLayout::Indented),
            "{\n"
            "  \"actors\": [\n"
            "    {\n"
            "      \"id\": \"mill_1\",\n"
            "      \"path\": {\n"
            "        \"pauses\": {},\n"
            "        \"points\": [\n"
            "          1.5\n"
            "        ]\n"
            "      },\n"
            "      \"tags\": []\n"
            "    }\n"
            "  ],\n"
            "  \"on\": true\n"
            "}\n");
  EXPECT_EQ(printed(sample), R"({"actors":[{"id":"mill_1","path":{"pauses":{},"points":[1.5]},"tags":[]}],"on":true})");
  EXPECT_EQ(printed(Value::of(7.0), json_text::JsonLayout::Indented), "7\n");
}

TEST(PrintJson, RefusesWhatJsonCannotCarryNamingWhere) {
  const double inf = std::numeric_limits<double>::infinity();
  Value nan_x = parsed(R"({"actors": [{}, {"position": {"x": 0}}]})");
  Value odd_key = parsed(R"({"a b": {"c": [1, 0]}})");
  Value bad_text;
  nan_x["actors"].items[1]["position"]["x"] = Value::of(std::nan(""));
  odd_key["a b"]["c"].items[1] = Value::of(-inf);
  bad_text["names"]["x"] = Value::of("\xC3(");
  const struct {
    Value v;
    const char* error;
    // clang-format off
  } cases[] = {
      {.v = nan_x, .error = "a number that is not finite at actors[1].position.x cannot be written"},
      {.v = odd_key, .error = "a number that is not finite at [\"a b\"].c[1] cannot be written"},
      {.v = Value::of(inf), .error = "a number that is not finite at the top level cannot be written"},
      {.v = bad_text, .error = "a string that is not valid utf-8 at names.x cannot be written"},
  };
  // clang-format on
  for (const auto& c : cases) {
    for (auto layout : {json_text::JsonLayout::Compact, json_text::JsonLayout::Indented}) {
      std::string out, error;
      EXPECT_TRUE(!json_text::print_json(c.v, layout, out, error) && error == c.error) << error;
    }
    EXPECT_EQ(json_text::compact(c.v), std::string("(unprintable: ") + c.error + ")");
  }
  EXPECT_EQ(json_text::compact(parsed(R"({"a": [1, "b"]})")), R"({"a":[1,"b"]})");
}

// Every accepted conformance file round-trips too; these are the doubles hardest to print exactly.
TEST(JsonRoundTrip, ReadsBackEveryNumberItPrintsExactly) {
  const Value numbers = parsed("[9007199254740993, 1.7976931348623157e308, 5e-324, 1e21, 123456.789, 2.5e-300]");
  for (auto layout : {json_text::JsonLayout::Compact, json_text::JsonLayout::Indented})
    EXPECT_EQ(parsed(printed(numbers, layout)), numbers) << printed(numbers, layout);
}

// Large documents come back whole and in order: many actors (each in memory of its own windows), an array
// that fills the parser's element stack on its own followed by another array, one deep inside another,
// and a root array.
TEST(JsonRoundTrip, ReadsBackLargeDocumentsWhole) {
  constexpr int kElements = 5'000;
  Value actors = Value::array();
  Value numbers = Value::array();
  for (int i = 0; i < kElements; ++i) {
    Value actor = Value::object();
    actor["id"] = Value::of("villager_with_a_long_name_" + std::to_string(i));
    actor["path"]["points"].items = {Value::of(i * 0.25), Value::of("p"), Value::array()};
    actors.items.push_back(std::move(actor));
    numbers.items.push_back(Value::of(i - 0.5));
  }
  Value package = Value::object();
  package["actors"] = std::move(actors);
  package["zones"].items = {Value::of(1.0), Value::of(2.0)};
  Value nested = Value::array();
  nested.items.push_back(Value::of(true));
  nested.items.push_back(numbers);
  for (const Value* document : {&package, &nested, &numbers}) {
    const std::string text = printed(*document);
    EXPECT_TRUE(parsed(text) == *document) << text.substr(0, 80);
  }
}

// The index of a root-level array: each range holds exactly the element's nested print, and the whole is
// print_json's text; documents without such an array index nothing. Reading the text back finds the
// same ranges for the elements that are objects (all of them, or the index is shorter than the array).
TEST(PrintJsonIndexed, FindsEachElementOfTheNamedArrayAsPrintedTwoLevelsDeep) {
  struct Case {
    const char* document;
    std::size_t elements;
    std::size_t objects;
  };
  // clang-format off
  const Case cases[] = {
      {.document = R"({"name": "m", "actors": [{"id": "a", "path": {"points": [{"x": 1}]}}, {}]})", .elements = 2, .objects = 2},
      {.document = R"({"actors": [{"id": "a"}, 7, [], {"id": "b"}]})", .elements = 4, .objects = 2},
      {.document = R"({"actors": [{"id": "\u00e9\n"}], "zone": {"actors": [{}]}})", .elements = 1, .objects = 1},
      {.document = R"({"actors": []})", .elements = 0, .objects = 0},
      {.document = R"({"actors": {"id": "a"}})", .elements = 0, .objects = 0},
      {.document = R"([{"actors": [{}]}])", .elements = 0, .objects = 0},
  };
  // clang-format on
  for (const Case& c : cases) {
    const Value document = parsed(c.document);
    std::string out, error;
    std::vector<json_text::TextRange> ranges;
    ASSERT_TRUE(json_text::print_json_indexed(document, "actors", out, ranges, error)) << error;
    EXPECT_EQ(out, printed(document, json_text::JsonLayout::Indented)) << c.document;
    ASSERT_EQ(ranges.size(), c.elements) << c.document;
    Value reread;
    json_text::JsonTextError parse_error;
    std::vector<json_text::TextRange> found;
    ASSERT_TRUE(json_text::parse_json_indexed(out, reread, parse_error, "actors", found)) << parse_error.message();
    EXPECT_EQ(reread, document) << c.document;
    ASSERT_EQ(found.size(), c.objects) << c.document;
    for (std::size_t i = 0; i < found.size() && c.objects == c.elements; ++i) {
      EXPECT_EQ(found[i].begin, ranges[i].begin) << c.document << " #" << i;
      EXPECT_EQ(found[i].end, ranges[i].end) << c.document << " #" << i;
    }
    for (std::size_t i = 0; i < ranges.size(); ++i) {
      std::string nested;
      ASSERT_TRUE(json_text::print_json_nested(document.get("actors").items[i], 2, nested));
      EXPECT_EQ(out.substr(ranges[i].begin, ranges[i].end - ranges[i].begin), nested) << c.document << " #" << i;
    }
  }
}

// An outline keeps of each object of the root's "actors" only its "id" (the element itself otherwise), but
// reads every byte as parse_json does: a fault deep inside an actor it drops is still found, at its place.
TEST(ParseJsonOutline, KeepsEachActorsIdAndRefusesWhatParseJsonRefuses) {
  const char* const texts[] = {
      R"({"name": "m", "actors": [{"id": "a", "path": {"points": [{"x": 1}]}}, {"actor": "b"}, 7, {"id": [1]}]})",
      R"({"actors": [{"id": "a"}], "zone": {"actors": [{"id": "z", "x": 1}]}})",
      R"({"actors": {"id": "a", "x": 1}})",
      "{\"actors\": [{\"id\": \"a\", \"path\": {\"x\": 1, \"x\": 2}}]}",
      R"({"actors": [{"id": "a", "path": {"points": [{"x": 1e400}]}}]})",
      R"({"actors": [{"id": "a", "name": "\uDC00"}]})",
      R"({"actors": [{"id": "a", "path": {"points": [{"x": 1,}]}}]})",
      R"({"actors": [{"id": "a", "path": {}, "id": "b"}]})",
      R"({"actors": [{"path": [[{"a": null, "b": [true, false, "\u00e9"]}]], "id": {"k": [1, {"j": 2}]}}]})",
      R"({"actors": [{"id": "a", "p": {"\uDC00": 1}}]})",
      R"({"actors": [{"id": "a", "p": {"k": 1}, "q": {"k": 2}}]})",
  };
  std::string many_names = R"({"actors": [{"id": "a", "p": {)";
  for (int i = 0; i < 40; ++i) many_names += "\"n" + std::to_string(i) + "\": " + std::to_string(i) + ", ";
  const std::string deep =
      std::string(R"({"actors": [{"id": "a", "p": )") + std::string(600, '[') + std::string(600, ']') + "}]}";
  const std::string texts_built[] = {many_names + R"("n0": 1}}]})", many_names + R"("m": 1}}]})", deep};
  std::vector<std::string> all(std::begin(texts), std::end(texts));
  all.insert(all.end(), std::begin(texts_built), std::end(texts_built));
  for (const std::string& text : all) {
    Value whole, outline;
    json_text::JsonTextError whole_error, outline_error;
    std::vector<json_text::TextRange> whole_ranges, outline_ranges;
    const bool parsed = json_text::parse_json_indexed(text, whole, whole_error, "actors", whole_ranges);
    ASSERT_EQ(json_text::parse_json_outline(text, outline, outline_error, "actors", "id", outline_ranges), parsed)
        << text;
    if (!parsed) {
      EXPECT_EQ(outline_error.message(), whole_error.message()) << text;
      continue;
    }
    for (Value& actor : whole.members["actors"].items) {
      if (actor.is_object()) std::erase_if(actor.members, [](const auto& member) { return member.first != "id"; });
    }
    EXPECT_EQ(outline, whole) << text;
    ASSERT_EQ(outline_ranges.size(), whole_ranges.size()) << text;
    for (std::size_t i = 0; i < outline_ranges.size(); ++i) {
      EXPECT_EQ(outline_ranges[i].begin, whole_ranges[i].begin) << text << " #" << i;
      EXPECT_EQ(outline_ranges[i].end, whole_ranges[i].end) << text << " #" << i;
    }
  }
}

}  // namespace
