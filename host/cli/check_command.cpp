#include "host/cli/check_command.h"

#include <iostream>
#include <memory>

#include "host/check/check_places.h"
#include "host/check/check_report.h"
#include "host/store/file_system.h"
#include "host/cli/workbench.h"
#include "json_text/json_text.h"

namespace host {
namespace {

using mods::json::Value;

// The workbench the flags describe; null after writing the reason to standard error.
std::unique_ptr<Workbench> open_for_check(WorkbenchOptions options, const std::string& game) {
  std::string error;
  if (!game.empty()) {
    if (!parse_game_address(game, options.game, error)) {
      std::cerr << "pathwright check: " << error << "\n";
      return nullptr;
    }
    options.use_game = true;
  }
  auto bench = Workbench::open(options, error);
  if (!bench) {
    std::cerr << "pathwright check: " << error << "\n";
    return nullptr;
  }
  bench->on_note = [](const std::string& text) { std::cerr << "pathwright check: " << text << "\n"; };
  return bench;
}

// The names of the store's packages; false after writing the reason to standard error.
bool store_packages(Workbench& bench, std::vector<std::string>& names) {
  const CallOutcome listing = bench.run("packages", Value::object());
  if (!listing.ok) {
    std::cerr << "pathwright check: " << listing.error << "\n";
    return false;
  }
  for (const Value& entry : listing.result.get("packages").items) names.push_back(entry.get("name").string(""));
  if (names.empty()) std::cerr << "pathwright check: the store holds no package\n";
  return !names.empty();
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
  command_->add_option("--examples", examples_, "the folder holding the demo store windfall/")
      ->type_name("DIR")
      ->default_val(examples);
}

int CheckCommand::run() const {
  WorkbenchOptions options;
  options.store_dir = store_.empty() && !world_.empty() ? "." : store_;
  options.demo = demo_ || !world_.empty();
  options.world_file = world_;
  options.examples_dir = examples_;
  auto bench = open_for_check(options, game_);
  if (!bench) return kExitCannotRun;
  std::vector<std::string> names = packages_;
  if (names.empty() && !store_packages(*bench, names)) return kExitCannotRun;

  int status = kExitPassed;
  Value answers = Value::array();
  for (const std::string& name : names) {
    Value params = Value::object();
    params["package"] = Value::of(name);
    const CallOutcome outcome = bench->run("check_package", params);
    if (!outcome.ok) {
      std::cerr << "pathwright check: " << name << ": " << outcome.error << "\n";
      status = kExitCannotRun;
      continue;
    }
    if (!outcome.result.get("checked").boolean) {
      status = kExitCannotRun;
    } else if (!check_passed(outcome.result) && status == kExitPassed) {
      status = kExitFailed;
    }
    Value answer = outcome.result;
    std::string text;
    FileIdentity identity;
    if (PosixFileSystem().read_file(bench->store_dir() + "/" + name + ".json", text, identity) == 0) {
      place_answer(answer, text);
    }
    if (format_ == "text") std::cout << check_report(answer);
    answers.items.push_back(std::move(answer));
  }
  if (format_ == "json") {
    Value result = Value::object();
    result["packages"] = std::move(answers);
    std::string text, error;
    if (!json_text::print_json(result, json_text::JsonLayout::Indented, text, error)) {
      std::cerr << "pathwright check: the answer cannot be written: " << error << "\n";
      return kExitCannotRun;
    }
    std::cout << text;
  }
  std::cout.flush();
  return status;
}

}  // namespace host
