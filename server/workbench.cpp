#include "server/workbench.h"

#include <unistd.h>

#include <cerrno>
#include <vector>

#include "check/check_methods.h"
#include "check/package_check.h"
#include "link/local_live_game.h"
#include "server/command_table.h"
#include "server/known_params.h"
#include "server/temp_folder.h"
#include "session/host_session.h"
#include "session/number_param.h"
#include "store/file_system.h"
#include "store/package_store.h"
#include "store/store_lock.h"

namespace host::server {

using check::add_game_refusal;
using check::add_settings_warnings;
using link::GameLink;
using link::GameLinkError;
using link::kOnlyInProcessClock;
using link::LocalLiveGame;
using session::HostSession;
using session::read_number_param;
using store::error_text;
using store::kJournalFolderName;
using store::StoreLock;

namespace {

using mods::json::Value;

constexpr const char* kDemoStore = "windfall";  // the folder under the examples that --demo copies
constexpr double kMostAdvanceSeconds = 86400;   // s of game time one advance_game moves on at most: a day

}  // namespace

std::unique_ptr<Workbench> Workbench::open(const WorkbenchOptions& options, std::string& error, bool& store_held) {
  store_held = false;
  std::unique_ptr<Workbench> bench(new Workbench());
  bench->options_ = options;
  if (!bench->open_store(error, store_held)) return nullptr;
  if (!bench->start_game(error)) return nullptr;
  bench->follow_changes();
  if (bench->game_) bench->open_every_package_in_game();
  return bench;
}

bool Workbench::open_store(std::string& error, bool& store_held) {
  // Without --store: the current folder, or for --demo a private copy of the demo store.
  std::string store_dir(options_.store_dir.empty() ? "." : options_.store_dir);
  if (options_.store_dir.empty() && options_.demo) {
    std::string demo_store = options_.examples_dir;
    demo_store.append("/").append(kDemoStore);
    temp_store_ = TempFolder::copy_of(demo_store, error);
    if (!temp_store_) return false;
    store_dir = temp_store_->path();
  }
  options_.store_dir = store_dir;
  session_ = HostSession::open(store_dir, error);
  if (!session_) return false;
  // A game is handed whole packages, so only a process with none and one command to run outlines them.
  const Command* only = find_command(options_.only_command);
  if (!options_.demo && !options_.use_game && only != nullptr && only->one_actor) session_->load_outlined();
  if (!lock_store(error, store_held)) return false;
  if (read_only_) return true;
  int removed = 0;
  return session_->remove_interrupted_saves(removed, error);
}

bool Workbench::lock_store(std::string& error, bool& store_held) {
  const std::string& store = session_->store_dir();
  const std::string journal = store + "/" + kJournalFolderName;
  std::string unwritable;  // why the store cannot be written, "" when it can
  if (::access(store.c_str(), W_OK) != 0 ||
      (::access(journal.c_str(), F_OK) == 0 && ::access(journal.c_str(), W_OK) != 0)) {
    unwritable = error_text(errno);
  }
  const bool untouched = ::access(journal.c_str(), F_OK) != 0;  // nothing of ours in it yet
  if (options_.reads_only && (!unwritable.empty() || untouched)) {
    read_only_ = true;
    read_only_reason_ = unwritable.empty() ? "" : "it cannot be written (" + unwritable + ")";
  } else if (!unwritable.empty()) {
    error = "the store \"" + store + "\" cannot be written (" + unwritable + "): copy it to edit it, e.g. cp -r '" +
            store + "' ~/mods/copy";
    return false;
  } else {
    lock_ = StoreLock::take(store, options_.lock_wait_seconds, store_held, error);
    if (!lock_ && !(store_held && options_.reads_only && options_.read_beside_holder)) return false;
    if (!lock_) {
      read_only_ = true;
      const std::string holder = StoreLock::holder(store);
      read_only_reason_ = "it is in use by " + (holder.empty() ? std::string("another process") : holder);
      store_held = false;
      error.clear();
    }
  }
  if (read_only_) session_->forbid_writes();
  return true;
}

bool Workbench::start_game(std::string& error) {
  if (options_.demo) {
    game_ = LocalLiveGame::open(options_.world_file, options_.manual_clock, error);
    if (!game_) return false;
  } else if (options_.use_game) {
    auto link = std::make_unique<GameLink>(options_.game, options_.game_timeout_seconds);
    link->on_note = [this](const std::string& text) { note(text); };
    link->loaded_packages = [this] { return packages_for_new_connection(); };
    link->on_refused = [this](const std::string& package, const std::string& problem) { refused(package, problem); };
    game_ = std::move(link);
  }
  return true;
}

std::vector<const editor::Session::Package*> Workbench::packages_for_new_connection() {
  // A fresh connection: the game has none of our packages yet.
  handed_over_.clear();
  std::vector<const editor::Session::Package*> packages;
  for (const std::string& name : session_->loaded_package_names()) {
    Value params = Value::object();
    params["package"] = Value::of(name);
    std::string problem;
    if (const editor::Session::Package* package = session_->package(params, problem)) {
      packages.push_back(package);
      handed_over_.insert(name);
    } else {
      note("cannot hand package \"" + name + "\" to the game: " + problem);
    }
  }
  return packages;
}

void Workbench::follow_changes() {
  // Whatever the modder just changed is what the game walks next.
  session_->on_changed = [this](const editor::Session::Package& package) {
    if (session_->live_game != nullptr) hand_over(package);
  };
  session_->on_applied = [this](const editor::Session::Package& package, const std::string& kind,
                                const std::string& label) {
    if (on_applied) on_applied(package.name, kind, label);
  };
}

void Workbench::open_every_package_in_game() {
  // Open every package of the store now, so the game walks all of them from the start rather than
  // each from the first command that names it.
  Value listing;
  std::string problem;
  session_->packages(listing, problem);
  for (const Value& entry : listing.get("packages").items) {
    if (entry.has("error")) note("package \"" + entry.get("name").str + "\": " + entry.get("error").str);
  }
  game_->ensure_connected();
  refresh_live_game();
  sync_game(Value());
}

Workbench::~Workbench() = default;

void Workbench::note(const std::string& text) const {
  if (on_note) on_note(text);
}

editor::LiveGame* Workbench::game() const { return game_ && game_->connected() ? game_.get() : nullptr; }

void Workbench::refresh_live_game() { session_->live_game = game(); }

// A refused package is tried again before each command: said once, until the game's words change.
void Workbench::refused(const std::string& package, const std::string& problem) {
  refused_[package] = problem;
  handed_over_.erase(package);
  if (!on_note || told_[package] == problem) return;  // before the front end listens nothing is told
  told_[package] = problem;
  note("the game did not take package \"" + package + "\": " + problem);
}

bool Workbench::hand_over(const editor::Session::Package& package) {
  std::string problem;
  if (!session_->live_game->load_package(package, problem)) {
    refused(package.name, problem);
    return false;
  }
  refused_.erase(package.name);
  told_.erase(package.name);
  handed_over_.insert(package.name);
  return true;
}

// The store opens packages as commands name them: hand the game each one it has not had yet, before the
// command that may ask the game about it.
void Workbench::sync_game(const Value& params) {
  if (session_->live_game == nullptr) return;
  std::string problem;
  for (const std::string& name : session_->loaded_package_names()) {
    if (handed_over_.count(name) != 0) continue;
    Value named = Value::object();
    named["package"] = Value::of(name);
    if (const editor::Session::Package* package = session_->package(named, problem)) hand_over(*package);
    refresh_live_game();
    if (session_->live_game == nullptr) return;
  }
  if (!params.is_object()) return;
  if (editor::Session::Package* package = session_->package(params, problem)) {
    if (handed_over_.count(package->name) == 0) hand_over(*package);
  }
}

Value Workbench::status() {
  Value status = Value::object();
  status["store"] = Value::of(options_.store_dir);
  status["packages"] = Value::array();
  for (const std::string& name : session_->loaded_package_names()) {
    status["packages"].items.push_back(Value::of(name));
  }
  status["conflicts"] = session_->conflicts();
  status["game_timeout"] = Value::of(options_.game_timeout_seconds);
  Value& methods = status["methods"];
  methods = Value::array();
  for (const Command& command : commands()) methods.items.push_back(Value::of(command.name));
  Value& game = status["game"];
  if (game_) {
    game = game_->state();
  } else {
    game = Value::object();
    game["connected"] = Value::of(false);
    game["problem"] = Value::of("no game address was given (--game HOST:PORT, --demo or --world FILE.obj)");
  }
  return status;
}

CallOutcome Workbench::run(const std::string& method, const Value& params) {
  // An unknown method goes as far as one that may ask the game and change the store, and is then refused.
  const Command* command = find_command(method);
  if (game_ && (command == nullptr || may_ask_game(*command, params))) game_->ensure_connected();
  refresh_live_game();

  CallOutcome outcome;
  if (read_only_ && (command == nullptr || command->store != StoreUse::Reads)) {
    // Only a store read without its lock gets here: the lock's owner or a copy may write.
    outcome.handled = true;
    outcome.error = "the store \"" + options_.store_dir + "\" is read here without writing" +
                    (read_only_reason_.empty() ? "" : " (" + read_only_reason_ + ")") + ": " + method +
                    " would change it; copy the store to edit it";
    return outcome;
  }
  const bool linked = game_ && game_->connected();
  try {
    if (command == nullptr || command->game != GameUse::Reports) sync_game(params);
    refresh_live_game();
    if (command != nullptr) {
      CommandCall call{*this, *session_, method, params};
      outcome.handled = true;
      outcome.ok = command->run(call, outcome.result, outcome.error);
    }
  } catch (const GameLinkError& e) {
    outcome.handled = true;
    outcome.ok = false;
    outcome.code = rpc_code::kGameLinkFailed;
    outcome.error = e.what();
    outcome.result = Value();
  }
  // A failure of the link inside a step that reports errors as text (such as ground_heights) has
  // dropped the connection: the command failed because of the game, whatever the step called it.
  if (!outcome.ok && linked && !game_->connected()) outcome.code = rpc_code::kGameLinkFailed;
  // Beside the answer, never in it: a misspelt parameter is told, the command's own answer unchanged.
  if (outcome.ok) add_warnings(outcome.result, unknown_param_warnings(method, params));
  refresh_live_game();
  return outcome;
}

void Workbench::add_refusal(Value& answer) const {
  const auto refusal = refused_.find(answer.get("package").string(""));
  if (refusal != refused_.end() && answer.get("checked").boolean) add_game_refusal(answer, refusal->second);
}

editor::LiveGame* Workbench::current_game() {
  if (game_) game_->ensure_connected();
  refresh_live_game();
  sync_game(mods::json::Value());
  refresh_live_game();
  return session_->live_game;
}

bool Workbench::live_actors(const std::string& package, Value& live, std::string& error) {
  if (current_game() == nullptr) {
    error = "the game is not running";
    return false;
  }
  return game_->live_actors(package, live, error);
}

void Workbench::maintain() {
  if (!read_only_) session_->maintain();
}

bool Workbench::flush(std::string& error) { return read_only_ || session_->flush(error); }

bool reads_only_command(const std::string& method) {
  const Command* command = find_command(method);
  return command != nullptr && command->store == StoreUse::Reads;
}

bool Workbench::advance_game(double seconds, std::string& error) {
  if (!game_) {
    error = kOnlyInProcessClock;
    return false;
  }
  double time = 0;
  return game_->advance_clock(seconds, time, error);
}

bool Workbench::advance_command(const Value& params, Value& result, std::string& error) {
  double seconds = 0;
  if (!read_number_param(params, {"advance_game", "seconds", 0, kMostAdvanceSeconds, false, true}, seconds, error)) {
    return false;
  }
  if (!game_ || !game_->manual_clock()) {
    error =
        "advance_game needs the in-process game with a manual clock (--demo or --world FILE.obj, with "
        "--manual-clock)";
    return false;
  }
  double time = 0;
  if (!game_->advance_clock(seconds, time, error)) return false;
  result = Value::object();
  result["time"] = Value::of(time);
  return true;
}

}  // namespace host::server
