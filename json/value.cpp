#include "json/value.h"

namespace mods::json {

Value Value::of(bool b) {
  Value v;
  v.kind = Kind::Bool;
  v.boolean = b;
  return v;
}

Value Value::of(double n) {
  Value v;
  v.kind = Kind::Number;
  v.number = n;
  return v;
}

Value Value::of(const std::string& s) {
  Value v;
  v.kind = Kind::String;
  v.str = s;
  return v;
}

Value Value::array() {
  Value v;
  v.kind = Kind::Array;
  return v;
}

Value Value::object() {
  Value v;
  v.kind = Kind::Object;
  return v;
}

const Value& Value::get(const std::string& key) const {
  // The one null every missing member reads as; built on first use, under the one-time guard.
  static const Value empty;
  auto it = members.find(key);
  if (it == members.end()) return empty;
  return it->second;
}

std::string Value::string(const std::string& fallback) const { return kind == Kind::String ? str : fallback; }

Value& Value::operator[](const std::string& key) {
  kind = Kind::Object;
  auto it = members.lower_bound(key);
  if (it == members.end() || it->first != key) it = members.emplace_hint(it, key, Value());
  return it->second;
}

bool operator==(const Value& a, const Value& b) {
  if (a.kind != b.kind) return false;
  switch (a.kind) {
    case Value::Kind::Null: return true;
    case Value::Kind::Bool: return a.boolean == b.boolean;
    case Value::Kind::Number: return a.number == b.number;
    case Value::Kind::String: return a.str == b.str;
    case Value::Kind::Array: return a.items == b.items;
    case Value::Kind::Object: return a.members == b.members;
  }
  return false;
}

}  // namespace mods::json
