// The shared conformance files: every y_ file is accepted (except the two with duplicate member names,
// which this parser refuses by design), every n_ file refused with a position, and every i_ file answered
// without a silent change to what it says.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "json_text/json_text.h"

namespace {

TEST(JsonConformance, AcceptsValidRefusesInvalidAndNeverChangesValuesSilently) {
  const std::filesystem::path dir = PATHWRIGHT_JSON_CONFORMANCE_DIR;
  ASSERT_TRUE(std::filesystem::is_directory(dir)) << "conformance files missing at " << dir;
  std::size_t files = 0;
  for (const auto& entry : std::filesystem::directory_iterator(dir)) {
    const std::string name = entry.path().filename().string();
    if (entry.path().extension() != ".json") continue;
    ++files;
    std::ifstream in(entry.path(), std::ios::binary);
    const std::string text{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
    mods::json::Value v, back;
    json_text::JsonTextError error;
    const bool accepted = json_text::parse_json(text, v, error);
    // y_ files must be accepted and n_ files refused; i_ files may go either way. Two members of one name
    // are valid JSON elsewhere, but ambiguous in a package, so the y_ files with them are refused.
    const bool valid = name[0] == 'y' && name.find("_duplicated_key") == std::string::npos;
    EXPECT_TRUE(name[0] == 'i' || accepted == valid) << name << ": " << error.message();
    if (!accepted) {
      EXPECT_TRUE(error.line >= 1 && error.column >= 1 && !error.reason.empty()) << name;
      continue;
    }
    // Whatever was accepted holds only finite numbers and valid UTF-8, so it prints and reads back equal.
    std::string printed, print_error;
    ASSERT_TRUE(json_text::print_json(v, json_text::JsonLayout::Compact, printed, print_error))
        << name << ": " << print_error;
    ASSERT_TRUE(json_text::parse_json(printed, back, error)) << name << ": " << error.message();
    EXPECT_EQ(back, v) << name;
  }
  EXPECT_GT(files, 300u);
}

}  // namespace
