#include "protocol/point_codec.h"

#include <gtest/gtest.h>

#include <string>

#include "json_text/json_text.h"
#include "tests/support/json_helpers.h"

namespace protocol {
namespace {

using mods::json::Value;
using story_notebook::WorldPoint;

using support::parsed;

// Each reader keeps its own range rule; a reader that took another's rule would flip a column here.
// `as_sent` is not asked of coordinates beyond any float, which it is never given (the game narrows
// what it sends).
TEST(PointCodec, EachReaderKeepsItsOwnRangeRule) {
  enum class AsSent { Reads, Refuses, NotAsked };
  struct Case {
    const char* point;
    bool narrowing, in_float_range;
    AsSent as_sent;
  };
  // clang-format off
  const Case cases[] = {
      {.point = R"({"x":1,"y":-2.5,"z":1e-40})", .narrowing = true, .in_float_range = true, .as_sent = AsSent::Reads},
      {.point = R"({"x":3.4028234e38,"y":0,"z":0})", .narrowing = true, .in_float_range = true, .as_sent = AsSent::Reads},
      // Above the largest float but below the halfway point to the next power of two: it narrows.
      {.point = R"({"x":3.4028235e38,"y":0,"z":0})", .narrowing = true, .in_float_range = false, .as_sent = AsSent::Reads},
      {.point = R"({"x":0,"y":0,"z":-3.5e38})", .narrowing = false, .in_float_range = false, .as_sent = AsSent::NotAsked},
      {.point = R"({"x":0,"y":"1","z":0})", .narrowing = false, .in_float_range = false, .as_sent = AsSent::Refuses},
      {.point = R"({"x":0,"z":0})", .narrowing = false, .in_float_range = false, .as_sent = AsSent::Refuses},
      {.point = R"([0,0,0])", .narrowing = false, .in_float_range = false, .as_sent = AsSent::Refuses},
  };
  // clang-format on
  for (const Case& c : cases) {
    const Value value = parsed(c.point);
    WorldPoint point;
    EXPECT_EQ(read_point_narrowing(value, point), c.narrowing) << c.point;
    EXPECT_EQ(read_point_in_float_range(value, point), c.in_float_range) << c.point;
    if (c.as_sent != AsSent::NotAsked) {
      EXPECT_EQ(read_point_as_sent(value, point), c.as_sent == AsSent::Reads) << c.point;
    }
  }
}

TEST(PointCodec, WritesTheFloatsShortestText) {
  const WorldPoint point{0.1f, -2.5f, 1e-40f};
  EXPECT_EQ(point_fields(point), R"("x":0.1,"y":-2.5,"z":1e-40)");
  std::string text, error;
  ASSERT_TRUE(json_text::print_json(point_value(point), json_text::JsonLayout::Compact, text, error)) << error;
  EXPECT_EQ(text, R"({"x":0.1,"y":-2.5,"z":1e-40})");
}

}  // namespace
}  // namespace protocol
