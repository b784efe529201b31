#include "check/check_report.h"

#include "json_text/json_text.h"

namespace host::check {
namespace {

using mods::json::Value;

std::string number_text(const Value& value) {
  std::string text, error;
  return json_text::print_json(value, json_text::JsonLayout::Compact, text, error) ? text : "?";
}

std::string point_text(const Value& point) {
  std::string text = "(";
  text.append(number_text(point.get("x"))).append(", ").append(number_text(point.get("y")));
  text.append(", ").append(number_text(point.get("z"))).append(")");
  return text;
}

// An id as the report prints it: as it is when it is plain text, else as a JSON string, so that no id can
// break a line, end one early or pass for another part of it.
std::string id_text(const Value& id) {
  const std::string& text = id.string("");
  bool plain = !text.empty();
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    plain = plain && byte >= 0x20 && byte != 0x7f && c != '"' && c != '\\';
  }
  if (plain) return text;
  std::string quoted, error;
  return json_text::print_json(Value::of(text), json_text::JsonLayout::Compact, quoted, error) ? quoted : "\"?\"";
}

std::size_t count(const Value& answer, const char* key) {
  return static_cast<std::size_t>(answer.get("counts").get(key).number);
}

// "FILE:LINE:COLUMN: LEVEL: " where the answer placed `entry` (check_places.h), else "FILE: LEVEL: ".
std::string where(const std::string& file, const Value& entry, const std::string& level) {
  if (!entry.has("line")) return file + ": " + level + ": ";
  return file + ":" + number_text(entry.get("line")) + ":" + number_text(entry.get("column")) + ": " + level + ": ";
}

void route_lines(const std::string& file, const Value& route, std::string& out) {
  const std::string id = id_text(route.get("id")) + ": ";
  if (route.has("problem")) out += where(file, route, "error") + id + route.get("problem").string("") + "\n";
  for (const Value& segment : route.get("segments").items) {
    if (segment.get("ok").boolean) continue;
    out += where(file, segment, "error") + id + "segment " + number_text(segment.get("from")) + " to " +
           number_text(segment.get("to")) + ": " + segment.get("problem").string("") + " at " +
           point_text(segment.get("at")) + "\n";
  }
}

}  // namespace

std::string check_report(const Value& answer) {
  const std::string file = answer.get("package").string("") + ".json";
  std::string out;
  for (const Value& finding : answer.get("findings").items) {
    out += where(file, finding, finding.get("level").string(""));
    if (finding.has("id")) out += id_text(finding.get("id")) + ": ";
    if (finding.has("point")) out += "point " + number_text(finding.get("point")) + ": ";
    out += finding.get("text").string("") + "\n";
  }
  for (const Value& route : answer.get("routes").items) route_lines(file, route, out);
  out += file + ": " + std::to_string(count(answer, "actors")) + " actors, " + std::to_string(count(answer, "routes")) +
         " routes: ";
  if (answer.get("checked").boolean) {
    out += std::to_string(count(answer, "routes_ok")) + " ok, " +
           std::to_string(count(answer, "routes_with_problems")) + " with problems";
  } else {
    out += "not checked (" + answer.get("game").string("") + ")";
  }
  out += "; " + std::to_string(count(answer, "errors")) + " errors, " + std::to_string(count(answer, "warnings")) +
         " warnings\n";
  return out;
}

bool check_passed(const Value& answer) {
  return answer.get("checked").boolean && count(answer, "routes_with_problems") == 0 && count(answer, "errors") == 0;
}

}  // namespace host::check
