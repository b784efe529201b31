#include "json/value.h"

#include <gtest/gtest.h>

namespace {

using mods::json::Value;

TEST(JsonValue, EveryMissingReadYieldsTheOneSharedNullWithoutInserting) {
  Value object = Value::object();
  object["present"] = Value::of(1.0);
  const Value* shared = &Value().get("a");
  for (const Value& input : {Value(), Value::of(true), Value::of(2.0), Value::of("text"), Value::array(), object}) {
    EXPECT_EQ(&input.get("absent"), shared);
  }
  EXPECT_TRUE(shared->is_null());
  EXPECT_EQ(object.members.size(), 1u);
}

TEST(JsonValue, StringAnswersTheTextOnlyForStrings) {
  EXPECT_EQ(Value::of("").string("fallback"), "");
  EXPECT_EQ(Value::of("gate_1").string("fallback"), "gate_1");
  for (const Value& other : {Value(), Value::of(false), Value::of(3.0), Value::array(), Value::object()}) {
    EXPECT_EQ(other.string("fallback"), "fallback");
  }
}

TEST(JsonValue, WritingAccessMakesAnObjectAndKeepsWhatWasThere) {
  Value text = Value::of("old");
  text["a"] = Value::of(5.0);
  EXPECT_TRUE(text.is_object());
  EXPECT_EQ(text.str, "old");
  EXPECT_EQ(text["a"].number, 5.0) << "an existing member is answered unchanged";
  EXPECT_EQ(text.members.size(), 1u);
  text.kind = Value::Kind::Array;
  EXPECT_EQ(text.get("a").number, 5.0) << "get looks at members whatever the kind";
}

}  // namespace
