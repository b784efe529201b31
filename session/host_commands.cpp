// The host's own commands on the store: listing packages and actors, the whole document, undo, redo,
// history and reload, and the map's placed_actors. Results are JSON values for the front end to send as
// they are.
#include <cerrno>
#include <chrono>
#include <ctime>

#include "json_text/json_text.h"
#include "session/actor_listing.h"
#include "session/host_session.h"

namespace host::session {

using store::ChangeHistory;
using store::ChangeRecord;
using store::error_text;
using store::FileIdentity;
using store::PackageStore;
using store::StagedFile;
using store::StoredPackage;

namespace {

using mods::json::Value;

const Value& actors_of(const Value& document) { return document.get("actors"); }

bool has_route(const Value& actor) { return actor.get("path").is_object(); }

std::size_t count_routes(const Value& document) {
  std::size_t n = 0;
  for (const Value& actor : actors_of(document).items) n += has_route(actor) ? 1 : 0;
  return n;
}

std::string iso_time(std::int64_t ms) {
  std::time_t seconds = static_cast<std::time_t>(ms / 1000);
  std::tm utc{};
  gmtime_r(&seconds, &utc);
  char text[32];
  std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &utc);
  return text;
}

Value with_package(const std::string& name) {
  Value result = Value::object();
  result["package"] = Value::of(name);
  return result;
}

}  // namespace

bool HostSession::packages(Value& answer, std::string& error) {
  std::vector<std::string> names;
  std::vector<PackageStore::SkippedFile> skipped;
  if (!store_->list(names, skipped, error)) return false;
  Value list = Value::array();
  for (const std::string& name : names) {
    Value entry = Value::object();
    entry["name"] = Value::of(name);
    std::string reason;
    if (StoredPackage* stored = load(name, reason)) {
      const Value& document = stored->package().document;
      entry["actors"] = Value::of(static_cast<double>(actors_of(document).items.size()));
      entry["routes"] = Value::of(static_cast<double>(count_routes(document)));
    } else {
      entry["error"] = Value::of(reason);
    }
    list.items.push_back(std::move(entry));
  }
  answer = Value::object();
  answer["packages"] = std::move(list);
  if (skipped.empty()) return true;
  Value& not_read = answer["skipped"];
  not_read = Value::array();
  for (const PackageStore::SkippedFile& file : skipped) {
    Value entry = Value::object();
    entry["file"] = Value::of(file.file);
    entry["reason"] = Value::of(file.reason);
    not_read.items.push_back(std::move(entry));
  }
  return true;
}

Value HostSession::list_actors(StoredPackage& stored) {
  Value list = Value::array();
  for (const Value& actor : actors_of(stored.package().document).items) list.items.push_back(actor_summary(actor));
  Value result = with_package(stored.name());
  result["actors"] = std::move(list);
  return result;
}

Value HostSession::history_of(StoredPackage& stored) {
  const ChangeHistory& history = stored.history();
  Value list = Value::array();
  for (std::size_t i = 0; i < history.changes().size(); ++i) {
    const ChangeRecord& c = history.changes()[i];
    Value entry = Value::object();
    entry["label"] = Value::of(c.label);
    entry["time"] = Value::of(iso_time(c.time_ms));
    entry["undone"] = Value::of(i >= history.applied());
    list.items.push_back(std::move(entry));
  }
  Value result = with_package(stored.name());
  result["changes"] = std::move(list);
  return result;
}

bool HostSession::actors(const Value& params, Value& answer, std::string& error) {
  StoredPackage* stored = this->stored(params, error);
  if (stored != nullptr) answer = list_actors(*stored);
  return stored != nullptr;
}

bool HostSession::placed_actors(const Value& params, Value& answer, std::string& error) {
  StoredPackage* stored = this->stored(params, error);
  if (stored == nullptr) return false;
  return session::placed_actors(stored->name(), stored->package().document, params, answer, error);
}

bool HostSession::document(const Value& params, Value& answer, std::string& error) {
  StoredPackage* stored = this->stored(params, error);
  if (stored == nullptr) return false;
  answer = with_package(stored->name());
  answer["document"] = stored->package().document;
  return true;
}

bool HostSession::history(const Value& params, Value& answer, std::string& error) {
  StoredPackage* stored = this->stored(params, error);
  if (stored != nullptr) answer = history_of(*stored);
  return stored != nullptr;
}

