// The host session's services to the route service: package lookup and loading, the change service and
// place resolution, plus the timed checkpoints. Host commands live in host_commands.cpp.
#include "session/host_session.h"

#include <cctype>
#include <utility>

#include "session/place_request.h"
#include "store/package_name.h"

namespace host::session {

using store::error_text;
using store::FileIdentity;
using store::FileSystem;
using store::is_package_name;
using store::kPackageFileSuffix;
using store::kPackageNameRule;
using store::PackageStore;
using store::PosixFileSystem;
using store::StoredPackage;

HostSession::HostSession(std::unique_ptr<PackageStore> store) : store_(std::move(store)) {}

std::unique_ptr<HostSession> HostSession::open(const std::string& store_dir, std::string& error) {
  return open(store_dir, std::make_unique<PosixFileSystem>(), error);
}

std::unique_ptr<HostSession> HostSession::open(const std::string& store_dir, std::unique_ptr<FileSystem> files,
                                               std::string& error) {
  FileIdentity identity;
  if (int code = files->identify(store_dir, identity)) {
    error = "the store \"" + store_dir + "\" cannot be opened: " + error_text(code);
    return nullptr;
  }
  if (!identity.folder) {
    error = "the store \"" + store_dir + "\" is not a folder";
    return nullptr;
  }
  std::string folder = store_dir;
  while (folder.size() > 1 && folder.back() == '/') folder.pop_back();
  return std::unique_ptr<HostSession>(new HostSession(std::make_unique<PackageStore>(folder, std::move(files))));
}

namespace {

constexpr std::size_t kTemporarySuffixChars = 6;  // the XXXXXX that mkstemp fills in

// Whether `entry` is a temporary of a save of a file ending in `suffix`: NAME SUFFIX ".tmp-" and six letters
// or digits.
bool interrupted_save(const std::string& entry, const std::string& suffix) {
  const std::string marker = suffix + ".tmp-";
  if (entry.size() <= marker.size() + kTemporarySuffixChars) return false;  // a name must come first
  const std::size_t at = entry.size() - kTemporarySuffixChars - marker.size();
  if (entry.compare(at, marker.size(), marker) != 0) return false;
  for (std::size_t i = entry.size() - kTemporarySuffixChars; i < entry.size(); ++i) {
    if (!std::isalnum(static_cast<unsigned char>(entry[i]))) return false;
  }
  return true;
}

}  // namespace

bool HostSession::remove_interrupted_saves(int& removed, std::string& error) {
  removed = 0;
  error.clear();
  const std::pair<std::string, std::string> places[] = {{store_->folder(), kPackageFileSuffix},
                                                        {store_->journal_folder(), ".journal"}};
  for (const auto& [folder, suffix] : places) {
    std::vector<std::string> entries;
    if (store_->files().list_folder(folder, entries) != 0) continue;  // no journal folder yet: nothing to do
    for (const std::string& entry : entries) {
      if (!interrupted_save(entry, suffix)) continue;
      if (int code = store_->files().remove(folder + "/" + entry)) {
        if (error.empty()) error = "cannot remove \"" + folder + "/" + entry + "\": " + error_text(code);
      } else {
        ++removed;
      }
    }
  }
  return error.empty();
}

StoredPackage* HostSession::load(const std::string& name, std::string& error) {
  auto it = packages_.find(name);
  if (it != packages_.end()) return it->second.get();
  const StoredPackage::Reading reading = outlined_ ? StoredPackage::Reading::Outline : StoredPackage::Reading::Whole;
  std::unique_ptr<StoredPackage> stored = StoredPackage::open(*store_, name, error, reading);
  if (!stored) return nullptr;  // not kept: the next request tries again
  return packages_.emplace(name, std::move(stored)).first->second.get();
}

bool HostSession::resolve_name(const mods::json::Value& params, std::string& name, std::string& error) {
  std::vector<std::string> names;
  if (!params.is_object() || !params.has("package")) {
    if (!store_->list(names, error)) return false;
    if (names.empty()) {
      error = "the store \"" + store_->folder() + "\" holds no package";
      return false;
    }
    if (names.size() > 1) {
      error = "say which package: \"package\" is one of ";
      for (std::size_t i = 0; i < names.size(); ++i) error += (i > 0 ? ", " : "") + names[i];
      return false;
    }
    name = names[0];
    return true;
  }
  const mods::json::Value& named = params.get("package");
  if (named.is_string() && !is_package_name(named.str)) {
    error = "\"package\" \"" + named.str + "\" is refused: " + kPackageNameRule;
    return false;
  }
  if (!named.is_string()) {
    std::string ignored;
    std::string example = store_->list(names, ignored) && !names.empty() ? names[0] : "windfall";
    error = "\"package\" must name a package in the store, such as " + example;
    return false;
  }
  name = named.str;
  return true;
}

StoredPackage* HostSession::stored(const mods::json::Value& params, std::string& error) {
  std::string name;
  return resolve_name(params, name, error) ? load(name, error) : nullptr;
}

editor::Session::Package* HostSession::package(const mods::json::Value& params, std::string& error) {
  // Every edit command asks for its package right before its one change: the id is kept for that change.
  request_id_ = params.get("id").string("");
  StoredPackage* found = stored(params, error);
  if (found == nullptr) return nullptr;
  if (!outlined_) return &found->package();
  found->read_actors_with_id(request_id_);
  return &found->package_as_read();
}

StoredPackage* HostSession::owner_of(const Package& package) {
  for (auto& [name, stored] : packages_)
    if (&stored->package_as_read() == &package) return stored.get();
  return nullptr;
}

void HostSession::changed(StoredPackage& stored, const std::string& kind, const std::string& label) {
  const Package& package = outlined_ ? stored.package_as_read() : stored.package();
  if (on_changed) on_changed(package);
  if (on_applied) on_applied(package, kind, label);
}

bool HostSession::change(Package& package, const std::string& label, const Edit& edit, mods::json::Value& result,
                         std::string& error) {
  // The edit writes its own results; a change that is not kept must not leave them claiming it was.
  const mods::json::Value before = result;
  StoredPackage* stored = owner_of(package);
  if (stored == nullptr) {
    error = "package \"" + package.name + "\" is not open in this session";
    return false;
  }
  if (!stored->change(label, edit, request_id_, error)) {
    result = before;
    return false;
  }
  changed(*stored, "change", label);
  return true;
}

bool HostSession::where(const mods::json::Value& params, editor::Place& place, std::string& error) {
  return resolve_place(params, live_game, place, error);
}

void HostSession::maintain() {
  const StoredPackage::Clock::time_point now = StoredPackage::Clock::now();
  for (auto& [name, stored] : packages_) {
    std::string ignored;  // the changes stay in the journal; the next call tries again
    if (stored->fold_due(now)) stored->fold(ignored);
  }
}

bool HostSession::flush(std::string& error) {
  bool all = true;
  for (auto& [name, stored] : packages_) {
    std::string reason;
    if (!stored->fold(reason) && all) {
      error = reason;
      all = false;
    }
  }
  return all;
}

const std::string& HostSession::store_dir() const { return store_->folder(); }

std::vector<std::string> HostSession::loaded_package_names() const {
  std::vector<std::string> names;
  for (const auto& [name, stored] : packages_) names.push_back(name);
  return names;
}

}  // namespace host::session
