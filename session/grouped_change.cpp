#include "session/grouped_change.h"

namespace host::session {
namespace {

using mods::json::Value;

// The session as the grouped commands see it: their package is the working copy, and their changes
// apply to it at once. Places and the game are the outer session's.
class WorkingSession : public editor::Session {
 public:
  WorkingSession(editor::Session& outer, const Package& package) : outer_(outer), working_(package) {
    live_game = outer.live_game;
  }

  Package* package(const Value& params, std::string& error) override {
    Package* named = outer_.package(params, error);
    if (named == nullptr) return nullptr;
    if (named->name != working_.name) {
      error = "a grouped change stays within package \"" + working_.name + "\"";
      return nullptr;
    }
    return &working_;
  }
  bool change(Package& package, const std::string& label, const Edit& edit, Value& result,
              std::string& error) override {
    (void)label;  // the group's label names the one change
    (void)result;
    return edit(package.document, error);
  }
  bool where(const Value& params, editor::Place& place, std::string& error) override {
    return outer_.where(params, place, error);
  }

  const Package& working() const { return working_; }

 private:
  editor::Session& outer_;
  Package working_;
};

}  // namespace

bool grouped_change(editor::Session& session, const Value& params, const std::string& label,
                    const std::vector<GroupedCommand>& commands, std::vector<Value>& results, std::string& error) {
  results.clear();
  editor::Session::Package* package = session.package(params, error);
  if (package == nullptr) return false;
  WorkingSession working(session, *package);
  for (std::size_t k = 0; k < commands.size(); ++k) {
    bool ok = false, handled = false;
    std::string reason;
    Value result = working.dispatch_route(commands[k].route, commands[k].params, reason, ok, handled);
    if (!handled) reason = "\"" + commands[k].route + "\" is not a route command";
    if (!ok || !handled) {
      error = "step " + std::to_string(k + 1) + " of " + std::to_string(commands.size()) + ": " + reason;
      return false;
    }
    results.push_back(std::move(result));
  }
  // The change the session records concerns the actor `params` names: ask for the package once more.
  package = session.package(params, error);
  if (package == nullptr) return false;
  const Value document = working.working().document;
  Value ignored;
  return session.change(
      *package, label,
      [&document](Value& target, std::string&) {
        target = document;
        return true;
      },
      ignored, error);
}

}  // namespace host::session