bool HostSession::undo(const Value& params, Value& answer, std::string& error) {
  StoredPackage* stored = this->stored(params, error);
  return stored != nullptr && undo_or_redo(*stored, "undo", answer, error);
}

bool HostSession::redo(const Value& params, Value& answer, std::string& error) {
  StoredPackage* stored = this->stored(params, error);
  return stored != nullptr && undo_or_redo(*stored, "redo", answer, error);
}

bool HostSession::reload(const Value& params, Value& answer, std::string& error) {
  Value kept = Value::object();
  std::string name;
  if (!resolve_name(params, name, error)) return false;
  auto it = packages_.find(name);
  if (it != packages_.end()) {
    // Changes still waiting in the journal reach the file first when they can; if others replaced the
    // file, the reload takes their version and the journal (with its history) is set aside.
    std::string ignored;
    it->second->fold(ignored);
    Value discarded = Value::array();
    const bool conflict = it->second->in_conflict();
    // On failure the answered changes are still in memory and in the journal: nothing is dropped.
    if (conflict && !keep_discarded(*it->second, discarded, error)) return false;
    // The discarded changes are in NAME.discarded now; their journal must not meet the file again, or the
    // next open would set them aside once more.
    if (conflict && !it->second->drop_journal(error)) return false;
    packages_.erase(it);
    if (!discarded.items.empty()) kept["discarded"] = std::move(discarded);
  }
  StoredPackage* stored = load(name, error);
  if (stored == nullptr) return false;
  changed(*stored, "reload", "");
  answer = with_package(name);
  if (kept.has("discarded")) {
    answer["discarded"] = kept["discarded"];
    answer["kept_in"] = Value::of(store_->journal_folder() + "/" + name + kDiscardedSuffix);
  }
  answer["actors"] = Value::of(static_cast<double>(actors_of(stored->package().document).items.size()));
  answer["changes"] = Value::of(static_cast<double>(stored->history().changes().size()));
  return true;
}

bool HostSession::undo_or_redo(StoredPackage& stored, const std::string& method, Value& answer, std::string& error) {
  std::string label;
  bool undo = method == "undo";
  if (!(undo ? stored.undo(label, error) : stored.redo(label, error))) return false;
  changed(stored, method, label);
  answer = with_package(stored.name());
  answer[undo ? "undone" : "redone"] = Value::of(label);
  return true;
}

// Appends one line to .pathwright/NAME.discarded: {"time", "labels", "document"}, the labels of the answered
// changes a reload is about to drop and the editor's document that held them, so nothing is lost.
bool HostSession::keep_discarded(StoredPackage& stored, Value& labels, std::string& error) {
  const std::string& name = stored.name();
  for (const std::string& label : stored.unfolded_labels()) labels.items.push_back(Value::of(label));
  Value line = Value::object();
  line["time"] = Value::of(iso_time(
      std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::system_clock::now().time_since_epoch())
          .count()));
  line["labels"] = labels;
  line["document"] = stored.package().document;
  // Changes a journal kept aside at open were made on a file no longer there: no document holds them, so
  // they go as what each changed.
  if (!stored.set_aside().labels.empty()) line["changes"] = stored.set_aside().changes;
  const std::string path = store_->journal_folder() + "/" + name + kDiscardedSuffix;
  std::string bytes, text, reason;
  FileIdentity identity;
  const int code = store_->files().read_file(path, bytes, identity);
  StagedFile staged;
  if ((code != 0 && code != ENOENT) || !json_text::print_json(line, json_text::JsonLayout::Compact, text, reason) ||
      !store_->stage(path, bytes + text + "\n", 0644, staged, reason) || !store_->commit(staged, reason)) {
    error = "the changes a reload of \"" + name + "\" would discard cannot be kept in \"" + path +
            "\": " + (code != 0 && code != ENOENT ? error_text(code) : reason) + "; nothing was reloaded";
    return false;
  }
  return true;
}

Value HostSession::conflicts() {
  Value list = Value::array();
  for (auto& [name, stored] : packages_) {
    if (!stored->in_conflict()) continue;
    Value entry = with_package(name);
    entry["problem"] = Value::of(
        "changed outside the editor while answered changes waited to be saved; "
        "reload discards them (kept in .pathwright/" +
        name + kDiscardedSuffix + ")");
    entry["waiting"] = Value::array();
    for (const std::string& label : stored->unfolded_labels()) entry["waiting"].items.push_back(Value::of(label));
    list.items.push_back(std::move(entry));
  }
  return list;
}

}  // namespace host::session
