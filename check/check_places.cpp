#include "check/check_places.h"

#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "check/route_findings.h"
#include "json_text/json_places.h"
#include "json_text/json_text.h"

namespace host::check {
namespace {

using json_text::PathStep;
using mods::json::Value;

class Places {
 public:
  explicit Places(std::string_view text) : text_(text), lines_(text) {
    const auto actors = json_text::value_offset(text, json_text::root_offset(text), {PathStep("actors")});
    if (actors) actors_ = json_text::element_offsets(text, *actors);
    for (std::size_t k = 0; k < actors_.size(); ++k) {
      const auto id = json_text::value_offset(text, actors_[k], {PathStep("id")});
      Value name;
      json_text::JsonTextError error;
      if (!id || !json_text::parse_json(json_text::value_text_at(text, *id), name, error) || !name.is_string()) {
        name = Value::of("");
      }
      first_.try_emplace(name.str, k);
      last_[name.str] = k;
    }
  }

  // Places `entry` at point `point` (none: the actor itself) of the first or last actor with `id`.
  void place(Value& entry, const std::string& id, bool last, std::optional<std::size_t> point) const {
    const auto& which = last ? last_ : first_;
    const auto found = which.find(id);
    if (found != which.end()) place_at(entry, found->second, point);
  }

  // Places `entry` at point `point` (none: the actor itself) of actor `index`.
  void place_at(Value& entry, std::size_t index, std::optional<std::size_t> point) const {
    if (index >= actors_.size()) return;
    const std::size_t actor = actors_[index];
    std::optional<std::size_t> at;
    if (point && *point == 0) at = json_text::value_offset(text_, actor, {PathStep("position")});
    if (point && *point > 0) {
      at = json_text::value_offset(text_, actor, {PathStep("path"), PathStep("points"), PathStep(*point - 1)});
    }
    const std::size_t offset = at.value_or(actor);
    entry["line"] = Value::of(static_cast<double>(lines_.line(offset)));
    entry["column"] = Value::of(static_cast<double>(lines_.column(offset)));
  }

 private:
  std::string_view text_;
  json_text::TextLines lines_;
  std::vector<std::size_t> actors_;
  std::unordered_map<std::string, std::size_t> first_, last_;
};

std::optional<std::size_t> point_of(const Value& entry, const char* key) {
  const Value& point = entry.get(key);
  if (!point.is_number() || point.number < 0) return std::nullopt;
  return static_cast<std::size_t>(point.number);
}

}  // namespace

void place_answer(Value& answer, std::string_view file_text) {
  const Places places(file_text);
  // The findings of the file's own document tell which actor each is about, where they match the answer's.
  Value document;
  json_text::JsonTextError error;
  std::vector<Finding> own;
  if (json_text::parse_json(file_text, document, error)) own = package_findings(document);
  if (answer.get("findings").is_array()) {
    std::size_t next = 0;
    for (Value& finding : answer["findings"].items) {
      const std::string id = finding.get("id").string("");
      const std::optional<std::size_t> point = point_of(finding, "point");
      if (next < own.size() && own[next].id == id && own[next].text == finding.get("text").string("") &&
          own[next].point == point) {
        places.place_at(finding, own[next++].actor, point);
      } else {
        places.place(finding, id, false, point);
      }
    }
  }
  if (!answer.get("routes").is_array()) return;
  for (Value& route : answer["routes"].items) {
    const std::string id = route.get("id").string("");
    places.place(route, id, true, std::nullopt);
    if (!route.get("segments").is_array()) continue;
    for (Value& segment : route["segments"].items) {
      if (!segment.get("ok").boolean) places.place(segment, id, true, point_of(segment, "from"));
    }
  }
}

}  // namespace host::check
