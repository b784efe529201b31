// print_json: number and string forms, the two layouts, refusals that name where, and round trips.
#include <cmath>
#include <cstring>
#include <limits>
#include <string>

#include <gtest/gtest.h>

#include "host/json_text/json_text.h"

namespace {

using mods::json::Value;

std::string compact(const Value& v) {
  std::string out;
  std::string error;
  EXPECT_TRUE(host::print_json(v, host::JsonLayout::Compact, out, error)) << error;
  return out;
}

TEST(PrintJson, WritesIntegralNumbersPlainAndOthersInTheirShortestForm) {
  const struct { double n; const char* text; } cases[] = {
      {60, "60"}, {-3, "-3"}, {0, "0"}, {-0.0, "-0"}, {1234.5, "1234.5"}, {-88.25, "-88.25"},
      {0.1, "0.1"}, {1e-7, "1e-07"}, {1.0 / 3, "0.3333333333333333"},
      {9007199254740991.0, "9007199254740991"}, {1e15, "1000000000000000"},
      {1e300, "1e+300"}, {1.7976931348623157e308, "1.7976931348623157e+308"}, {5e-324, "5e-324"},
  };
  for (const auto& c : cases) EXPECT_EQ(compact(Value::of(c.n)), c.text) << c.n;
}

TEST(PrintJson, EscapesOnlyWhatJsonRequires) {
  const struct { std::string s; const char* text; } cases[] = {
      {"plain", "\"plain\""},
      {"q\"b\\s/", R"("q\"b\\s/")"},
      {"\n\t\r\b\f", R"("\n\t\r\b\f")"},
      {std::string("\0\x01\x1f\x7f", 4), "\"\\u0000\\u0001\\u001f\x7f\""},
      {"caf\xC3\xA9 \xF0\x9F\x98\x80", "\"caf\xC3\xA9 \xF0\x9F\x98\x80\""},
  };
  for (const auto& c : cases) EXPECT_EQ(compact(Value::of(c.s)), c.text);
}

Value sample_package() {
  Value v;
  v["name"] = Value::of("mill mod");
  v["actors"] = Value::array();
  Value actor;
  actor["id"] = Value::of("mill_1");
  actor["speed"] = Value::of(60.0);
  actor["path"]["points"] = Value::array();
  actor["path"]["points"].items.push_back(Value::of(1.5));
  actor["path"]["pauses"] = Value::object();
  actor["tags"] = Value::array();
  v["actors"].items.push_back(actor);
  v["on"] = Value::of(true);
  v["none"] = Value();
  return v;
}

TEST(PrintJson, LaysOutMembersInKeyOrderIndentedOrCompact) {
  const char* indented =
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
      "      \"speed\": 60,\n"
      "      \"tags\": []\n"
      "    }\n"
      "  ],\n"
      "  \"name\": \"mill mod\",\n"
      "  \"none\": null,\n"
      "  \"on\": true\n"
      "}\n";
  std::string out;
  std::string error;
  ASSERT_TRUE(host::print_json(sample_package(), host::JsonLayout::Indented, out, error)) << error;
  EXPECT_EQ(out, indented);
  EXPECT_EQ(compact(sample_package()),
            R"({"actors":[{"id":"mill_1","path":{"pauses":{},"points":[1.5]},"speed":60,"tags":[]}],)"
            R"("name":"mill mod","none":null,"on":true})");
  ASSERT_TRUE(host::print_json(Value::of(7.0), host::JsonLayout::Indented, out, error));
  EXPECT_EQ(out, "7\n");
}

TEST(PrintJson, RefusesWhatJsonCannotCarryNamingWhere) {
  const double inf = std::numeric_limits<double>::infinity();
  Value nan_x = sample_package();
  nan_x["actors"].items.push_back(Value());
  nan_x["actors"].items[1]["position"]["x"] = Value::of(std::nan(""));
  Value odd_key;
  odd_key["a b"]["c"] = Value::array();
  odd_key["a b"]["c"].items = {Value::of(1.0), Value::of(-inf)};
  Value bad_text;
  bad_text["names"]["x"] = Value::of("\xC3(");
  const struct { Value v; const char* error; } cases[] = {
      {nan_x, "a number that is not finite at actors[1].position.x cannot be written"},
      {odd_key, "a number that is not finite at [\"a b\"].c[1] cannot be written"},
      {Value::of(inf), "a number that is not finite at the top level cannot be written"},
      {bad_text, "a string that is not valid utf-8 at names.x cannot be written"},
  };
  for (const auto& c : cases) {
    for (auto layout : {host::JsonLayout::Compact, host::JsonLayout::Indented}) {
      std::string out;
      std::string error;
      EXPECT_FALSE(host::print_json(c.v, layout, out, error));
      EXPECT_EQ(error, c.error);
    }
  }
}

TEST(JsonRoundTrip, ReadsBackWhatItPrintsAndReprintsItByteForByte) {
  Value numbers = Value::array();
  for (double n : {0.1, 1e-7, 9007199254740993.0, 1.7976931348623157e308, 5e-324, -0.0, 1e21, 123456.789, 2.5e-300})
    numbers.items.push_back(Value::of(n));
  Value text = sample_package();
  text["escapes"] = Value::of(std::string("\"\\\n\x01\xE2\x82\xAC", 7));
  for (const Value& original : {numbers, text}) {
    for (auto layout : {host::JsonLayout::Compact, host::JsonLayout::Indented}) {
      std::string printed;
      std::string error;
      ASSERT_TRUE(host::print_json(original, layout, printed, error)) << error;
      Value back;
      host::JsonTextError parse_error;
      ASSERT_TRUE(host::parse_json(printed, back, parse_error)) << parse_error.message() << "\n" << printed;
      EXPECT_EQ(back, original) << printed;
      std::string reprinted;
      ASSERT_TRUE(host::print_json(back, layout, reprinted, error));
      EXPECT_EQ(reprinted, printed);
    }
  }
  // Bit for bit, the sign of zero included.
  Value back;
  host::JsonTextError parse_error;
  ASSERT_TRUE(host::parse_json(compact(numbers), back, parse_error));
  for (std::size_t i = 0; i < numbers.items.size(); ++i) {
    EXPECT_EQ(std::memcmp(&back.items[i].number, &numbers.items[i].number, sizeof(double)), 0) << i;
  }
}

}  // namespace
