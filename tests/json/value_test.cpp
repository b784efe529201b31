#include "json/value.h"

#include <gtest/gtest.h>

namespace {

using mods::json::Value;

TEST(JsonValue, EveryMissingReadYieldsTheOneSharedNull) {
  Value object = Value::object();
  object["present"] = Value::of(1.0);
  const Value* shared = &Value().get("a");
  const Value inputs[] = {Value(), Value::of(true), Value::of(2.0), Value::of("text"), Value::array(), object};
  for (const Value& input : inputs) {
    const Value& missing = input.get("absent");
    EXPECT_EQ(&missing, shared);
    EXPECT_EQ(missing.kind, Value::Kind::Null);
    EXPECT_EQ(missing.string(""), "");
  }
  EXPECT_EQ(object.members.size(), 1u) << "reading must never insert";
}

TEST(JsonValue, StringAnswersTheTextOnlyForStrings) {
  EXPECT_EQ(Value::of("").string("fallback"), "");
  EXPECT_EQ(Value::of("gate_1").string("fallback"), "gate_1");
  for (const Value& other : {Value(), Value::of(false), Value::of(3.0), Value::array(), Value::object()}) {
    EXPECT_EQ(other.string("fallback"), "fallback");
  }
}

TEST(JsonValue, WritingAccessMakesAnObjectAndKeepsWhatWasThere) {
  Value null_value;
  null_value["a"];
  EXPECT_EQ(null_value.kind, Value::Kind::Object);
  ASSERT_EQ(null_value.members.size(), 1u);
  EXPECT_TRUE(null_value.get("a").is_null());

  Value existing = Value::object();
  existing["a"] = Value::of(5.0);
  EXPECT_EQ(existing["a"].number, 5.0);
  EXPECT_EQ(existing.members.size(), 1u);

  Value text = Value::of("old");
  text["k"] = Value::of(1.0);
  EXPECT_EQ(text.kind, Value::Kind::Object);
  EXPECT_EQ(text.str, "old");

  existing.kind = Value::Kind::Array;
  EXPECT_EQ(existing.get("a").number, 5.0) << "get looks at members whatever the kind";
}

TEST(JsonValue, MoveEmptiesTheSourceButKeepsItsKindAndScalars) {
  Value source = Value::of("text");
  source.items.push_back(Value::of(1.0));
  source.members["m"] = Value::of(2.0);
  source.number = 7.0;
  Value target;
  target = std::move(source);
  EXPECT_EQ(target.str, "text");
  EXPECT_EQ(target.items.size(), 1u);
  EXPECT_TRUE(source.str.empty());
  EXPECT_TRUE(source.items.empty());
  EXPECT_TRUE(source.members.empty());
  EXPECT_EQ(source.kind, Value::Kind::String);
  EXPECT_EQ(source.number, 7.0);
}

TEST(JsonValue, CopiesAreDeepAndIndependent) {
  Value original = Value::array();
  original.items.push_back(Value::object());
  original.items[0]["x"] = Value::of(1.0);
  Value copy = original;
  copy.items[0]["x"] = Value::of(2.0);
  EXPECT_EQ(original.items[0].get("x").number, 1.0);
  EXPECT_FALSE(copy == original);
}

TEST(JsonValue, MembersIterateInByteOrder) {
  Value value;
  for (const char* key : {"ab", "a", "B"}) value[key] = Value();
  std::string order;
  for (const auto& [key, member] : value.members) order += key + " ";
  EXPECT_EQ(order, "B a ab ");
}

}  // namespace
