// Grouped changes: several route commands applied as one change of the session's change service, so
// that one history entry (one undo) holds them all, and either all of them apply or none does. The
// commands run on a working copy of the package; the session sees one change under the group's label.
// Works over any editor::Session; used on the command's thread, within one call.
#ifndef PATHWRIGHT_SESSION_GROUPED_CHANGE_H_
#define PATHWRIGHT_SESSION_GROUPED_CHANGE_H_

#include <string>
#include <utility>
#include <vector>

#include "editor/session.h"
#include "json/value.h"

namespace host::session {

struct GroupedCommand {
  std::string route;         // a route command that changes the package, e.g. "add_route_point"
  mods::json::Value params;  // its parameters; they name the group's package
};

// Runs `commands` in order on a working copy of the package that `params` names (and whose "id" the
// change concerns), then applies the copy as one change labelled `label`. On true every command
// succeeded, the change is applied and `results` holds each command's result in order. On false `error`
// names the failing command's number and its text (or the change service's reason), the package is
// unchanged and `results` is to be ignored.
bool grouped_change(editor::Session& session, const mods::json::Value& params, const std::string& label,
                    const std::vector<GroupedCommand>& commands, std::vector<mods::json::Value>& results,
                    std::string& error);

}  // namespace host::session

#endif  // PATHWRIGHT_SESSION_GROUPED_CHANGE_H_
