#include "tests/support/builders.h"

#include <utility>

namespace support {

using mods::json::Value;

Value num(double n) { return Value::of(n); }
Value str(const std::string& s) { return Value::of(s); }

Value arr(std::vector<Value> items) {
  Value value = Value::array();
  value.items = std::move(items);
  return value;
}

Value obj(std::vector<std::pair<std::string, Value>> members) {
  Value value = Value::object();
  for (auto& [key, member] : members) value.members[key] = std::move(member);
  return value;
}

Value point(double x, double y, double z) { return obj({{"x", num(x)}, {"y", num(y)}, {"z", num(z)}}); }

}  // namespace support

namespace mods::json {

void PrintTo(const Value& value, std::ostream* out) {
  const char* separator = "";
  switch (value.kind) {
    case Value::Kind::Null: *out << "null"; return;
    case Value::Kind::Bool: *out << (value.boolean ? "true" : "false"); return;
    case Value::Kind::Number: *out << value.number; return;
    case Value::Kind::String: *out << '"' << value.str << '"'; return;
    case Value::Kind::Array:
      *out << '[';
      for (const Value& item : value.items) *out << std::exchange(separator, ","), PrintTo(item, out);
      *out << ']';
      return;
    case Value::Kind::Object:
      *out << '{';
      for (const auto& [key, member] : value.members) {
        *out << std::exchange(separator, ",") << '"' << key << "\":";
        PrintTo(member, out);
      }
      *out << '}';
      return;
  }
}

}  // namespace mods::json
