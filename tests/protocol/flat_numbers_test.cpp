#include "protocol/flat_numbers.h"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <random>
#include <string>
#include <vector>

#include "tests/support/seeded_random.h"

namespace protocol {
namespace {

TEST(FlatNumbers, ReadEveryDecimalAsTheNearestDoubleNarrowedToFloat) {
  std::mt19937 random = test_support::seeded_random();
  std::string text;  // every number written after a comma; the first comma becomes the bracket
  std::vector<float> written;
  for (int k = 0; k < 20000; ++k) {
    const float value = std::bit_cast<float>(static_cast<std::uint32_t>(random()));
    if (!std::isfinite(value)) continue;
    written.push_back(value);
    append_float(text += ',', value);
  }
  // Long and awkward decimals, checked against the C library's conversion.
  const char* awkward[] = {
      "0.1000000000000000055511151231257827",
      "123456789012345678901234567890",
      "-0.000000000000000000000000000000000000000000001",
      "1e-400",
      "0.30000001192092896",
      "16777217",
      "3.4028235e38",
      "1.17549435e-38",
  };
  for (const char* decimal : awkward) {
    (text += ',') += decimal;
    written.push_back(static_cast<float>(std::strtod(decimal, nullptr)));
  }
  text.front() = '[';
  text += ']';
  std::vector<float> read;
  std::string error;
  std::size_t pos = 0;
  ASSERT_TRUE(read_float_array(text, pos, read, error)) << error;
  EXPECT_EQ(pos, text.size());
  ASSERT_EQ(read.size(), written.size());
  for (std::size_t k = 0; k < read.size(); ++k)
    EXPECT_EQ(std::bit_cast<std::uint32_t>(read[k]), std::bit_cast<std::uint32_t>(written[k])) << "number " << k;
}

}  // namespace
}  // namespace protocol
