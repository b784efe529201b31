// Fuzzes the host's JSON text reader and printer: any bytes either parse or are refused with a place, and a
// parsed value prints in both layouts and reads back as the same value. An outline of the same bytes (each
// "actors" object down to its "id") is refused with the same message, or is the value so reduced.
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include "json_text/json_text.h"

namespace {

void check_outline(std::string_view text, bool parsed, const json_text::JsonTextError& error, mods::json::Value value) {
  mods::json::Value outline;
  json_text::JsonTextError outline_error;
  std::vector<json_text::TextRange> ranges;
  if (json_text::parse_json_outline(text, outline, outline_error, "actors", "id", ranges) != parsed) std::abort();
  if (!parsed) {
    if (outline_error.message() != error.message()) std::abort();
    return;
  }
  if (value.is_object() && value.get("actors").is_array()) {
    for (mods::json::Value& actor : value.members["actors"].items) {
      if (actor.is_object()) std::erase_if(actor.members, [](const auto& member) { return member.first != "id"; });
    }
  }
  if (!(outline == value)) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::string_view text(reinterpret_cast<const char*>(data), size);
  mods::json::Value value;
  json_text::JsonTextError error;
  const bool parsed = json_text::parse_json(text, value, error);
  check_outline(text, parsed, error, value);
  if (!parsed) return 0;
  for (json_text::JsonLayout layout : {json_text::JsonLayout::Compact, json_text::JsonLayout::Indented}) {
    std::string printed, print_error;
    if (!json_text::print_json(value, layout, printed, print_error)) std::abort();  // parsed text has no NaN
    mods::json::Value again;
    if (!json_text::parse_json(printed, again, error) || !(again == value)) std::abort();
  }
  return 0;
}
