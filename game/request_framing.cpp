#include "game/request_framing.h"

#include "json_text/json_text.h"
#include "json_text/utf8.h"
#include "protocol/flat_numbers.h"

namespace game {

namespace {

using mods::json::Value;
using protocol::read_float_array;

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

}  // namespace

std::string answer_text(const Value& value) {
  std::string out, error;
  if (!json_text::print_json(value, json_text::JsonLayout::Compact, out, error)) {
    return "{\"id\":null,\"ok\":false,\"error\":\"the answer could not be written\"}";
  }
  return out;
}

std::string failure_text(const Value& id, const std::string& error) {
  Value answer = Value::object();
  answer["id"] = id;
  answer["ok"] = Value::of(false);
  answer["error"] = Value::of(error);
  return answer_text(answer);
}

Value success_answer(const Value& id) {
  Value answer = Value::object();
  answer["id"] = id;
  answer["ok"] = Value::of(true);
  return answer;
}

namespace {

// Parses `line` into `framed.request`, with a "probes" array read apart when there is one. On false
// `refusal` is the answer line.
bool parse_request(std::string_view line, FramedRequest& framed, std::string& refusal) {
  // A "probes" array can hold hundreds of thousands of numbers: read it straight into floats and let the
  // JSON parser see the rest of the line with an empty array in its place.
  RawProbes& raw = framed.probes;
  framed.probes_apart = find_probes(line, raw);
  std::string rest;
  if (framed.probes_apart) {
    rest.reserve(line.size() - (raw.end - raw.begin) + 2);
    rest.append(line.substr(0, raw.begin)).append("[]").append(line.substr(raw.end));
  }

  // Probes read as numbers are plain ASCII; everything else is checked before any parser sees it.
  const bool check_rest_only = framed.probes_apart && raw.read;
  std::size_t bad = json_text::first_bad_utf8(check_rest_only ? std::string_view(rest) : line);
  if (bad != std::string_view::npos) {
    if (check_rest_only && bad >= raw.begin + 2) bad += (raw.end - raw.begin) - 2;  // where it is in the line
    refusal =
        failure_text(Value(), "the line is not json: line 1, column " + std::to_string(bad + 1) + ": invalid utf-8");
    return false;
  }
  Value& request = framed.request;
  json_text::JsonTextError parse_error;
  if (!json_text::parse_json(framed.probes_apart ? std::string_view(rest) : line, request, parse_error)) {
    if (framed.probes_apart) json_text::parse_json(line, request, parse_error);  // report positions in the real line
    refusal = failure_text(Value(), "the line is not json: " + parse_error.message());
    return false;
  }
  return true;
}

}  // namespace

bool frame_request(std::string_view line, FramedRequest& framed, std::string& refusal) {
  if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
  if (!parse_request(line, framed, refusal)) return false;
  const Value& request = framed.request;
  if (!request.is_object()) {
    refusal = failure_text(Value(), "a request must be a json object");
    return false;
  }
  framed.id = request.get("id");
  if (!framed.id.is_number()) {
    refusal = failure_text(Value(), "a request needs a number \"id\"");
    return false;
  }
  const Value& op = request.get("op");
  if (!op.is_string()) {
    refusal = failure_text(framed.id, "a request needs a string \"op\"");
    return false;
  }
  framed.op = op.str;

  // Any other op ignores "probes", but the whole line must still be JSON.
  Value whole;
  json_text::JsonTextError parse_error;
  if (framed.op != "ground_heights" && framed.probes_apart && !json_text::parse_json(line, whole, parse_error)) {
    refusal = failure_text(Value(), "the line is not json: " + parse_error.message());
    return false;
  }
  return true;
}

}  // namespace game
