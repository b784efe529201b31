// Fuzzes the simulated game's side of the game link: any request line against the built-in island on the
// manual clock gets one compact JSON object with "ok" back.
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>
#include <string_view>

#include "game/link_ops.h"
#include "json_text/json_text.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static std::unique_ptr<game::GameWorld> world = [] {
    std::string error;
    auto made = game::GameWorld::island(game::Clock::Manual, error);
    if (!made) std::abort();
    return made;
  }();
  static const game::LinkProtocol protocol(*world);
  const std::string_view line(reinterpret_cast<const char*>(data), size);
  const std::string answer = protocol.answer(line);
  mods::json::Value parsed;
  json_text::JsonTextError error;
  if (!json_text::parse_json(answer, parsed, error) || !parsed.get("ok").is_bool()) std::abort();
  return 0;
}
