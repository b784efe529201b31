// JSON text for tests: a parse whose failure is a failed expectation naming the text, and the indented
// print (the compact one is json_text's). Header only, over json_text (a test that includes it links
// pathwright_json_text). Plain functions; any thread.
#ifndef PATHWRIGHT_TESTS_SUPPORT_JSON_HELPERS_H_
#define PATHWRIGHT_TESTS_SUPPORT_JSON_HELPERS_H_

#include <gtest/gtest.h>

#include <string>

#include "json/value.h"
#include "json_text/json_text.h"

namespace support {

inline mods::json::Value parsed(const std::string& text) {
  mods::json::Value value;
  json_text::JsonTextError error;
  EXPECT_TRUE(json_text::parse_json(text, value, error)) << error.message() << " in " << text;
  return value;
}

inline std::string printed(const mods::json::Value& value, json_text::JsonLayout layout) {
  std::string text, error;
  EXPECT_TRUE(json_text::print_json(value, layout, text, error)) << error;
  return text;
}

using json_text::compact;  // the one compact print
inline std::string indented(const mods::json::Value& value) { return printed(value, json_text::JsonLayout::Indented); }

}  // namespace support

#endif  // PATHWRIGHT_TESTS_SUPPORT_JSON_HELPERS_H_
