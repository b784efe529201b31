#include "game/protocol.h"

#include <cmath>
#include <limits>
#include <vector>

#include "protocol/flat_numbers.h"
#include "json_text/json_text.h"

namespace game {

namespace {

using mods::json::Value;
using story_notebook::WorldPoint;

// --- Locating the "probes" array without building a JSON tree for it -------------------------------

bool is_space(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; }

void skip_space(std::string_view s, std::size_t& i) {
  while (i < s.size() && is_space(s[i])) ++i;
}

// `i` at an opening quote; moves past the closing one. `escaped` tells whether a backslash was seen.
bool skip_string(std::string_view s, std::size_t& i, bool& escaped) {
  for (++i; i < s.size(); ++i) {
    if (s[i] == '\\') {
      escaped = true;
      ++i;
    } else if (s[i] == '"') {
      ++i;
      return true;
    }
  }
  return false;
}

// Moves `i` past one JSON value, judging only its extent (the JSON parser judges the rest).
bool skip_value(std::string_view s, std::size_t& i) {
  if (i >= s.size()) return false;
  bool escaped = false;
  if (s[i] == '"') return skip_string(s, i, escaped);
  if (s[i] == '[' || s[i] == '{') {
    std::size_t depth = 0;
    while (i < s.size()) {
      const char c = s[i];
      if (c == '"') {
        if (!skip_string(s, i, escaped)) return false;
        continue;
      }
      if (c == '[' || c == '{') ++depth;
      if (c == ']' || c == '}') {
        if (--depth == 0) {
          ++i;
          return true;
        }
      }
      ++i;
    }
    return false;
  }
  const std::size_t start = i;
  while (i < s.size() && !is_space(s[i]) && s[i] != ',' && s[i] != '}' && s[i] != ']') ++i;
  return i > start;
}

// A top-level "probes" member found in the raw line, with its numbers read on the way when it is an
// array of numbers (so that the array is scanned once).
struct RawProbes {
  bool found = false;
  std::size_t begin = 0, end = 0;  // the value's extent in the line
  bool read = false;               // `numbers` holds the array; otherwise `error` says why not
  std::vector<float> numbers;
  std::string error;
};

// Looks for a "probes" member (spelled without escapes) at the top level of the object in `text`. On
// false the text does not scan as an object or has no such member, and the JSON parser judges the line.
bool find_probes(std::string_view text, RawProbes& probes) {
  std::size_t i = 0;
  skip_space(text, i);
  if (i >= text.size() || text[i] != '{') return false;
  ++i;
  for (;;) {
    skip_space(text, i);
    if (i >= text.size() || text[i] != '"') return false;
    const std::size_t key_start = i + 1;
    bool escaped = false;
    if (!skip_string(text, i, escaped)) return false;
    const std::string_view key = text.substr(key_start, i - 1 - key_start);
    skip_space(text, i);
    if (i >= text.size() || text[i] != ':') return false;
    ++i;
    skip_space(text, i);
    const std::size_t value_start = i;
    if (!escaped && key == "probes") {
      std::size_t end = i;
      probes.read = read_float_array(text, end, probes.numbers, probes.error);
      if (!probes.read) {
        end = i;
        if (!skip_value(text, end)) return false;
      }
      probes.found = true;
      probes.begin = value_start;
      probes.end = end;
      return true;
    }
    if (!skip_value(text, i)) return false;
    skip_space(text, i);
    if (i >= text.size() || text[i] != ',') return false;
    ++i;
  }
}

// The byte offset of the first byte that does not belong to well-formed UTF-8 (no overlong forms, no
// surrogates, nothing above U+10FFFF), or npos. The JSON parser is given only well-formed text: a
// sequence cut short at the end of a line must never make it read past the line.
std::size_t first_bad_utf8(std::string_view s) {
  std::size_t i = 0;
  while (i < s.size()) {
    const auto c = static_cast<unsigned char>(s[i]);
    if (c < 0x80) {
      ++i;
      continue;
    }
    std::size_t length = 0;
    unsigned char low = 0x80, high = 0xBF;  // the allowed range of the second byte
    if (c >= 0xC2 && c <= 0xDF) {
      length = 2;
    } else if (c >= 0xE0 && c <= 0xEF) {
      length = 3;
      if (c == 0xE0) low = 0xA0;
      if (c == 0xED) high = 0x9F;
    } else if (c >= 0xF0 && c <= 0xF4) {
      length = 4;
      if (c == 0xF0) low = 0x90;
      if (c == 0xF4) high = 0x8F;
    } else {
      return i;
    }
    if (i + length > s.size()) return i;
    const auto second = static_cast<unsigned char>(s[i + 1]);
    if (second < low || second > high) return i;
    for (std::size_t k = 2; k < length; ++k) {
      const auto next = static_cast<unsigned char>(s[i + k]);
      if (next < 0x80 || next > 0xBF) return i;
    }
    i += length;
  }
  return std::string_view::npos;
}

// --- Answers ------------------------------------------------------------------------------------------

std::string print(const Value& value) {
  std::string out, error;
  if (!host::print_json(value, host::JsonLayout::Compact, out, error)) {
    return "{\"id\":null,\"ok\":false,\"error\":\"the answer could not be written\"}";
  }
  return out;
}

std::string failure(const Value& id, const std::string& error) {
  Value answer = Value::object();
  answer["id"] = id;
  answer["ok"] = Value::of(false);
  answer["error"] = Value::of(error);
  return print(answer);
}

Value success(const Value& id) {
  Value answer = Value::object();
  answer["id"] = id;
  answer["ok"] = Value::of(true);
  return answer;
}

bool read_coordinate(const Value& value, float& out) {
  return value.is_number() && narrow_to_float(value.number, out);
}

bool read_point(const Value& request, WorldPoint& point) {
  return read_coordinate(request.get("x"), point.x) && read_coordinate(request.get("y"), point.y) &&
         read_coordinate(request.get("z"), point.z);
}

void put_point(Value& answer, const WorldPoint& point) {
  answer["x"] = Value::of(wire_double(point.x));
  answer["y"] = Value::of(wire_double(point.y));
  answer["z"] = Value::of(wire_double(point.z));
}

// The probes of a request whose "probes" array was not taken out by the fast path.
bool probes_from_tree(const Value& request, std::vector<float>& probes, std::string& error) {
  const Value& listed = request.get("probes");
  if (!listed.is_array()) {
    error = listed.is_null() && !request.has("probes") ? "\"ground_heights\" needs a \"probes\" array"
                                                        : "\"probes\" is not an array";
    return false;
  }
  probes.clear();
  probes.reserve(listed.items.size());
  for (std::size_t k = 0; k < listed.items.size(); ++k) {
    float value = 0;
    if (!read_coordinate(listed.items[k], value)) {
      error = "\"probes\" holds a non-number at index " + std::to_string(k);
      return false;
    }
    probes.push_back(value);
  }
  return true;
}

}  // namespace

std::string LinkProtocol::answer(std::string_view line) const {
  if (!line.empty() && line.back() == '\r') line.remove_suffix(1);

  // A "probes" array can hold hundreds of thousands of numbers: read it straight into floats and let the
  // JSON parser see the rest of the line with an empty array in its place.
  RawProbes raw;
  const bool probes_apart = find_probes(line, raw);
  std::string rest;
  if (probes_apart) {
    rest.reserve(line.size() - (raw.end - raw.begin) + 2);
    rest.append(line.substr(0, raw.begin)).append("[]").append(line.substr(raw.end));
  }

  // Probes read as numbers are plain ASCII; everything else is checked before any parser sees it.
  const bool check_rest_only = probes_apart && raw.read;
  std::size_t bad = first_bad_utf8(check_rest_only ? std::string_view(rest) : line);
  if (bad != std::string_view::npos) {
    if (check_rest_only && bad >= raw.begin + 2) bad += (raw.end - raw.begin) - 2;  // where it is in the line
    return failure(Value(), "the line is not json: line 1, column " + std::to_string(bad + 1) + ": invalid utf-8");
  }
  Value request;
  host::JsonTextError parse_error;
  if (!host::parse_json(probes_apart ? std::string_view(rest) : line, request, parse_error)) {
    if (probes_apart) host::parse_json(line, request, parse_error);  // report positions in the real line
    return failure(Value(), "the line is not json: " + parse_error.message());
  }
  if (!request.is_object()) return failure(Value(), "a request must be a json object");
  const Value& id = request.get("id");
  if (!id.is_number()) return failure(Value(), "a request needs a number \"id\"");
  const Value& op_value = request.get("op");
  if (!op_value.is_string()) return failure(id, "a request needs a string \"op\"");
  const std::string& op = op_value.str;

  if (op == "ground_heights") {
    std::vector<float> probes;
    std::string error;
    if (probes_apart) {
      if (!raw.read) return failure(id, "\"probes\" " + raw.error);
      probes = std::move(raw.numbers);
    } else if (!probes_from_tree(request, probes, error)) {
      return failure(id, error);
    }
    if (probes.size() % 3 != 0) {
      return failure(id, "\"probes\" holds " + std::to_string(probes.size()) + " numbers, not a multiple of 3");
    }
    const std::size_t count = probes.size() / 3;
    std::vector<float> heights(count);
    std::vector<std::uint8_t> found(count);
    world_.ground_heights(probes.data(), count, heights.data(), found.data());
    std::string out = "{\"id\":";
    out += print(id);
    out += ",\"ok\":true,\"heights\":";
    append_float_array(out, heights.data(), count);
    out += ",\"found\":";
    append_flag_array(out, found.data(), count);
    out += '}';
    return out;
  }

  // Any other op ignores "probes", but the whole line must still be JSON.
  Value whole;
  if (probes_apart && !host::parse_json(line, whole, parse_error)) {
    return failure(Value(), "the line is not json: " + parse_error.message());
  }

  Value answer = success(id);
  if (op == "hello") {
    answer["protocol"] = Value::of(static_cast<double>(kProtocolVersion));
    answer["world"] = Value::of(world_.name());
    Value& bounds = answer["bounds"];
    put_point(bounds["low"], world_.low());
    put_point(bounds["high"], world_.high());
  } else if (op == "ground_height") {
    WorldPoint probe;
    if (!read_point(request, probe)) return failure(id, "\"ground_height\" needs numbers \"x\", \"y\" and \"z\"");
    float height = 0;
    std::string note;
    if (world_.ground_height(probe, height, note)) {
      answer["found"] = Value::of(true);
      answer["height"] = Value::of(wire_double(height));
    } else {
      answer["found"] = Value::of(false);
      answer["note"] = Value::of(note);
    }
  } else if (op == "link") {
    put_point(answer, world_.link());
  } else if (op == "camera") {
    put_point(answer, world_.camera());
  } else if (op == "teleport") {
    WorldPoint point;
    if (!read_point(request, point)) return failure(id, "\"teleport\" needs numbers \"x\", \"y\" and \"z\"");
    world_.teleport(point);
  } else if (op == "load") {
    const Value& package = request.get("package");
    if (!package.is_string()) return failure(id, "\"load\" needs a string \"package\"");
    int walking = 0;
    std::string error;
    if (!world_.load(package.str, request.get("document"), walking, error)) return failure(id, error);
    answer["walking"] = Value::of(static_cast<double>(walking));
  } else if (op == "live_route") {
    const Value& package = request.get("package");
    const Value& actor = request.get("actor");
    if (!package.is_string() || !actor.is_string()) {
      return failure(id, "\"live_route\" needs strings \"package\" and \"actor\"");
    }
    answer["route"] = world_.live_route(package.str, actor.str);
  } else if (op == "live_actors") {
    const Value& package = request.get("package");
    if (!package.is_string()) return failure(id, "\"live_actors\" needs a string \"package\"");
    Value live = world_.live_actors(package.str);
    if (live.is_null()) return failure(id, "no package \"" + package.str + "\" is loaded");
    answer["time"] = live.get("time");
    answer["actors"] = std::move(live["actors"]);
  } else if (op == "advance") {
    const Value& seconds = request.get("seconds");
    if (!seconds.is_number()) return failure(id, "\"advance\" needs a number \"seconds\"");
    double time = 0;
    std::string error;
    if (!world_.advance(seconds.number, time, error)) return failure(id, error);
    answer["time"] = Value::of(time);
  } else {
    return failure(id, "unknown op \"" + op + "\"");
  }
  return print(answer);
}

}  // namespace game
