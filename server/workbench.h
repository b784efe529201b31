// What every front end runs commands against: the open store (a host::session::HostSession), the game (over the
// TCP link, or simulated in this process for --demo and the tour), and the host's "status". It keeps
// the session's `live_game` pointing at the game only while the game is connected, hands the game every
// package after a (re)connect and each package again after it changes, and turns a failing game link
// into the command's error. Owned by the front end; used by one thread.
#ifndef PATHWRIGHT_SERVER_WORKBENCH_H_
#define PATHWRIGHT_SERVER_WORKBENCH_H_

#include <functional>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "json/value.h"
#include "link/game_link.h"
#include "server/json_rpc.h"

namespace host::link {
class HostGame;
}  // namespace host::link

namespace host::session {
class HostSession;
}  // namespace host::session

namespace host::store {
class StoreLock;
}  // namespace host::store

namespace host::server {

class TempFolder;

struct WorkbenchOptions {
  std::string store_dir;      // "" with `demo`: a temporary copy of the demo store
  bool demo = false;          // run the simulated game in this process
  bool manual_clock = false;  // with `demo`: the game's time stands still until advance_game
  std::string world_file;     // with `demo`: an OBJ mesh as the in-process game's world, not the island
  bool use_game = false;      // connect to the game at `game`
  link::GameAddress game;
  double game_timeout_seconds = link::GameLink::kDefaultTimeoutSeconds;
  std::string examples_dir;         // holds windfall/, the demo store
  double lock_wait_seconds = 0;     // how long to wait for another process to let go of the store
  std::string only_command;         // the one command this Workbench runs, when known (`call`); "" otherwise
  bool reads_only = false;          // every command it runs only reads (see reads_only_command)
  bool read_beside_holder = false;  // with reads_only: a store another process holds is read beside it
};

// Whether `method` only reads the store: such commands run on a store that cannot be written, and then
// create nothing in it.
bool reads_only_command(const std::string& method);

class Workbench {
 public:
  // Opens the store (copying the demo store first when asked), takes its lock (waiting up to
  // `lock_wait_seconds` for another process), removes what crashed saves left and sets up the game. With
  // `reads_only`, a store that cannot be written, has no .pathwright folder yet or (with
  // `read_beside_holder`) is held by another process is read without the lock, writing nothing, and
  // every command that would write is refused with the advice to copy the store. On
  // null, `error` says why (naming the process that holds the store, when that is why) and nothing is
  // left behind; `store_held` tells that case apart.
  static std::unique_ptr<Workbench> open(const WorkbenchOptions& options, std::string& error, bool& store_held);
  static std::unique_ptr<Workbench> open(const WorkbenchOptions& options, std::string& error) {
    bool store_held = false;
    return open(options, error, store_held);
  }
  ~Workbench();

  // Runs one command of the command table (command_table.h). Before it, reconnects to the game when due
  // and the command may ask it. Never throws for a failing game: that ends the command with code
  // kGameLinkFailed.
  CallOutcome run(const std::string& method, const mods::json::Value& params);

  // Whether the store is read without its lock, writing nothing (see open).
  bool read_only() const { return read_only_; }
  // The store folder the Workbench works in (the temporary copy for --demo).
  const std::string& store_dir() const { return options_.store_dir; }

  // Lets the store fold its journal when due; called while idle and after each command.
  void maintain();
  // Saves everything now. On false, `error` says which package could not be saved and why.
  bool flush(std::string& error);

  // Moves the in-process game's manual clock on by `seconds` (the tour's way to let residents walk). On
  // false (no in-process game, or its clock is real), `error` says why.
  bool advance_game(double seconds, std::string& error);

  // The game as it stands now, after reconnecting when due; null when none is connected. The pointer is
  // good until the next call on this Workbench. A failing link answers false from ground_heights.
  editor::LiveGame* current_game();
  // status()'s "game" member: connected, world, bounds (when known) or problem.
  mods::json::Value game_state() { return status().get("game"); }
  // The answer to "status": {"store", "packages", "conflicts", "game_timeout", "methods" (the command
  // table's names), "game": {"connected", "address", "world"?, "time"?, "bounds"?, "problem"?, "retry_in"?}}.
  mods::json::Value status();
  // advance_game {"seconds": S} -> {"time": T}: the manual clock of the in-process game moves on. On
  // false `error` says why and the clock stands where it stood.
  bool advance_command(const mods::json::Value& params, mods::json::Value& result, std::string& error);
  // Adds the game's refusal of the package a check_package `answer` is about, when it refuses it.
  void add_refusal(mods::json::Value& answer) const;

  // Where every walking actor of `package` is in the game now: on true `live` is {"time": T, "actors":
  // [{"id", "position", "point"}]}. On false (no game, package not in the game, link failure) `error`
  // says why.
  bool live_actors(const std::string& package, mods::json::Value& live, std::string& error);

  // Receives diagnostics (a lost game, a package the game did not take); the front end writes them to
  // standard error. May be empty.
  std::function<void(const std::string&)> on_note;
  // Told of every applied change, undo, redo and reload (whichever front end ran it): the package's
  // name, the kind ("change", "undo", "redo", "reload") and the change's label. May be empty.
  std::function<void(const std::string& package, const std::string& kind, const std::string& label)> on_applied;

 private:
  Workbench() = default;
  // The steps of open(), in order. On false, `error` says why.
  bool open_store(std::string& error, bool& store_held);
  // Takes the store's lock, or settles for reading without it (see open). On false, `error` says why.
  bool lock_store(std::string& error, bool& store_held);
  bool start_game(std::string& error);
  void follow_changes();
  void open_every_package_in_game();
  // What the game link hands a fresh connection: every loaded package, noting the ones it cannot.
  std::vector<const editor::Session::Package*> packages_for_new_connection();
  void note(const std::string& text) const;
  void refresh_live_game();
  editor::LiveGame* game() const;
  bool hand_over(const editor::Session::Package& package);
  void refused(const std::string& package, const std::string& problem);
  void sync_game(const mods::json::Value& params);

  WorkbenchOptions options_;
  std::unique_ptr<TempFolder> temp_store_;  // outlives the session that works in it
  std::unique_ptr<store::StoreLock> lock_;  // held while the session works in the store
  bool read_only_ = false;                  // no lock, nothing written: see open
  std::string read_only_reason_;            // why, for the refusal of a command that would write
  std::unique_ptr<session::HostSession> session_;
  std::unique_ptr<link::HostGame> game_;        // the link, or the in-process game of --demo; null: none
  std::set<std::string> handed_over_;           // packages the game has had since it (re)connected
  std::map<std::string, std::string> refused_;  // package -> the game's words, while it refuses it
  std::map<std::string, std::string> told_;     // package -> the refusal last told through on_note
};

}  // namespace host::server

#endif  // PATHWRIGHT_SERVER_WORKBENCH_H_
