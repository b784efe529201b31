#include "cli/diff_command.h"

#include <spawn.h>
#include <sys/wait.h>

#include <cerrno>
#include <cstring>
#include <iostream>

#include "cli/package_file.h"
#include "compare/package_diff.h"
#include "json_text/json_text.h"

extern char** environ;

namespace host::cli {
namespace {

using mods::json::Value;

constexpr std::size_t kGitArguments = 7;      // path, old file, old hash, old mode, new file, new hash, new mode
constexpr const char* kNoFile = "/dev/null";  // git's name for the side of a new or deleted file

// Prints the changes as the format says; false when they cannot be written.
bool print_changes(const std::vector<Value>& changes, const std::string& format) {
  if (format == "text") {
    for (const Value& change : changes) std::cout << change.get("text").string("") << "\n";
    return true;
  }
  Value result = Value::object();
  result["changes"] = Value::array();
  result["changes"].items = changes;
  std::string text, error;
  if (!json_text::print_json(result, json_text::JsonLayout::Indented, text, error)) {
    std::cerr << "pathwright diff: the changes cannot be written: " << error << "\n";
    return false;
  }
  std::cout << text;
  return true;
}

// A side of git's external diff: /dev/null is a package without actors (a new or deleted file).
bool read_side(const std::string& path, Value& document, std::string& error) {
  if (path == kNoFile) {
    document = Value::object();
    document["actors"] = Value::array();
    return true;
  }
  return read_package_file(path, document, error);
}

// A file that is not a package (another JSON file, or one holding conflict markers) is shown as text,
// by diff(1), so that git still shows what changed. Answers the exit status.
int text_diff(const std::string& name, const std::string& before, const std::string& after) {
  std::cout.flush();
  const std::string old_label = "a/" + name, new_label = "b/" + name;
  std::vector<std::string> args = {"diff", "-u", "--label", old_label, "--label", new_label, before, after};
  std::vector<char*> argv;
  for (std::string& arg : args) argv.push_back(arg.data());
  argv.push_back(nullptr);
  pid_t child = 0;
  if (const int code = ::posix_spawnp(&child, "diff", nullptr, nullptr, argv.data(), environ); code != 0) {
    std::cerr << "pathwright diff: diff(1) cannot be started: " << std::strerror(code) << "\n";
    return DiffCommand::kExitTrouble;
  }
  int status = 0;
  while (::waitpid(child, &status, 0) < 0 && errno == EINTR) {}
  const bool ran = WIFEXITED(status) && WEXITSTATUS(status) <= 1;
  if (!ran) std::cerr << "pathwright diff: diff(1) failed on " << name << "\n";
  return ran ? DiffCommand::kExitSame : DiffCommand::kExitTrouble;
}

}  // namespace

DiffCommand::DiffCommand(CLI::App& app) {
  command_ = app.add_subcommand(
      "diff",
      "what changed between two versions of a package, by actor and route; exit status 0 when they are the "
      "same package, 1 when they differ, 2 on trouble");
  command_->add_option("FILES", files_, "OLD.json NEW.json; with --git, git's seven external-diff arguments")
      ->required();
  command_->add_option("--format", format_, "text: one line a change; json: {\"changes\": [...]}")
      ->check(CLI::IsMember({"text", "json"}))
      ->default_val("text");
  command_->add_flag("--git", git_,
                     "run as git's external diff (diff.pathwright.command): PATH OLD-FILE OLD-HEX OLD-MODE NEW-FILE "
                     "NEW-HEX NEW-MODE; exit status 0 when the changes were printed");
}

int DiffCommand::run() const {
  if (git_) return run_git();
  if (files_.size() != 2) {
    std::cerr << "pathwright diff: give two package files, OLD.json NEW.json\n";
    return kExitTrouble;
  }
  Value before, after;
  std::string error;
  if (!read_package_file(files_[0], before, error) || !read_package_file(files_[1], after, error)) {
    std::cerr << "pathwright diff: " << error << "\n";
    return kExitTrouble;
  }
  const std::vector<Value> changes = compare::diff_packages(before, after);
  if (!print_changes(changes, format_)) return kExitTrouble;
  std::cout.flush();
  return changes.empty() ? kExitSame : kExitDifferent;
}

int DiffCommand::run_git() const {
  if (files_.size() != kGitArguments) {
    std::cerr << "pathwright diff --git: git gives seven arguments (PATH OLD-FILE OLD-HEX OLD-MODE NEW-FILE NEW-HEX "
                 "NEW-MODE), not "
              << files_.size() << "\n";
    return kExitTrouble;
  }
  const std::string& name = files_[0];
  const std::string header = "diff --pathwright a/" + name + " b/" + name + "\n";
  Value before, after;
  std::string error;
  if (!read_side(files_[1], before, error) || !read_side(files_[4], after, error)) {
    std::cout << header << name << ": not compared as a package (" << error << "); as text:\n";
    return text_diff(name, files_[1], files_[4]);
  }
  const std::vector<Value> changes = compare::diff_packages(before, after);
  if (changes.empty()) return kExitSame;  // layout alone: nothing to show
  std::cout << header;
  if (!print_changes(changes, format_)) return kExitTrouble;
  std::cout.flush();
  return kExitSame;  // git takes any other status for an external diff that died
}

}  // namespace host::cli
