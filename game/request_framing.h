// The framing of the game's side of the link: one request line taken apart before any op sees it (UTF-8
// check, JSON, "id" and "op"), with a "probes" array read straight into floats, and the answer lines
// every op shares. Stateless functions; any thread.
#ifndef PATHWRIGHT_GAME_REQUEST_FRAMING_H_
#define PATHWRIGHT_GAME_REQUEST_FRAMING_H_

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "json/value.h"

namespace game {

// A top-level "probes" member found in the raw line, with its numbers read on the way when it is an
// array of numbers (so that the array is scanned once).
struct RawProbes {
  bool found = false;
  std::size_t begin = 0, end = 0;  // the value's extent in the line
  bool read = false;               // `numbers` holds the array; otherwise `error` says why not
  std::vector<float> numbers;
  std::string error;
};

// A request line that frames well: a JSON object with a number "id" and a string "op".
struct FramedRequest {
  mods::json::Value request;  // the whole object; with `probes_apart`, "probes" holds [] in their place
  mods::json::Value id;
  std::string op;
  bool probes_apart = false;  // "probes" was taken out of the line; `probes` says how it read
  RawProbes probes;
};

// Frames `line` (one request without its "\n"; a final "\r" is ignored). On true `framed` holds the
// request. On false `refusal` is the whole answer line ({"id", "ok": false, "error"}, with a null id
// when the line has none to echo) and `framed` is unspecified. Every op but "ground_heights" also
// needs the whole line to be JSON, "probes" included.
bool frame_request(std::string_view line, FramedRequest& framed, std::string& refusal);

// The compact text of an answer; a fixed refusal when it cannot be printed.
std::string answer_text(const mods::json::Value& answer);
// The refusal {"id": id, "ok": false, "error": error} as text.
std::string failure_text(const mods::json::Value& id, const std::string& error);
// The start of a successful answer: {"id": id, "ok": true}.
mods::json::Value success_answer(const mods::json::Value& id);

}  // namespace game

#endif  // PATHWRIGHT_GAME_REQUEST_FRAMING_H_
