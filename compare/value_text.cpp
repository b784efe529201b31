#include "compare/value_text.h"

#include "json_text/json_text.h"
#include "json_text/point_value.h"

namespace host::compare {

using json_text::is_point;
using mods::json::Value;

std::string value_text(const Value& value) {
  std::string text, error;
  if (is_point(value) && value.members.size() == 3) {
    text.append("(").append(value_text(value.get("x"))).append(", ").append(value_text(value.get("y")));
    return text.append(", ").append(value_text(value.get("z"))).append(")");
  }
  if (!json_text::print_json(value, json_text::JsonLayout::Compact, text, error)) return error;
  return text;
}

std::string id_label(const std::string& id) {
  bool plain =
      !id.empty() && id.front() != ' ' && id.back() != ' ' && id.find(": ") == std::string::npos && id.front() != '"';
  for (const char c : id) plain = plain && static_cast<unsigned char>(c) >= 0x20 && c != 0x7f;
  return plain ? id : value_text(Value::of(id));
}

}  // namespace host::compare
