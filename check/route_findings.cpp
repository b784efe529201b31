#include "check/route_findings.h"

#include <cmath>
#include <map>

#include "json_text/json_text.h"
#include "json_text/point_value.h"
#include "residents/walkers.h"

namespace host::check {
namespace {

using json_text::is_point;
using mods::json::Value;
using Level = Finding::Level;

// The value as JSON text, for quoting it in a finding.
std::string quoted(const Value& value) {
  std::string text, error;
  if (!json_text::print_json(value, json_text::JsonLayout::Compact, text, error)) return "a number that is not finite";
  return text;
}

// Villagers, and Bokoblins and Moblins without "kind", start their walk from their own position.
bool starts_from_position(const Value& actor) {
  const std::string type = actor.get("actor").string("");
  if (type == "resident") return true;
  return (type == "bokoblin" || type == "moblin") && actor.get("kind").is_null();
}

std::string actor_id(const Value& actor) { return actor.get("id").string(""); }

// The kind of a JSON value, for saying what stands where an object or array should.
const char* kind_of(const Value& value) {
  if (value.is_array()) return "an array";
  if (value.is_string()) return "a string";
  if (value.is_number()) return "a number";
  if (value.is_bool()) return "true or false";
  return value.is_null() ? "null" : "an object";
}

// Actors that are not objects: the game passes over them, and they have no id to share.
void not_objects(const Value& actors, std::vector<Finding>& findings) {
  for (std::size_t k = 0; k < actors.items.size(); ++k) {
    if (actors.items[k].is_object()) continue;
    Finding finding{Level::Error, "", true, std::nullopt,
                    "actor " + std::to_string(k + 1) + " is not an object (it is " + kind_of(actors.items[k]) +
                        "): the game passes over it"};
    findings.push_back(std::move(finding));
  }
}

void shared_ids(const Value& actors, std::vector<Finding>& findings) {
  std::map<std::string, std::vector<std::size_t>> numbers;  // id -> actor numbers (1-based)
  for (std::size_t k = 0; k < actors.items.size(); ++k) {
    if (actors.items[k].is_object()) numbers[actor_id(actors.items[k])].push_back(k + 1);
  }
  for (std::size_t k = 0; k < actors.items.size(); ++k) {
    if (!actors.items[k].is_object()) continue;
    const std::vector<std::size_t>& same = numbers[actor_id(actors.items[k])];
    if (same.size() < 2 || same.front() != k + 1) continue;
    std::string list;
    for (std::size_t n = 0; n < same.size(); ++n) {
      list += (n == 0 ? "" : n + 1 == same.size() ? " and " : ", ") + std::to_string(same[n]);
    }
    findings.push_back({Level::Error, actor_id(actors.items[k]), false, std::nullopt,
                        "actors " + list + " share this id: edits reach the first, check_route checks the last", k});
  }
}

void route_points(const Value& actor, std::vector<Finding>& findings) {
  const std::string id = actor_id(actor);
  const bool resident = starts_from_position(actor);
  if (resident && !is_point(actor.get("position"))) {
    findings.push_back({Level::Error, id, false, 0, "the \"position\" is not a point: the walk cannot start there"});
  }
  const Value& points = actor.get("path").get("points");
  if (!points.is_array()) {
    findings.push_back({Level::Error, id, false, std::nullopt, "the route's \"points\" is not an array"});
    return;
  }
  for (std::size_t k = 0; k < points.items.size(); ++k) {
    if (!is_point(points.items[k])) {
      findings.push_back({Level::Error, id, false, k + 1,
                          "not a point (an object of finite \"x\", \"y\" and \"z\"): "
                          "the check passes over it"});
    }
  }
  if (!resident && points.items.size() == 1) {
    findings.push_back({Level::Warning, id, false, 1, "a route of one point: the actor stands still"});
  }
  if (points.items.empty()) findings.push_back({Level::Warning, id, false, std::nullopt, "a route without points"});
}

}  // namespace

const char* level_name(Level level) { return level == Level::Error ? "error" : "warning"; }

std::vector<std::string> settings_warnings(const Value& path) {
  std::vector<std::string> texts;
  if (path.has("mode")) {
    const Value& mode = path.get("mode");
    const std::string name = mode.string("");
    if (name != "once" && name != "loop" && name != "back_and_forth") {
      texts.push_back("the mode " + quoted(mode) +
                      " is not \"once\", \"loop\" or \"back_and_forth\": the game "
                      "walks it as \"once\"");
    }
  }
  if (path.has("speed")) {
    const Value& speed = path.get("speed");
    if (!speed.is_number() || !std::isfinite(speed.number) || speed.number <= 0) {
      texts.push_back("the speed " + quoted(speed) + " is not a positive number: the game walks at its own pace");
    }
  }
  if (path.has("pauses")) {
    const Value& pauses = path.get("pauses");
    const bool number = pauses.is_number() && std::isfinite(pauses.number) && pauses.number >= 0;
    if (!pauses.is_bool() && !number) {
      texts.push_back("the pauses " + quoted(pauses) + " are neither true, false nor a number of seconds from 0");
    }
  }
  return texts;
}

std::vector<Finding> package_findings(const Value& document) {
  std::vector<Finding> findings;
  const Value& actors = document.get("actors");
  if (!actors.is_array()) {
    // Without "actors" a package places nothing; anything else in its place the game refuses.
    if (!actors.is_null()) {
      findings.push_back({Level::Error, "", true, std::nullopt,
                          std::string("the \"actors\" is not an array (it is ") + kind_of(actors) +
                              "): the game refuses the package"});
    }
    return findings;
  }
  not_objects(actors, findings);
  shared_ids(actors, findings);
  std::size_t placed = findings.size();  // the findings before this one know their actor
  for (std::size_t index = 0; index < actors.items.size(); ++index) {
    for (; placed < findings.size(); ++placed) findings[placed].actor = index - 1;
    const Value& actor = actors.items[index];
    const Value& path = actor.get("path");
    if (!path.is_object()) continue;
    const std::string id = actor_id(actor);
    const std::string refusal = editor::route_refusal(actor);
    if (!refusal.empty()) {
      findings.push_back({Level::Error, id, false, std::nullopt, "a route on an actor that may not walk: " + refusal});
      continue;
    }
    for (std::string& text : settings_warnings(path)) {
      findings.push_back({Level::Warning, id, false, std::nullopt, std::move(text)});
    }
    if (!starts_from_position(actor) && !path.has("speed")) {
      findings.push_back({Level::Warning, id, false, std::nullopt,
                          "a model's route without a speed: the game walks it "
                          "at its own pace"});
    }
    route_points(actor, findings);
  }
  for (; placed < findings.size(); ++placed) findings[placed].actor = actors.items.size() - 1;
  return findings;
}

Value finding_json(const Finding& finding) {
  Value entry = Value::object();
  entry["level"] = Value::of(level_name(finding.level));
  if (!finding.whole_package) entry["id"] = Value::of(finding.id);
  if (finding.point) entry["point"] = Value::of(static_cast<double>(*finding.point));
  entry["text"] = Value::of(finding.text);
  return entry;
}

}  // namespace host::check
