#include "editor/checks/route_check.h"

#include "editor/checks/route_samples.h"
#include "editor/checks/route_walk.h"

namespace editor {

mods::json::Value check_route(Session& session, const mods::json::Value& params, std::string& error, bool& ok) {
  RouteWalk walk;
  if (!sample_walk(session, params, walk, error)) return mods::json::Value();
  mods::json::Value result = judge_route(walk.plan, walk.heights, walk.found);
  ok = true;
  return result;
}

}  // namespace editor
