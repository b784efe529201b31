// Fuzzes bridge-check's readers of a bridge's answers: the bytes are parsed as an answer line, then read
// as every answer the kit reads. The first byte picks the probe count; whatever a reader accepts must
// agree with what it promises (one height per probe, the sent route's points, bounds low to high).
#include <cstdint>
#include <cstdlib>
#include <string_view>
#include <vector>

#include "bridge_check/answer_checks.h"
#include "json_text/json_text.h"

namespace {
using namespace host::bridge_check;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  const std::size_t count = data[0] % 8;
  mods::json::Value answer;
  json_text::JsonTextError parse_error;
  if (!json_text::parse_json(std::string_view(reinterpret_cast<const char*>(data) + 1, size - 1), answer,
                             parse_error)) {
    return 0;
  }
  std::string error;
  Greeting greeting;
  if (read_greeting(answer, greeting, error) && greeting.has_bounds &&
      (greeting.low.x > greeting.high.x || greeting.low.y > greeting.high.y || greeting.low.z > greeting.high.z)) {
    std::abort();
  }
  std::vector<float> heights;
  std::vector<bool> found;
  if (read_heights(answer, count, heights, found, error) && (heights.size() != count || found.size() != count)) {
    std::abort();
  }
  const SentRoute route{.actor = "gate_1", .points = {{0, 100, 0}, {400, 100, 0}}};
  WorldPoint position;
  double time = 0;
  read_live_actors(answer, {"gate_1"}, route, position, time, error);
  std::vector<WorldPoint> points;
  if (read_live_route(answer.get("route"), route, points, position, error) && points.size() != route.points.size()) {
    std::abort();
  }
  return 0;
}
