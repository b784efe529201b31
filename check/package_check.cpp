#include "check/package_check.h"

#include <algorithm>
#include <map>
#include <vector>

#include "check/meetings.h"
#include "check/route_findings.h"
#include "editor/checks/route_samples.h"
#include "editor/live_game.h"
#include "residents/walkers.h"
#include "walking/package_walk.h"

namespace host::check {
namespace {

using mods::json::Value;
using story_notebook::WorldPoint;

constexpr double kDefaultMeetingSeconds = 600;   // the meetings' horizon without "seconds" [game seconds]
constexpr double kLongestMeetingSeconds = 3600;  // the longest horizon "seconds" may ask [game seconds]

struct Walk {
  std::string id;
  editor::RouteSamples samples;
  std::size_t first = 0;  // index of its first probe in the package's probe list
  std::string problem;    // why it could not be sampled, "" when it was
};

// The actors check_route would check: each walker with a route, the last of those sharing an id.
std::vector<Walk> walks_of(const Value& actors) {
  std::map<std::string, std::size_t> last;  // id -> index of the last actor with it
  for (std::size_t k = 0; k < actors.items.size(); ++k) last[actors.items[k].get("id").string("")] = k;
  std::vector<Walk> walks;
  for (std::size_t k = 0; k < actors.items.size(); ++k) {
    const Value& actor = actors.items[k];
    const std::string id = actor.get("id").string("");
    if (!actor.get("path").is_object() || !editor::route_refusal(actor).empty() || last[id] != k) continue;
    Walk walk;
    walk.id = id;
    if (!editor::route_samples(actor, walk.samples, walk.problem)) walk.samples = editor::RouteSamples();
    walks.push_back(std::move(walk));
  }
  return walks;
}

// The ground below every probe, kBatchProbes at a time. On false `error` says why.
bool ground_below(editor::LiveGame& game, const std::vector<WorldPoint>& probes, std::vector<float>& heights,
                  std::vector<bool>& found, std::string& error) {
  heights.clear();
  found.clear();
  for (std::size_t begin = 0; begin < probes.size(); begin += kBatchProbes) {
    const std::size_t end = std::min(probes.size(), begin + kBatchProbes);
    const std::vector<WorldPoint> batch(probes.begin() + static_cast<std::ptrdiff_t>(begin),
                                        probes.begin() + static_cast<std::ptrdiff_t>(end));
    std::vector<float> batch_heights;
    std::vector<bool> batch_found;
    if (!game.ground_heights(batch, batch_heights, batch_found, error)) return false;
    if (batch_heights.size() != batch.size() || batch_found.size() != batch.size()) {
      error = "the game answered " + std::to_string(batch_found.size()) + " ground findings and " +
              std::to_string(batch_heights.size()) + " heights for " + std::to_string(batch.size()) + " probes";
      return false;
    }
    heights.insert(heights.end(), batch_heights.begin(), batch_heights.end());
    found.insert(found.end(), batch_found.begin(), batch_found.end());
  }
  return true;
}

// The check_route answer of `walk`, cut out of the package's ground; "ok" added.
Value judged(const Walk& walk, const std::vector<float>& heights, const std::vector<bool>& found) {
  const std::size_t count = walk.samples.probes.size();
  const auto from = static_cast<std::ptrdiff_t>(walk.first);
  const auto to = static_cast<std::ptrdiff_t>(walk.first + count);
  const std::vector<float> own_heights(heights.begin() + from, heights.begin() + to);
  const std::vector<bool> own_found(found.begin() + from, found.begin() + to);
  Value answer = editor::judge_route(walk.samples, own_heights, own_found);
  bool ok = true;
  for (const Value& segment : answer.get("segments").items) ok = ok && segment.get("ok").boolean;
  Value entry = Value::object();
  entry["id"] = Value::of(walk.id);
  entry["ok"] = Value::of(ok);
  for (auto& [key, value] : answer.members) entry[key] = std::move(value);
  return entry;
}

// The horizon "seconds" asks (default kDefaultMeetingSeconds). On false `error` says why.
bool horizon_of(const Value& params, double& horizon, std::string& error) {
  horizon = kDefaultMeetingSeconds;
  if (!params.has("seconds")) return true;
  const Value& seconds = params.get("seconds");
  if (!seconds.is_number() || !(seconds.number >= 1 && seconds.number <= kLongestMeetingSeconds)) {
    error = "check_package: \"seconds\" is a number from 1 to 3600";
    return false;
  }
  horizon = seconds.number;
  return true;
}

// The meetings of the package's walkers within `horizon`, on the game's ground when there is a game. On
// false (the game failed, or the walks are too fine to lay out) `error` says why.
bool meetings_of(const Value& document, editor::LiveGame* game, double horizon, std::vector<Meeting>& meetings,
                 std::string& error) {
  walking::GroundBelow ground;
  if (game != nullptr) {
    ground = [game](const std::vector<WorldPoint>& probes, std::vector<float>& heights, std::vector<bool>& found,
                    std::string& why) { return ground_below(*game, probes, heights, found, why); };
  }
  walking::PackageWalk walk;
  std::vector<walking::WalkerTrack> tracks;
  if (!walking::plan_package(document, ground, walk, error) || !walking::tracks(walk, horizon, ground, tracks, error)) {
    return false;
  }
  meetings = find_meetings(tracks, walk.standing, horizon);
  return true;
}

Value counts_of(std::size_t actors, const Value& routes, const std::vector<Finding>& findings, std::size_t meetings) {
  std::size_t ok = 0, problems = 0, unchecked = 0, errors = 0;
  for (const Value& route : routes.items) {
    if (route.has("checked")) {
      ++unchecked;
    } else {
      ++(route.get("ok").boolean ? ok : problems);
    }
  }
  for (const Finding& finding : findings) errors += finding.level == Finding::Level::Error ? 1 : 0;
  Value counts = Value::object();
  const auto number = [](std::size_t n) { return Value::of(static_cast<double>(n)); };
  counts["actors"] = number(actors);
  counts["routes"] = number(routes.items.size());
  counts["routes_ok"] = number(ok);
  counts["routes_with_problems"] = number(problems);
  counts["routes_not_checked"] = number(unchecked);
  counts["errors"] = number(errors);
  counts["warnings"] = number(findings.size() - errors + meetings);
  counts["meetings"] = number(meetings);
  return counts;
}

}  // namespace

bool check_package(editor::Session& session, const Value& params, Value& answer, std::string& error) {
  editor::Session::Package* package = session.package(params, error);
  if (package == nullptr) return false;
  double horizon = 0;
  if (!horizon_of(params, horizon, error)) return false;
  const Value& actors = package->document.get("actors");
  std::vector<Walk> walks = walks_of(actors);

  std::vector<WorldPoint> probes;
  for (Walk& walk : walks) {
    walk.first = probes.size();
    probes.insert(probes.end(), walk.samples.probes.begin(), walk.samples.probes.end());
  }
  std::vector<float> heights;
  std::vector<bool> found;
  editor::LiveGame* game = session.live_game;
  if (game != nullptr && !ground_below(*game, probes, heights, found, error)) return false;
  std::vector<Meeting> meetings;
  if (!meetings_of(package->document, game, horizon, meetings, error)) return false;

  Value result = Value::object();
  result["package"] = Value::of(package->name);
  result["checked"] = Value::of(game != nullptr);
  if (game == nullptr) result["game"] = Value::of("the game is not running");
  Value& routes = result["routes"];
  routes = Value::array();
  for (const Walk& walk : walks) {
    Value entry = Value::object();
    if (game == nullptr) {
      entry["id"] = Value::of(walk.id);
      entry["checked"] = Value::of(false);
    } else if (!walk.problem.empty()) {
      entry["id"] = Value::of(walk.id);
      entry["ok"] = Value::of(false);
      entry["problem"] = Value::of(walk.problem);
    } else {
      entry = judged(walk, heights, found);
    }
    routes.items.push_back(std::move(entry));
  }
  const std::vector<Finding> findings = package_findings(package->document);
  Value& listed = result["findings"];
  listed = Value::array();
  for (const Finding& finding : findings) listed.items.push_back(finding_json(finding));
  for (const Meeting& meeting : meetings) listed.items.push_back(meeting_finding(meeting));
  result["counts"] = counts_of(actors.items.size(), routes, findings, meetings.size());
  answer = std::move(result);
  return true;
}

void add_game_refusal(Value& answer, const std::string& refusal) {
  Finding finding{Finding::Level::Error, "", true, std::nullopt, "the game refuses the package: " + refusal};
  answer["findings"].items.push_back(finding_json(finding));
  Value& errors = answer["counts"]["errors"];
  errors = Value::of(errors.number + 1);
}

}  // namespace host::check
