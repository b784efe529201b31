#include "server/command_table.h"

#include <algorithm>
#include <cassert>

#include "check/check_methods.h"
#include "check/detour.h"
#include "check/edit_queries.h"
#include "check/package_check.h"
#include "check/timeline.h"
#include "server/workbench.h"
#include "session/host_session.h"

namespace host::server {
namespace {

using check::add_settings_warnings;
using check::apply_detour;
using check::check_package;
using check::ground_point;
using check::package_timeline;
using check::route_fields;
using check::suggest_detour;
using check::walkers_at;
using mods::json::Value;

// The route service's commands, through its own dispatcher.
bool route(CommandCall& call, Value& result, std::string& error) {
  bool ok = false, handled = false;
  result = call.session.dispatch_route(call.method, call.params, error, ok, handled);
  assert(handled && "a row runs the route service only for a name its dispatcher knows");
  return ok;
}

// set_route also warns of a stored setting the game will not use.
bool set_route(CommandCall& call, Value& result, std::string& error) {
  if (!route(call, result, error)) return false;
  add_settings_warnings(call.session, call.params, result);
  return true;
}

// The session's own commands on the store.
template <bool (HostSession::*command)(const Value&, Value&, std::string&)>
bool store(CommandCall& call, Value& result, std::string& error) {
  return (call.session.*command)(call.params, result, error);
}

bool packages(CommandCall& call, Value& result, std::string& error) { return call.session.packages(result, error); }

// The check's commands, on the session's route service.
template <bool (*command)(editor::Session&, const Value&, Value&, std::string&)>
bool check(CommandCall& call, Value& result, std::string& error) {
  return command(call.session, call.params, result, error);
}

// check_package also tells when the game refuses the package.
bool check_package_command(CommandCall& call, Value& result, std::string& error) {
  if (!check<check_package>(call, result, error)) return false;
  call.bench.add_refusal(result);
  return true;
}

bool status(CommandCall& call, Value& result, std::string&) {
  result = call.bench.status();
  return true;
}

bool advance_game(CommandCall& call, Value& result, std::string& error) {
  return call.bench.advance_command(call.params, result, error);
}

using G = GameUse;
using S = StoreUse;

// clang-format off
const Command kCommands[] = {
    {.name = "add_route_point", .run = route, .game = G::WhenSnapping, .store = S::Changes, .one_actor = true, .params = "id position at snap after", .help = "adds a point to an actor's route, snapped to the ground"},
    {.name = "move_route_point", .run = route, .game = G::WhenSnapping, .store = S::Changes, .one_actor = true, .params = "id point position at snap", .help = "moves one point of an actor's route"},
    {.name = "remove_route_point", .run = route, .game = G::None, .store = S::Changes, .one_actor = true, .params = "id point", .help = "removes one point of an actor's route"},
    {.name = "reorder_route_point", .run = route, .game = G::None, .store = S::Changes, .one_actor = true, .params = "id point to", .help = "moves a point to another place in the route's order"},
    {.name = "set_route", .run = set_route, .game = G::None, .store = S::Changes, .one_actor = true, .params = "id speed mode pauses walk idle", .help = "sets a route's mode, speed, pauses and animations"},
    {.name = "remove_route", .run = route, .game = G::None, .store = S::Changes, .one_actor = true, .params = "id", .help = "removes an actor's route"},
    {.name = "check_route", .run = route, .game = G::Asks, .store = S::Reads, .one_actor = false, .params = "id", .help = "checks a route against the game's ground, segment by segment"},
    {.name = "route_status", .run = route, .game = G::Asks, .store = S::Reads, .one_actor = false, .params = "id", .help = "what an actor walks in the game now"},
    {.name = "route_profile", .run = route, .game = G::Asks, .store = S::Reads, .one_actor = false, .params = "id", .help = "the heights along an actor's walk, for the map's profile"},
    {.name = "packages", .run = packages, .game = G::None, .store = S::Reads, .one_actor = false, .params = "", .help = "the store's packages, with their actors and routes counted"},
    {.name = "status", .run = status, .game = G::Reports, .store = S::Reads, .one_actor = false, .params = "", .help = "where Pathwright works and whether the game is there"},
    {.name = "actors", .run = store<&HostSession::actors>, .game = G::None, .store = S::Reads, .one_actor = false, .params = "", .help = "a package's actors, and who may walk"},
    {.name = "document", .run = store<&HostSession::document>, .game = G::None, .store = S::Reads, .one_actor = false, .params = "", .help = "a package's whole document"},
    {.name = "history", .run = store<&HostSession::history>, .game = G::None, .store = S::Reads, .one_actor = false, .params = "", .help = "a package's changes, applied and undone"},
    {.name = "undo", .run = store<&HostSession::undo>, .game = G::None, .store = S::Changes, .one_actor = true, .params = "", .help = "undoes a package's last change"},
    {.name = "redo", .run = store<&HostSession::redo>, .game = G::None, .store = S::Changes, .one_actor = true, .params = "", .help = "applies the last undone change again"},
    {.name = "reload", .run = store<&HostSession::reload>, .game = G::None, .store = S::Changes, .one_actor = false, .params = "", .help = "reads a package file changed outside the editor again"},
    {.name = "placed_actors", .run = store<&HostSession::placed_actors>, .game = G::None, .store = S::Reads, .one_actor = false, .params = "region id start limit routes", .help = "the actors of a region or one page of a package, for the map"},
    {.name = "check_package", .run = check_package_command, .game = G::Asks, .store = S::Reads, .one_actor = false, .params = "", .help = "every walking route of a package checked against the ground"},
    {.name = "suggest_detour", .run = check<suggest_detour>, .game = G::Asks, .store = S::Reads, .one_actor = false, .params = "id from", .help = "a walkable way around the problem of one segment"},
    {.name = "apply_detour", .run = check<apply_detour>, .game = G::Asks, .store = S::Changes, .one_actor = false, .params = "id from", .help = "inserts the suggested detour as one undoable change"},
    {.name = "route_fields", .run = check<route_fields>, .game = G::None, .store = S::Held, .one_actor = false, .params = "id", .help = "which route settings an actor may set"},
    {.name = "ground_point", .run = check<ground_point>, .game = G::Asks, .store = S::Held, .one_actor = false, .params = "position", .help = "a position moved onto the ground as add_route_point snaps it"},
    {.name = "walkers_at", .run = check<walkers_at>, .game = G::Asks, .store = S::Held, .one_actor = false, .params = nullptr, .help = "where every walker of a package stands a given time into its walk"},
    {.name = "package_timeline", .run = check<package_timeline>, .game = G::Asks, .store = S::Held, .one_actor = false, .params = nullptr, .help = "every walker's motion up to a horizon, for the map"},
    {.name = "advance_game", .run = advance_game, .game = G::Asks, .store = S::Held, .one_actor = false, .params = "seconds", .help = "moves the in-process game's manual clock on"},
};
// clang-format on

}  // namespace

std::span<const Command> commands() { return kCommands; }

const Command* find_command(std::string_view name) {
  const auto row = std::find_if(std::begin(kCommands), std::end(kCommands),
                                [&](const Command& command) { return name == command.name; });
  return row == std::end(kCommands) ? nullptr : row;
}

bool may_ask_game(const Command& command, const Value& params) {
  switch (command.game) {
    case GameUse::None: return false;
    case GameUse::Asks:
    case GameUse::Reports: return true;
    case GameUse::WhenSnapping: break;
  }
  const bool unsnapped = params.get("snap").is_bool() && !params.get("snap").boolean && !params.has("at");
  return !unsnapped;
}

std::string command_help() {
  std::size_t width = 0;
  for (const Command& command : kCommands) width = std::max(width, std::string_view(command.name).size());
  std::string text = "Methods (docs/json-rpc.md):\n";
  for (const Command& command : kCommands) {
    const std::string_view name = command.name;
    text.append("  ").append(name).append(width + 2 - name.size(), ' ').append(command.help).append("\n");
  }
  return text;
}

}  // namespace host::server
