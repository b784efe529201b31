#include "residents/walkers.h"

#include <gtest/gtest.h>

#include <set>

#include "residents/resident_types.h"
#include "tests/support/builders.h"

namespace {

using mods::json::Value;
using namespace support;  // the terse value builders and the fixture
namespace types = story_resident_types;

TEST(ResidentTypes, EveryCodeFindsItsOwnRowAndNothingElseMatches) {
  // Each row found by its own code also means no two codes find the same row.
  for (const types::Type& type : types::kTypes) EXPECT_EQ(types::find(type.code), &type) << type.code;
  EXPECT_EQ(types::find("uo2"), &types::kTypes[0]);
  EXPECT_EQ(types::find("ym1")->index, 19);
  for (const char* miss : {"UO2", "uo", "uo2 ", "", "xx9", "uo2x"}) EXPECT_EQ(types::find(miss), nullptr) << miss;
}

TEST(Walkers, EveryWalkerRowMatchesTheCatalogueRowOfItsNumber) {
  std::set<unsigned> numbers;
  for (const types::Walker& walker : types::kWalkers) {
    const types::Type* type = types::find(walker.code);
    ASSERT_NE(type, nullptr) << walker.code;
    EXPECT_EQ(type->index, walker.index);
    numbers.insert(walker.index);
  }
  EXPECT_EQ(numbers.size(), 15u);
  EXPECT_EQ(numbers.count(11), 0u);
  EXPECT_EQ(numbers.count(19), 0u);
}

Value resident_of(Value type) {
  return obj({{"actor", str("resident")}, {"parameters", obj({{"resident", std::move(type)}})}});
}

TEST(Walkers, RefusalAndPaceFollowTheActorsClassAndType) {
  const std::string kSeated = "this villager is seated and does not walk";
  const std::string kOthers = "only residents, Bokoblins, Moblins and the mod's own models walk routes";
  struct Case {
    const char* what;
    Value actor;
    std::string refusal;
    double pace;
  };
  // The pace is read from "parameters" -> "resident" alone, whatever the actor's class, so enemies and
  // models without a type get the default type's 63. A number is understood only when it is the default
  // type's own number (9); any other number, or a number spelled as text, has no pace (0). A patroller is
  // told by an exact "actor" and a null or absent "kind": an empty or false "kind" makes it no walker at all.
  // clang-format off
  const Case cases[] = {
      {.what = "seated villager", .actor = resident_of(str("ym1")), .refusal = kSeated, .pace = 0},
      {.what = "pier woman", .actor = resident_of(str("ub3")), .refusal = "", .pace = 36},
      {.what = "young man", .actor = resident_of(str("um2")), .refusal = "", .pace = 72},
      {.what = "bar worker", .actor = resident_of(str("uw1")), .refusal = "", .pace = 34},
      {.what = "resident without parameters", .actor = obj({{"actor", str("resident")}}), .refusal = "", .pace = 63},
      {.what = "null resident type", .actor = resident_of(Value()), .refusal = "", .pace = 63},
      {.what = "type number 9", .actor = resident_of(num(9)), .refusal = "", .pace = 63},
      {.what = "type number 3", .actor = resident_of(num(3)), .refusal = "", .pace = 0},
      {.what = "type spelled as text 9", .actor = resident_of(str("9")), .refusal = "", .pace = 0},
      {.what = "capital code", .actor = resident_of(str("UO1")), .refusal = "", .pace = 0},
      {.what = "unknown code", .actor = resident_of(str("zz1")), .refusal = "", .pace = 0},
      {.what = "bokoblin", .actor = obj({{"actor", str("bokoblin")}}), .refusal = "", .pace = 63},
      {.what = "moblin with null kind", .actor = obj({{"actor", str("moblin")}, {"kind", Value()}}), .refusal = "", .pace = 63},
      {.what = "bokoblin model", .actor = obj({{"actor", str("bokoblin")}, {"kind", str("mod")}}), .refusal = "", .pace = 63},
      {.what = "bokoblin with empty kind", .actor = obj({{"actor", str("bokoblin")}, {"kind", str("")}}), .refusal = kOthers, .pace = 63},
      {.what = "bokoblin with false kind",
       .actor = obj({{"actor", str("bokoblin")}, {"kind", Value::of(false)}}),
       .refusal = kOthers,
       .pace = 63},
      {.what = "capitalised Bokoblin", .actor = obj({{"actor", str("Bokoblin")}}), .refusal = kOthers, .pace = 63},
      {.what = "resident with kind mod",
       .actor = obj({{"actor", str("resident")},
                     {"kind", str("mod")},
                     {"parameters", obj({{"resident", str("ym1")}})}}),
       .refusal = kSeated,
       .pace = 0},
      {.what = "patroller typed as seated",
       .actor = obj({{"actor", str("moblin")}, {"parameters", obj({{"resident", str("ym1")}})}}),
       .refusal = kSeated,
       .pace = 0},
      {.what = "model", .actor = obj({{"actor", str("windmill_blade")}, {"kind", str("mod")}}), .refusal = "", .pace = 63},
      {.what = "no actor and no kind", .actor = obj({}), .refusal = kOthers, .pace = 63},
      {.what = "null actor value", .actor = Value(), .refusal = kOthers, .pace = 63},
  };
  // clang-format on
  for (const Case& c : cases) {
    EXPECT_EQ(editor::route_refusal(c.actor), c.refusal) << c.what;
    EXPECT_EQ(editor::resident_pace(c.actor), c.pace) << c.what;
  }
}

}  // namespace
