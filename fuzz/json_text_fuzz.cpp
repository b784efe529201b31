// Fuzzes the host's JSON text reader and printer: any bytes either parse or are refused with a place, and a
// parsed value prints in both layouts and reads back as the same value.
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "json_text/json_text.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::string_view text(reinterpret_cast<const char*>(data), size);
  mods::json::Value value;
  json_text::JsonTextError error;
  if (!json_text::parse_json(text, value, error)) return 0;
  for (json_text::JsonLayout layout : {json_text::JsonLayout::Compact, json_text::JsonLayout::Indented}) {
    std::string printed, print_error;
    if (!json_text::print_json(value, layout, printed, print_error)) std::abort();  // parsed text has no NaN
    mods::json::Value again;
    if (!json_text::parse_json(printed, again, error) || !(again == value)) std::abort();
  }
  return 0;
}
