// Every JSON-RPC method Pathwright answers, one row each: its name, its handler, whether it may ask the game,
// what it does to the store, the parameters it reads and its help line. The workbench runs commands, the
// `call --help` text lists them and the docs' test checks docs/json-rpc.md against the same rows. The
// table is constant; any thread may read it.
#ifndef PATHWRIGHT_SERVER_COMMAND_TABLE_H_
#define PATHWRIGHT_SERVER_COMMAND_TABLE_H_

#include <span>
#include <string>
#include <string_view>

#include "json/value.h"

namespace host::session {
class HostSession;
}  // namespace host::session

namespace host::server {

class Workbench;
using session::HostSession;

// What a handler works on: the workbench that runs it, its session and the request.
struct CommandCall {
  Workbench& bench;
  HostSession& session;
  const std::string& method;
  const mods::json::Value& params;
};

// Runs one command. On true `result` is the answer. On false `error` says why, and `result` holds what
// the command gave beside the error (null, or a partial answer that is sent with it).
using CommandHandler = bool (*)(CommandCall& call, mods::json::Value& result, std::string& error);

// Whether a command may ask the game: only such commands reach for a game that is away, so that a hung
// game never holds up the rest.
enum class GameUse {
  None,          // never asks the game (listings, undo, edits that place no point)
  Asks,          // reconnects when due and is handed the packages it names first
  WhenSnapping,  // as Asks, unless the request says "snap": false and gives no "at"
  Reports,       // reconnects when due to tell about the game, handing it nothing (status)
};

// What a command does to the store.
enum class StoreUse {
  Reads,    // only reads: runs on a store read without its lock, creating nothing in it
  Changes,  // changes a package
  Held,     // changes no package, yet runs only on a store this process holds
};

struct Command {
  const char* name;
  CommandHandler run;
  GameUse game;
  StoreUse store;
  bool one_actor;      // reads of its package only the actor its "id" names (and what an undo puts back)
  const char* params;  // the members it reads besides "package", space-separated; null: not checked
  const char* help;    // one line for `call --help`
};

// Every command, in the order `call --help` lists them.
std::span<const Command> commands();
// The row named `name`; null when there is none.
const Command* find_command(std::string_view name);

// Whether the row's command may ask the game with these `params` (see GameUse).
bool may_ask_game(const Command& command, const mods::json::Value& params);

// The list of commands and their help lines, one a line, for `call --help`.
std::string command_help();

}  // namespace host::server

#endif  // PATHWRIGHT_SERVER_COMMAND_TABLE_H_
