// The `pathwright` command: `serve` (JSON-RPC 2.0 over standard input and output), `call` (one request,
// then exit), `map` (the browser map over HTTP) and `tour` (a guided walk through what Pathwright does). Exceptions end
// here, each turned into a message on standard error.
#include <CLI/CLI.hpp>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <iostream>
#include <string>

#include "cli/install_paths.h"
#if PATHWRIGHT_WITH_MAP
#include "cli/map_command.h"
#else
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "map/map_server.h"  // the map's flags: parsed here, then the map program takes over
#endif
#include "cli/bridge_check_command.h"
#include "cli/check_command.h"
#include "cli/diff_command.h"
#include "cli/merge_command.h"
#include "cli/tour.h"
#include "json_text/json_text.h"
#include "protocol/link_protocol.h"
#include "server/command_table.h"
#include "server/shared_workbench.h"
#include "server/stdio_server.h"
#include "server/store_socket.h"
#include "server/workbench.h"

namespace {

using host::server::Workbench;
using host::server::WorkbenchOptions;

constexpr int kExitFailed = 1;    // the command failed
constexpr int kExitBadUsage = 2;  // unknown method, bad flags or parameters
// The game timeout's allowed range (seconds): above zero, and short enough to count in milliseconds.
constexpr double kMinGameTimeoutSeconds = 0.001;
constexpr double kMaxGameTimeoutSeconds = 3600;
constexpr double kMaxLockWaitSeconds = 86400;          // s; a day: anything longer is a mistake
constexpr double kMaxRequestBytes = double{1u << 30};  // bytes of one request line: 1 GiB

// A flag's number checked against its range, which the message gives in plain numbers
// ("the game timeout is 0.001 to 3600 seconds, not -1"); CLI11's own ranges print 309 digits.
CLI::Validator in_range(const std::string& what, double low, double high, const std::string& unit) {
  const auto plain = [](double number) {
    char text[32];
    std::snprintf(text, sizeof text, "%.10g", number);
    return std::string(text);
  };
  const std::string range = what + " is " + plain(low) + " to " + plain(high) + " " + unit;
  return CLI::Validator(
      [=](const std::string& text) {
        char* end = nullptr;
        const double number = std::strtod(text.c_str(), &end);
        if (end == text.c_str() || *end != '\0' || !(number >= low && number <= high)) return range + ", not " + text;
        return std::string();
      },
      unit == "seconds" ? "SECONDS" : "N");
}

constexpr double kCallLockWaitSeconds = 10;  // s; how long `call` waits for another `call` to let go of the store

struct Flags {
  std::string store;
  std::string game;
  double game_timeout = host::link::GameLink::kDefaultTimeoutSeconds;
  bool demo = false;
  std::string world;  // an OBJ mesh for the in-process game instead of the island
  bool manual_clock = false;
  std::string examples = host::cli::shared_data_path("examples");
  std::size_t max_request = host::server::kDefaultMaxRequestBytes;
  double lock_wait = 0;  // s; `serve` never waits: it refuses a store that another process holds
};

void add_store_flags(CLI::App& command, Flags& flags) {
  command.add_option("--store", flags.store, "the store folder holding the mod packages (default: the current folder)")
      ->type_name("DIR");
  auto* game = command
                   .add_option("--game", flags.game,
                               "connect to the game at HOST:PORT (the game listens on 127.0.0.1:" +
                                   std::to_string(protocol::kDefaultPort) + ")")
                   ->type_name("HOST:PORT");
  command.add_option("--game-timeout", flags.game_timeout, "seconds to wait for each answer of the game")
      ->check(in_range("the game timeout", kMinGameTimeoutSeconds, kMaxGameTimeoutSeconds, "seconds"))
      ->type_name("SECONDS")
      ->default_val(host::link::GameLink::kDefaultTimeoutSeconds);
  auto* demo = command.add_flag("--demo", flags.demo,
                                "run the simulated game in this process on the built-in island and, unless --store "
                                "is given, work on a temporary copy of the demo store");
  auto* world = command
                    .add_option("--world", flags.world,
                                "run the simulated game in this process on this OBJ mesh (y up, world units) "
                                "instead of the island; the store is --store or the current folder")
                    ->type_name("FILE.obj")
                    ->check(CLI::ExistingFile);
  game->excludes(world);
  demo->excludes(world);
  command.add_option("--examples", flags.examples, "the folder holding the demo store windfall/")
      ->type_name("DIR")
      ->default_val(host::cli::shared_data_path("examples"));
}

// Opens the workbench the flags describe; null after writing the reason to standard error.
std::unique_ptr<Workbench> open_bench(const Flags& flags, int& status, const std::string& only_command = "") {
  WorkbenchOptions options;
  options.only_command = only_command;
  options.reads_only = host::server::reads_only_command(only_command);
  options.store_dir = flags.store.empty() && !flags.world.empty() ? "." : flags.store;
  options.demo = flags.demo || !flags.world.empty();
  options.world_file = flags.world;
  options.manual_clock = flags.manual_clock;
  options.examples_dir = flags.examples;
  options.game_timeout_seconds = flags.game_timeout;
  options.lock_wait_seconds = flags.lock_wait;
  std::string error;
  if (!flags.game.empty()) {
    if (flags.demo) {
      std::cerr << "pathwright: --game and --demo exclude each other\n";
      status = kExitBadUsage;
      return nullptr;
    }
    if (!host::link::parse_game_address(flags.game, options.game, error)) {
      std::cerr << "pathwright: " << error << "\n";
      status = kExitBadUsage;
      return nullptr;
    }
    options.use_game = true;
  }
  bool held = false;
  auto bench = Workbench::open(options, error, held);
  if (!bench) {
    std::cerr << "pathwright: " << error << "\n";
    if (held) std::cerr << "pathwright: one process at a time edits a store; try again when it has finished\n";
    status = kExitFailed;
    return nullptr;
  }
  bench->on_note = [](const std::string& text) { std::cerr << "pathwright: " << text << "\n"; };
  return bench;
}

int serve(Flags flags) {
  flags.lock_wait = 0;  // another process editing the store is a reason to refuse, not to wait
  int status = 0;
  auto bench = open_bench(flags, status);
  if (!bench) return status;
  std::string error;
  host::server::SharedWorkbench shared(*bench);
  // `call` on this store runs through this process, in its history.
  auto listener = host::server::StoreSocketListener::start(bench->store_dir(), shared.runner(), error);
  if (!listener) {
    std::cerr << "pathwright: " << error << "\n";
    return kExitFailed;
  }
  status = host::server::serve_stdio(shared, error, flags.max_request);
  if (status != 0) std::cerr << "pathwright: " << error << "\n";
  return status;
}

#if PATHWRIGHT_WITH_MAP
int map(const Flags& flags, const host::map::MapServerOptions& options, char** /*argv*/) {
  if (flags.manual_clock && !flags.demo && flags.world.empty()) {
    std::cerr << "pathwright: --manual-clock needs --demo or --world (only the in-process game has a clock to "
                 "hold)\n";
    return kExitBadUsage;
  }
  host::cli::block_stop_signals();  // before any thread starts: run_map alone takes SIGINT and SIGTERM
  int status = 0;
  auto bench = open_bench(flags, status);
  if (!bench) return status;
  std::string error;
  status = host::cli::run_map(*bench, options, error);
  if (status != 0) std::cerr << "pathwright: " << error << "\n";
  return status;
}
#else
// This program leaves the map out, so that a one-shot `call` starts without loading the HTTP server's
// libraries (TLS among them: about half of this program's start-up). `map`, its flags checked, is run by
// the same program built with the map, which lies beside this one, in this process (same id, same output).
int map(const Flags& /*flags*/, const host::map::MapServerOptions& /*options*/, char** argv) {
  const std::string program = host::cli::program_path(host::cli::kMapProgram);
  ::execv(program.c_str(), argv);
  std::cerr << "pathwright: the map program \"" << program << "\" cannot be started: " << std::strerror(errno) << "\n";
  return kExitFailed;
}
#endif

// Prints a command's outcome as `call` does; answers the exit status.
int report(const std::string& method, const host::server::CallOutcome& outcome) {
  std::string text, error;
  if (!outcome.handled) {
    std::cerr << "pathwright: unknown method \"" << method << "\"\n";
    return kExitBadUsage;
  }
  if (!outcome.ok) {
    std::cerr << outcome.error << "\n";
    if (!outcome.result.is_null() &&
        json_text::print_json(outcome.result, json_text::JsonLayout::Indented, text, error)) {
      std::cerr << text;
    }
    return kExitFailed;
  }
  if (!json_text::print_json(outcome.result, json_text::JsonLayout::Indented, text, error)) {
    std::cerr << "pathwright: the result cannot be written: " << error << "\n";
    return kExitFailed;
  }
  std::fwrite(text.data(), 1, text.size(), stdout);
  std::fflush(stdout);
  return 0;
}

// Runs the command through the process that holds the store, when one listens on its socket; `outcome`
// then holds its answer (or, for Failed, the reason in `error`).
host::server::Forwarded forward(const std::string& store, double wait_seconds, const std::string& method,
                                const mods::json::Value& params, host::server::CallOutcome& outcome) {
  using mods::json::Value;
  Value request = Value::object();
  request["jsonrpc"] = Value::of("2.0");
  request["id"] = Value::of(1.0);
  request["method"] = Value::of(method);
  request["params"] = params;
  std::string line, answer_text, error;
  if (!json_text::print_json(request, json_text::JsonLayout::Compact, line, error)) {
    outcome.error = "the parameters cannot be sent: " + error;
    return host::server::Forwarded::Failed;
  }
  const host::server::Forwarded forwarded =
      host::server::forward_call(store, line, wait_seconds, answer_text, outcome.error);
  if (forwarded != host::server::Forwarded::Answered) return forwarded;
  Value answer;
  json_text::JsonTextError parse_error;
  if (!json_text::parse_json(answer_text, answer, parse_error) || !answer.is_object()) {
    outcome.error = "the Pathwright process that holds the store answered something that is not JSON-RPC";
    return host::server::Forwarded::Failed;
  }
  outcome.handled = true;
  outcome.ok = answer.has("result");
  if (outcome.ok) {
    outcome.result = answer.get("result");
    return forwarded;
  }
  const Value& failure = answer.get("error");
  outcome.handled = failure.get("code").number != host::server::rpc_code::kMethodNotFound;
  outcome.error = failure.get("message").string("the command failed");
  outcome.result = failure.get("data");
  return forwarded;
}

int call(const Flags& flags, const std::string& method, const std::string& params_text) {
  mods::json::Value params = mods::json::Value::object();
  if (!params_text.empty()) {
    json_text::JsonTextError parse_error;
    if (!json_text::parse_json(params_text, params, parse_error)) {
      std::cerr << "pathwright: the parameters are not JSON: " << parse_error.message() << "\n";
      return kExitBadUsage;
    }
    if (!params.is_object()) {
      std::cerr << "pathwright: the parameters must be a JSON object\n";
      return kExitBadUsage;
    }
  }
  if (!(flags.demo && flags.store.empty())) {
    host::server::CallOutcome outcome;
    switch (forward(flags.store.empty() ? "." : flags.store, flags.lock_wait, method, params, outcome)) {
      case host::server::Forwarded::Answered: return report(method, outcome);
      case host::server::Forwarded::Failed: std::cerr << "pathwright: " << outcome.error << "\n"; return kExitFailed;
      case host::server::Forwarded::NoListener: break;
    }
  }
  int status = 0;
  auto bench = open_bench(flags, status, method);
  if (!bench) return status;
  status = report(method, bench->run(method, params));
  std::string error;
  if (!bench->flush(error)) {
    std::cerr << "pathwright: " << error << "\n";
    status = kExitFailed;
  }
  return status;
}

CLI::App* add_serve_command(CLI::App& app, Flags& flags) {
  CLI::App* serve_command = app.add_subcommand(
      "serve", "speak JSON-RPC 2.0 on standard input and output, one message per line (see docs/json-rpc.md)");
  add_store_flags(*serve_command, flags);
  serve_command
      ->add_option("--max-request", flags.max_request,
                   "the longest request line served, in bytes; a longer one is skipped and answered with an error")
      ->check(in_range("the longest request", 1, kMaxRequestBytes, "bytes"))
      ->type_name("BYTES")
      ->default_val(host::server::kDefaultMaxRequestBytes);
  return serve_command;
}

CLI::App* add_call_command(CLI::App& app, Flags& flags, std::string& method, std::string& params_text) {
  CLI::App* call_command =
      app.add_subcommand("call",
                         "run one command and print its result as JSON; on failure the error goes to standard error "
                         "(exit status 1, or 2 for an unknown method or bad usage)");
  add_store_flags(*call_command, flags);
  call_command->add_option("METHOD", method, "the command, e.g. add_route_point, undo, status")->required();
  call_command->footer(host::server::command_help());
  call_command->add_option("--lock-wait", flags.lock_wait, "seconds to wait while another process holds the store")
      ->check(in_range("the lock wait", 0, kMaxLockWaitSeconds, "seconds"))
      ->type_name("SECONDS")
      ->default_val(kCallLockWaitSeconds);
  call_command->add_option("PARAMS", params_text,
                           "the command's parameters as a JSON object, e.g. '{\"id\":\"gate_guard\"}'");
  return call_command;
}

CLI::App* add_map_command(CLI::App& app, Flags& flags, host::map::MapServerOptions& map_options) {
  map_options.web_dir = host::cli::shared_data_path("web");
  CLI::App* map_command =
      app.add_subcommand("map",
                         "serve the browser map over HTTP on 127.0.0.1; prints the address to open, with its token, as "
                         "the first line (see docs/map.md)");
  add_store_flags(*map_command, flags);
  map_command->add_option("--port", map_options.port, "the port to listen on; 0 picks a free one")
      ->check(in_range("the port", 0, 65535, "(0 picks a free one)"))
      ->type_name("N")
      ->default_val(host::map::MapServerOptions::kDefaultPort);
  map_command
      ->add_option("--bind", map_options.bind,
                   "the address to listen on (anything but loopback is "
                   "reachable from other machines)")
      ->type_name("ADDR")
      ->default_val("127.0.0.1");
  map_command->add_option("--token", map_options.token, "the token the page must present (default: random)")
      ->type_name("TEXT");
  map_command->add_option("--web", map_options.web_dir, "the folder holding the built page")
      ->type_name("DIR")
      ->default_val(map_options.web_dir);
  map_command->add_flag("--manual-clock", flags.manual_clock,
                        "with --demo: the game's time stands still until the JSON-RPC method advance_game");
  return map_command;
}

void add_tour_command(CLI::App& app, Flags& flags) {
  CLI::App* tour_command =
      app.add_subcommand("tour",
                         "a guided tour on a temporary copy of the demo store with the simulated game; exits 0 only "
                         "when every step answered as expected");
  tour_command->add_flag("--demo", flags.demo, "accepted for symmetry: the tour always runs the simulated game");
  tour_command->add_option("--examples", flags.examples, "the folder holding the demo store windfall/")
      ->type_name("DIR")
      ->default_val(host::cli::shared_data_path("examples"));
}

int run(int argc, char** argv) {
  CLI::App app{"Pathwright: edits the routes that actors of a mod package walk, and asks the running game about them."};
  app.require_subcommand(1);
  Flags flags;
  std::string method, params_text;
  host::map::MapServerOptions map_options;
  CLI::App* serve_command = add_serve_command(app, flags);
  CLI::App* call_command = add_call_command(app, flags, method, params_text);
  CLI::App* map_command = add_map_command(app, flags, map_options);
  add_tour_command(app, flags);
  host::cli::CheckCommand check_command(app, flags.examples);
  host::cli::DiffCommand diff_command(app);
  host::cli::MergeCommand merge_command(app);
  host::cli::ResolveCommand resolve_command(app);
  app.set_version_flag("--version", std::string("pathwright ") + PATHWRIGHT_VERSION);
  host::cli::BridgeCheckCommand bridge_check_command(app);

  // CLI11 would only say that a subcommand is required.
  const auto named = [&](const CLI::App* command) { return command->get_name() == argv[1]; };
  if (argc > 1 && argv[1][0] != '-' && app.get_subcommands(named).empty()) {
    std::cerr << "pathwright: unknown command \"" << argv[1]
              << "\" (the commands are serve, call, map, check, diff, merge, resolve, bridge-check and tour)\n";
    return kExitBadUsage;
  }
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& e) {
    int code = app.exit(e);
    return code == 0 ? 0 : kExitBadUsage;
  }
  if (serve_command->parsed()) return serve(flags);
  if (call_command->parsed()) return call(flags, method, params_text);
  if (map_command->parsed()) return map(flags, map_options, argv);
  if (check_command.parsed()) return check_command.run();
  if (diff_command.parsed()) return diff_command.run();
  if (merge_command.parsed()) return merge_command.run();
  if (resolve_command.parsed()) return resolve_command.run();
  if (bridge_check_command.parsed()) return bridge_check_command.run();
  return host::cli::run_tour(flags.examples, std::cout) ? 0 : kExitFailed;
}

}  // namespace

int main(int argc, char** argv) {
  std::signal(SIGPIPE, SIG_IGN);  // a closed pipe is an error return from write, not a death
  try {
    return run(argc, argv);
  } catch (const std::exception& e) {
    std::cerr << "pathwright: " << e.what() << "\n";
    return kExitFailed;
  }
}
