#include "residents/walkers.h"

#include <gtest/gtest.h>

#include <set>

#include "residents/resident_types.h"
#include "tests/support/memory_session.h"

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
  struct Case { const char* what; Value actor; std::string refusal; double pace; };
  const Case cases[] = {
      {"seated villager", resident_of(str("ym1")), kSeated, 0}, {"pier woman", resident_of(str("ub3")), "", 36},
      {"young man", resident_of(str("um2")), "", 72},           {"bar worker", resident_of(str("uw1")), "", 34},
      {"resident without parameters", obj({{"actor", str("resident")}}), "", 63},
      {"null resident type", resident_of(Value()), "", 63},     {"type number 9", resident_of(num(9)), "", 63},
      {"type number 3", resident_of(num(3)), "", 0},            {"type spelled as text 9", resident_of(str("9")), "", 0},
      {"capital code", resident_of(str("UO1")), "", 0},         {"unknown code", resident_of(str("zz1")), "", 0},
      {"bokoblin", obj({{"actor", str("bokoblin")}}), "", 63},
      {"moblin with null kind", obj({{"actor", str("moblin")}, {"kind", Value()}}), "", 63},
      {"bokoblin model", obj({{"actor", str("bokoblin")}, {"kind", str("mod")}}), "", 63},
      {"bokoblin with empty kind", obj({{"actor", str("bokoblin")}, {"kind", str("")}}), kOthers, 63},
      {"bokoblin with false kind", obj({{"actor", str("bokoblin")}, {"kind", Value::of(false)}}), kOthers, 63},
      {"capitalised Bokoblin", obj({{"actor", str("Bokoblin")}}), kOthers, 63},
      {"resident with kind mod", obj({{"actor", str("resident")}, {"kind", str("mod")},
                                      {"parameters", obj({{"resident", str("ym1")}})}}), kSeated, 0},
      {"patroller typed as seated", obj({{"actor", str("moblin")},
                                         {"parameters", obj({{"resident", str("ym1")}})}}), kSeated, 0},
      {"model", obj({{"actor", str("windmill_blade")}, {"kind", str("mod")}}), "", 63},
      {"no actor and no kind", obj({}), kOthers, 63}, {"null actor value", Value(), kOthers, 63},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(editor::route_refusal(c.actor), c.refusal) << c.what;
    EXPECT_EQ(editor::resident_pace(c.actor), c.pace) << c.what;
  }
}

}  // namespace
