// Findings: what the route service accepts as written in a package but a modder almost certainly did not
// mean (a shared id, a mode the game does not know, a route point that is not a point...), each with a
// level, the actor's id, the point it concerns and an exact text. Reads the document only; any thread.
#ifndef PATHWRIGHT_CHECK_ROUTE_FINDINGS_H_
#define PATHWRIGHT_CHECK_ROUTE_FINDINGS_H_

#include <optional>
#include <string>
#include <vector>

#include "json/value.h"

namespace host::check {

struct Finding {
  enum class Level { Error, Warning };
  Level level = Level::Warning;
  std::string id;                    // the actor's id ("" when it has none)
  bool whole_package = false;        // about the package or an actor without an id to name: no "id"
  std::optional<std::size_t> point;  // the route point it concerns (0: the actor's own position)
  std::string text;
  std::size_t actor = 0;  // the index of the actor in "actors" (not in the JSON answer)
};

const char* level_name(Finding::Level level);

// Every finding of `document`, actor after actor in the order of its "actors" array.
std::vector<Finding> package_findings(const mods::json::Value& document);

// The findings of one route's settings as set_route stored them: mode, speed and pauses the game will
// not use as written. Only the texts (set_route answers them as "warnings").
std::vector<std::string> settings_warnings(const mods::json::Value& path);

// {"level", "id" (not for a finding about the whole package), "point" (only where it applies), "text"}
mods::json::Value finding_json(const Finding& finding);

}  // namespace host::check

#endif  // PATHWRIGHT_CHECK_ROUTE_FINDINGS_H_
