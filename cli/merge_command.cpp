#include "cli/merge_command.h"

#include <iostream>

#include "cli/package_file.h"
#include "compare/package_merge.h"
#include "json_text/json_text.h"
#include "store/file_system.h"

namespace host::cli {

using store::FileIdentity;
using store::PosixFileSystem;
using store::read_error_text;

using mods::json::Value;

std::string conflicts_path(const std::string& package_path) { return package_path + ".conflicts"; }

MergeCommand::MergeCommand(CLI::App& app) {
  command_ = app.add_subcommand(
      "merge",
      "three-way merge of package files by actor, member and route point (git: merge.pathwright.driver "
      "\"pathwright merge %O %A %B -o %A --name %P\"); exit status 0 merged, 1 conflicts, 2 trouble");
  command_->add_option("BASE", base_, "the common ancestor")->required();
  command_->add_option("OURS", ours_, "our version")->required();
  command_->add_option("THEIRS", theirs_, "their version")->required();
  command_->add_option("-o,--output", out_, "where the merged package goes (default: OURS, as git merge-file)")
      ->type_name("OUT");
  command_
      ->add_option("--name", name_,
                   "the package's own path, which names the conflicts file PATH.conflicts (default: OUT)")
      ->type_name("PATH");
}

int MergeCommand::run() const {
  Value base, ours, theirs;
  std::string error;
  if (!read_package_file(base_, base, error) || !read_package_file(ours_, ours, error) ||
      !read_package_file(theirs_, theirs, error)) {
    std::cerr << "pathwright merge: " << error << "; nothing written\n";
    return kExitTrouble;
  }
  const std::string out = out_.empty() ? ours_ : out_;
  const std::string kept_path = conflicts_path(name_.empty() ? out : name_);
  compare::MergeOutcome outcome = compare::merge_packages(base, std::move(ours), std::move(theirs));
  if (!outcome.conflicts.empty() && !write_package_file(kept_path, outcome.kept, error)) {
    std::cerr << "pathwright merge: " << error << "; nothing written\n";
    return kExitTrouble;
  }
  if (!write_package_file(out, outcome.merged, error)) {
    if (!outcome.conflicts.empty()) PosixFileSystem().remove(kept_path);
    std::cerr << "pathwright merge: " << error << "; nothing written\n";
    return kExitTrouble;
  }
  if (outcome.conflicts.empty()) return kExitClean;
  for (const std::string& line : outcome.conflicts) std::cerr << line << "\n";
  std::cerr << "conflicts kept in " << kept_path << "\n";
  return kExitConflict;
}

namespace {

// The conflicts file as merge wrote it; false after saying why on standard error.
bool read_conflicts(const std::string& path, Value& kept) {
  PosixFileSystem files;
  std::string text;
  FileIdentity identity;
  json_text::JsonTextError fault;
  if (const int code = files.read_file(path, text, identity); code != 0) {
    std::cerr << "pathwright resolve: " << path << ": cannot be read: " << read_error_text(code) << "\n";
    return false;
  }
  if (!json_text::parse_json(text, kept, fault) || !kept.get("actors").is_array() || !kept.get("members").is_array()) {
    std::cerr << "pathwright resolve: " << path << ": not a conflicts file"
              << (fault.reason.empty() ? "" : " (" + fault.message() + ")") << "\n";
    return false;
  }
  return true;
}

// Puts `side` of the conflicted actor `entry` in place of the actor it stands for in `package` (removing
// it when that side has no such actor, adding it at the end when the package has none).
void take_actor(const Value& entry, const std::string& side, Value& package) {
  std::vector<Value>& actors = package["actors"].items;
  const std::string id = entry.get("id").string("");
  const auto occurrence = static_cast<std::size_t>(entry.get("occurrence").number);
  std::size_t seen = 0;
  auto at = actors.begin();
  for (; at != actors.end(); ++at) {
    if (at->get("id").string("") == id && seen++ == occurrence) break;
  }
  if (!entry.has(side)) {
    if (at != actors.end()) actors.erase(at);
  } else if (at != actors.end()) {
    *at = entry.get(side);
  } else {
    actors.push_back(entry.get(side));
  }
}

}  // namespace

ResolveCommand::ResolveCommand(CLI::App& app) {
  command_ = app.add_subcommand(
      "resolve",
      "after a merge with conflicts: take one side's whole actor (--id) or package member (--member) from the "
      "conflicts file into the package, and drop it from the conflicts file");
  command_->add_option("PACKAGE", package_, "the merged package file")->required();
  auto* id = command_->add_option("--id", id_, "the actor to settle")->type_name("ID");
  auto* member = command_->add_option("--member", member_, "the package's own member to settle")->type_name("NAME");
  id->excludes(member);
  command_->add_option("--occurrence", occurrence_, "among actors sharing the id, which one (0: the first)")
      ->default_val(0);
  command_->add_option("--take", take_, "the version to keep")
      ->check(CLI::IsMember({"ours", "theirs", "base"}))
      ->required();
  command_->add_option("--conflicts", conflicts_, "the conflicts file (default: PACKAGE.conflicts)")->type_name("FILE");
}

int ResolveCommand::run() const {
  if (id_.empty() == member_.empty()) {
    std::cerr << "pathwright resolve: name the actor (--id) or the package member (--member) to settle\n";
    return kExitTrouble;
  }
  const std::string kept_path = conflicts_.empty() ? conflicts_path(package_) : conflicts_;
  Value package, kept;
  std::string error;
  if (!read_conflicts(kept_path, kept)) return kExitTrouble;
  if (!read_package_file(package_, package, error)) {
    std::cerr << "pathwright resolve: " << error << "\n";
    return kExitTrouble;
  }
  std::vector<Value>& entries = kept[id_.empty() ? "members" : "actors"].items;
  auto entry = entries.begin();
  for (; entry != entries.end(); ++entry) {
    if (id_.empty()
            ? entry->get("name").string("") == member_
            : entry->get("id").string("") == id_ && entry->get("occurrence").number == static_cast<double>(occurrence_))
      break;
  }
  if (entry == entries.end()) {
    std::cerr << "pathwright resolve: " << kept_path << " holds no conflict of "
              << (id_.empty() ? "the member \"" + member_ : "the actor \"" + id_) << "\"\n";
    return kExitTrouble;
  }
  if (!id_.empty()) {
    take_actor(*entry, take_, package);
  } else if (entry->has(take_)) {
    package[member_] = entry->get(take_);
  } else {
    package.members.erase(member_);
  }
  entries.erase(entry);
  if (!write_package_file(package_, package, error)) {
    std::cerr << "pathwright resolve: " << error << "\n";
    return kExitTrouble;
  }
  const std::size_t left = kept.get("actors").items.size() + kept.get("members").items.size();
  if (left == 0) {
    PosixFileSystem().remove(kept_path);
    std::cout << "took " << take_ << "; no conflict left, " << kept_path << " removed\n";
  } else if (!write_package_file(kept_path, kept, error)) {
    std::cerr << "pathwright resolve: " << error << "\n";
    return kExitTrouble;
  } else {
    std::cout << "took " << take_ << "; " << left << " conflicting " << (left == 1 ? "entry" : "entries") << " left in "
              << kept_path << "\n";
  }
  return kExitDone;
}

}  // namespace host::cli
