// The shared conformance files: every y_ file is accepted (except the two with duplicate member names,
// which this parser refuses by design), every n_ file refused with a position, and every i_ file answered
// without a silent change to what it says.
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <string>

#include <gtest/gtest.h>

#include "host/json_text/json_text.h"

namespace {

using mods::json::Value;

// Valid JSON elsewhere, but a package with two members of one name is ambiguous, so it is refused.
const std::set<std::string> kRefusedDuplicateNames = {"y_object_duplicated_key.json",
                                                      "y_object_duplicated_key_and_value.json"};

std::string read_file(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

TEST(JsonConformance, AcceptsValidRefusesInvalidAndNeverChangesValuesSilently) {
  const std::filesystem::path dir = PATHWRIGHT_JSON_CONFORMANCE_DIR;
  ASSERT_TRUE(std::filesystem::is_directory(dir)) << "conformance files missing at " << dir;
  std::size_t files = 0;
  for (const auto& entry : std::filesystem::directory_iterator(dir)) {
    const std::string name = entry.path().filename().string();
    if (entry.path().extension() != ".json") continue;
    ++files;
    const std::string text = read_file(entry.path());
    Value v;
    host::JsonTextError error;
    const bool accepted = host::parse_json(text, v, error);
    if (name[0] == 'y' && !kRefusedDuplicateNames.count(name)) {
      EXPECT_TRUE(accepted) << name << ": " << error.message();
    } else if (name[0] == 'y' || name[0] == 'n') {
      EXPECT_FALSE(accepted) << name;
    }
    if (!accepted) {
      EXPECT_GE(error.line, 1u) << name;
      EXPECT_GE(error.column, 1u) << name;
      EXPECT_FALSE(error.reason.empty()) << name;
      continue;
    }
    // Whatever was accepted holds only finite numbers and valid UTF-8, so it prints and reads back equal.
    std::string printed;
    std::string print_error;
    ASSERT_TRUE(host::print_json(v, host::JsonLayout::Compact, printed, print_error)) << name << ": " << print_error;
    Value back;
    ASSERT_TRUE(host::parse_json(printed, back, error)) << name << ": " << error.message();
    EXPECT_EQ(back, v) << name;
  }
  EXPECT_GT(files, 300u);
}

}  // namespace
