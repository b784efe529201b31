#include "cli/check_command.h"

#include <iostream>
#include <memory>

#include "check/check_places.h"
#include "check/check_report.h"
#include "json_text/json_text.h"
#include "server/workbench.h"
#include "store/file_system.h"
#include "store/package_name.h"

namespace host::cli {

using check::check_passed;
using check::check_report;
using check::place_answer;
using link::parse_game_address;
using server::CallOutcome;
using server::Workbench;
using server::WorkbenchOptions;
using store::FileIdentity;
using store::kPackageFileSuffix;
using store::PosixFileSystem;

namespace {

using mods::json::Value;

// The workbench the flags describe; null with `error` saying why.
std::unique_ptr<Workbench> open_for_check(WorkbenchOptions options, const std::string& game, std::string& error) {
  if (!game.empty()) {
    if (!parse_game_address(game, options.game, error)) return nullptr;
    options.use_game = true;
  }
  auto bench = Workbench::open(options, error);
  if (!bench) return nullptr;
  bench->on_note = [](const std::string& text) { std::cerr << "pathwright check: " << text << "\n"; };
  return bench;
}

// The names of the store's packages, warning on standard error of each .json file that is none; false with
// `error` saying why there is nothing to check. `skipped` gets the listing's "skipped".
bool store_packages(Workbench& bench, std::vector<std::string>& names, Value& skipped, std::string& error) {
  const CallOutcome listing = bench.run("packages", Value::object());
  if (!listing.ok) {
    error = listing.error;
    return false;
  }
  for (const Value& entry : listing.result.get("packages").items) names.push_back(entry.get("name").string(""));
  skipped = listing.result.get("skipped").is_array() ? listing.result.get("skipped") : Value::array();
  for (const Value& file : skipped.items) {
    std::cerr << "pathwright check: skipped \"" << file.get("file").string("")
              << "\": " << file.get("reason").string("") << "\n";
  }
  if (names.empty()) error = "the store holds no package";
  return !names.empty();
}

// check_package of `name`; a name given as its file, NAME.json, is taken as NAME when no package has the
// whole name.
CallOutcome check_one(Workbench& bench, const std::string& name, double seconds) {
  Value params = Value::object();
  params["package"] = Value::of(name);
  params["seconds"] = Value::of(seconds);
  CallOutcome outcome = bench.run("check_package", params);
  const std::string suffix = kPackageFileSuffix;
  const bool file_name =
      name.size() > suffix.size() && name.compare(name.size() - suffix.size(), suffix.size(), suffix) == 0;
  if (outcome.ok || !file_name) return outcome;
  params["package"] = Value::of(name.substr(0, name.size() - suffix.size()));
  CallOutcome as_package = bench.run("check_package", params);
  if (as_package.ok) return as_package;
  outcome.error += " (a package is named without \".json\")";
  return outcome;
}

}  // namespace

CheckCommand::CheckCommand(CLI::App& app, const std::string& examples) : examples_(examples) {
  command_ = app.add_subcommand(
      "check",
      "check whole packages: every walking route against the ground, and what was probably not meant; "
      "exit status 0 when all passed, 1 when something failed, 2 when the check could not run");
  command_->add_option("PACKAGE", packages_, "the packages to check (default: every package of the store)");
  command_->add_option("--store", store_, "the store folder holding the mod packages (default: the current folder)")
      ->type_name("DIR");
  auto* game = command_->add_option("--game", game_, "check against the game at HOST:PORT")->type_name("HOST:PORT");
  auto* demo = command_->add_flag("--demo", demo_,
                                  "check against the simulated island in this process and, unless --store is "
                                  "given, on a temporary copy of the demo store");
  auto* world = command_->add_option("--world", world_, "check against the ground of this OBJ mesh, in this process")
                    ->type_name("FILE.obj")
                    ->check(CLI::ExistingFile);
  game->excludes(demo)->excludes(world);
  demo->excludes(world);
  command_->add_option("--format", format_, "text: lines to read; json: the check_package answers")
      ->check(CLI::IsMember({"text", "json"}))
      ->default_val("text");
  command_->add_option("--seconds", seconds_, "the game time within which walkers' meetings are found")
      ->type_name("N")
      ->check(CLI::Range(1.0, 3600.0))
      ->default_val(600);
  command_->add_option("--examples", examples_, "the folder holding the demo store windfall/")
      ->type_name("DIR")
      ->default_val(examples);
}

int CheckCommand::cannot_run(const std::string& error) const {
  std::cerr << "pathwright check: " << error << "\n";
  if (format_ == "json") {
    Value answer = Value::object();
    answer["error"] = Value::of(error);
    print(answer);
  }
  return kExitCannotRun;
}

bool CheckCommand::print(const Value& answer) const {
  std::string text, error;
  if (!json_text::print_json(answer, json_text::JsonLayout::Indented, text, error)) {
    std::cerr << "pathwright check: the answer cannot be written: " << error << "\n";
    return false;
  }
  std::cout << text;
  std::cout.flush();
  return true;
}

int CheckCommand::run() const {
  WorkbenchOptions options;
  options.store_dir = store_.empty() && !world_.empty() ? "." : store_;
  options.demo = demo_ || !world_.empty();
  options.world_file = world_;
  options.examples_dir = examples_;
  // A check writes nothing: it reads a store that cannot be written, or one a map or serve holds, as is.
  options.reads_only = true;
  options.read_beside_holder = true;
  std::string error;
  auto bench = open_for_check(options, game_, error);
  if (!bench) return cannot_run(error);
  std::vector<std::string> names = packages_;
  Value skipped = Value::array();
  if (names.empty() && !store_packages(*bench, names, skipped, error)) return cannot_run(error);

  // Without a ground source the check of the routes never runs: say which flags give one.
  const bool grounded = !game_.empty() || demo_ || !world_.empty();
  int status = kExitPassed;
  Value answers = Value::array();
  Value unreadable = Value::array();
  for (const std::string& name : names) {
    const CallOutcome outcome = check_one(*bench, name, seconds_);
    if (!outcome.ok) {
      std::cerr << "pathwright check: " << name << ": " << outcome.error << "\n";
      Value entry = Value::object();
      entry["package"] = Value::of(name);
      entry["error"] = Value::of(outcome.error);
      unreadable.items.push_back(std::move(entry));
      status = kExitCannotRun;
      continue;
    }
    Value answer = outcome.result;
    if (!grounded && !answer.get("checked").boolean) {
      answer["game"] = Value::of("no ground to check against: give --game HOST:PORT, --demo or --world FILE.obj");
    }
    if (!answer.get("checked").boolean) {
      status = kExitCannotRun;
    } else if (!check_passed(answer) && status == kExitPassed) {
      status = kExitFailed;
    }
    std::string text;
    FileIdentity identity;
    const std::string checked = answer.get("package").string(name);
    if (PosixFileSystem().read_file(bench->store_dir() + "/" + checked + ".json", text, identity) == 0) {
      place_answer(answer, text);
    }
    if (format_ == "text") std::cout << check_report(answer);
    answers.items.push_back(std::move(answer));
  }
  if (format_ == "json") {
    Value result = Value::object();
    result["packages"] = std::move(answers);
    result["unreadable"] = std::move(unreadable);
    result["skipped"] = std::move(skipped);
    if (!print(result)) return kExitCannotRun;
  }
  std::cout.flush();
  return status;
}

}  // namespace host::cli
