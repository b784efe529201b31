#include "cli/bridge_check_command.h"

#include <cstdio>
#include <iostream>

#include "bridge_check/bridge_check.h"
#include "json_text/json_text.h"

namespace host::cli {

using link::parse_game_address;

namespace {

using bridge_check::CaseResult;
using mods::json::Value;

const char* outcome_word(CaseResult::Outcome outcome) {
  switch (outcome) {
    case CaseResult::Outcome::Passed: return "ok";
    case CaseResult::Outcome::Failed: return "FAIL";
    case CaseResult::Outcome::Skipped: return "skip";
  }
  return "";
}

void print_case(const CaseResult& result) {
  std::cout << outcome_word(result.outcome) << " " << result.name;
  if (result.outcome == CaseResult::Outcome::Passed) {
    if (!result.text.empty()) std::cout << " (" << result.text << ")";
  } else {
    std::cout << ": " << result.text;
  }
  std::cout << "\n" << std::flush;
}

std::string ms_text(double ms) {
  char buffer[32];
  std::snprintf(buffer, sizeof buffer, "%.3f", ms);
  return buffer;
}

void print_text(const bridge_check::CheckReport& report) {
  for (const bridge_check::Latency& l : report.latency) {
    std::cout << "latency " << l.what << ": median " << ms_text(l.median_ms) << " ms, 99th percentile "
              << ms_text(l.p99_ms) << " ms (" << l.round_trips << " round trips)\n";
  }
  if (!report.problem.empty()) std::cout << "bridge-check: " << report.problem << "\n";
  std::cout << "bridge-check: " << report.passed() << " passed, " << report.failed() << " failed\n";
}

void print_json(const bridge_check::CheckReport& report, const std::string& address) {
  Value out = Value::object();
  out["bridge"] = Value::of(address);
  out["greeted"] = Value::of(report.greeted);
  if (report.greeted) out["world"] = Value::of(report.greeting.world);
  if (!report.problem.empty()) out["problem"] = Value::of(report.problem);
  out["cases"] = Value::array();
  for (const CaseResult& result : report.cases) {
    Value entry = Value::object();
    entry["name"] = Value::of(result.name);
    entry["result"] = Value::of(outcome_word(result.outcome));
    entry["text"] = Value::of(result.text);
    out["cases"].items.push_back(entry);
  }
  out["latency"] = Value::array();
  for (const bridge_check::Latency& l : report.latency) {
    Value entry = Value::object();
    entry["what"] = Value::of(l.what);
    entry["round_trips"] = Value::of(static_cast<double>(l.round_trips));
    entry["median_ms"] = Value::of(l.median_ms);
    entry["p99_ms"] = Value::of(l.p99_ms);
    out["latency"].items.push_back(entry);
  }
  out["passed"] = Value::of(static_cast<double>(report.passed()));
  out["failed"] = Value::of(static_cast<double>(report.failed()));
  std::string text, error;
  json_text::print_json(out, json_text::JsonLayout::Indented, text, error);
  std::cout << text;
}

}  // namespace

BridgeCheckCommand::BridgeCheckCommand(CLI::App& app) {
  command_ = app.add_subcommand(
      "bridge-check",
      "run every case of the game link protocol against a running bridge; exit status 0 when every case "
      "passed, 1 when one failed, 2 when the bridge could not be reached or did not greet");
  command_->add_option("ADDRESS", address_, "where the bridge listens")->type_name("HOST:PORT")->required();
  command_->add_option("--timeout", timeout_seconds_, "the longest wait for any one answer, in seconds")
      ->check(CLI::Range(0.1, 600.0))
      ->capture_default_str();
  command_->add_flag("--no-latency", no_latency_, "leave out the latency report");
  command_->add_option("--format", format_, "text: one line per case; json: one document")
      ->check(CLI::IsMember({"text", "json"}))
      ->capture_default_str();
}

int BridgeCheckCommand::run() const {
  bridge_check::CheckOptions options;
  std::string error;
  if (!parse_game_address(address_, options.address, error)) {
    std::cerr << "pathwright bridge-check: " << error << "\n";
    return kExitUnreachable;
  }
  options.timeout_seconds = timeout_seconds_;
  options.latency = !no_latency_;
  const bool text = format_ == "text";
  const auto report = bridge_check::run_bridge_check(options, text ? print_case : nullptr);
  if (text) {
    print_text(report);
  } else {
    print_json(report, options.address.text());
  }
  if (!report.greeted) return kExitUnreachable;
  return report.failed() > 0 ? kExitFailed : kExitPassed;
}

}  // namespace host::cli
