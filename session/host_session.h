// The editor session of the Pathwright host: packages come from a store folder and load on first use,
// every change goes through the durable change service (journal before the answer, atomic checkpoint of
// the package file within a second), with undo/redo per package that survives restarts. The session owns
// its store and open packages; it is used by one thread at a time.
#ifndef PATHWRIGHT_SESSION_HOST_SESSION_H_
#define PATHWRIGHT_SESSION_HOST_SESSION_H_

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "editor/session.h"
#include "json/value.h"
#include "store/file_system.h"
#include "store/package_store.h"
#include "store/stored_package.h"

namespace host::session {

// Beside a package's journal: what reloads discarded, one JSON object per line.
constexpr const char* kDiscardedSuffix = ".discarded";

class HostSession : public editor::Session {
 public:
  // Opens the store folder `store_dir` (it must exist and be a folder). On null, `error` says why.
  static std::unique_ptr<HostSession> open(const std::string& store_dir, std::string& error);
  // The same through `files` (tests hand in a file system that fails on demand).
  static std::unique_ptr<HostSession> open(const std::string& store_dir, std::unique_ptr<store::FileSystem> files,
                                           std::string& error);

  // Packages load outlined from now on (StoredPackage::Reading::Outline), for a process that runs one
  // route edit, undo or redo with no game: `package` then answers a package whose actors named by the
  // request's "id" are whole and whose others may hold only their "id", and `on_changed`/`on_applied` get
  // the package as read. Host commands that read more read every actor whole first.
  void load_outlined() { outlined_ = true; }
  // Nothing is written from now on: for a store read where it cannot or must not be written. The caller
  // then runs only commands that read, and neither maintain nor flush.
  void forbid_writes() { store_->forbid_writes(); }

  // The package that the request's "package" names (or the store's only package when it names none),
  // loading it on first use. Also notes the request's "id" for the `change` that follows. On null,
  // `error` is one of the store's texts and nothing changed.
  Package* package(const mods::json::Value& params, std::string& error) override;
  // Runs `edit` as a change of the actor the last `package` request's "id" names; see StoredPackage.
  // On true the change is in the journal on disk and `on_changed` was called.
  bool change(Package& package, const std::string& label, const Edit& edit, mods::json::Value& result,
              std::string& error) override;
  // Resolves "position" or "at" (link or camera); see resolve_place.
  bool where(const mods::json::Value& params, editor::Place& place, std::string& error) override;

  // The host's own commands on the store, one each (the front ends' command table names them). On true
  // `answer` is the command's answer; on false `error` says why and `answer` holds nothing to send.
  // packages -> {"packages": [{"name", "actors", "routes"} or {"name", "error"}], "skipped"?}
  bool packages(mods::json::Value& answer, std::string& error);
  // actors {"package"} -> {"package", "actors": [summary]} (see actor_listing.h)
  bool actors(const mods::json::Value& params, mods::json::Value& answer, std::string& error);
  // placed_actors {"package", "region", "id", "start", "limit", "routes"}: see actor_listing.h
  bool placed_actors(const mods::json::Value& params, mods::json::Value& answer, std::string& error);
  // document {"package"} -> {"package", "document"}
  bool document(const mods::json::Value& params, mods::json::Value& answer, std::string& error);
  // history {"package"} -> {"package", "changes": [{"label", "time", "undone"}]}
  bool history(const mods::json::Value& params, mods::json::Value& answer, std::string& error);
  // undo / redo {"package"} -> {"package", "undone"} / {"package", "redone"}: the change's label
  bool undo(const mods::json::Value& params, mods::json::Value& answer, std::string& error);
  bool redo(const mods::json::Value& params, mods::json::Value& answer, std::string& error);
  // reload {"package"} -> {"package", "actors", "changes", "discarded"?, "kept_in"?}: reads the package
  // file again, setting aside (in NAME.discarded) the answered changes a change outside the editor met.
  bool reload(const mods::json::Value& params, mods::json::Value& answer, std::string& error);

  // Called after every applied change, undo, redo and reload, with the package as it now stands (the
  // front end uses it to send "load" to the game). May be empty.
  std::function<void(const Package&)> on_changed;
  // Called right after `on_changed` with what happened: `kind` is "change", "undo", "redo" or "reload";
  // `label` the change's label (the undone or redone one; "" for a reload). May be empty.
  std::function<void(const Package&, const std::string& kind, const std::string& label)> on_applied;

  // Folds pending journal entries into the package files when due. The server calls it at least every
  // 200 ms while idle and after each request; `call` calls flush before exiting. A package that cannot be
  // saved keeps its changes in the journal and is tried again on the next call.
  void maintain();
  // Folds everything now. On false, `error` says which package could not be saved and why (the first).
  bool flush(std::string& error);

  // Removes what saves cut short by a crash left behind: NAME.json.tmp-XXXXXX in the store and
  // NAME.journal.tmp-XXXXXX in its journal folder, nothing else. Call only while holding the store's lock
  // (another process's save may be under way otherwise). On false, `error` names the first file that could
  // not be removed; the others were still tried. `removed` counts what went.
  bool remove_interrupted_saves(int& removed, std::string& error);

  // The packages whose answered, unsaved changes met a change made outside the editor: each with
  // "package", "problem" and "waiting" (their labels). Empty when there are none.
  mods::json::Value conflicts();

  const std::string& store_dir() const;
  std::vector<std::string> loaded_package_names() const;

 private:
  explicit HostSession(std::unique_ptr<store::PackageStore> store);
  bool resolve_name(const mods::json::Value& params, std::string& name, std::string& error);
  store::StoredPackage* stored(const mods::json::Value& params, std::string& error);
  store::StoredPackage* load(const std::string& name, std::string& error);
  store::StoredPackage* owner_of(const Package& package);
  void changed(store::StoredPackage& stored, const std::string& kind, const std::string& label);

  bool keep_discarded(store::StoredPackage& stored, mods::json::Value& labels, std::string& error);
  mods::json::Value list_actors(store::StoredPackage& stored);
  mods::json::Value history_of(store::StoredPackage& stored);
  bool undo_or_redo(store::StoredPackage& stored, const std::string& method, mods::json::Value& answer,
                    std::string& error);

  std::unique_ptr<store::PackageStore> store_;
  std::map<std::string, std::unique_ptr<store::StoredPackage>> packages_;
  std::string request_id_;  // the "id" of the request whose `package` came last
  bool outlined_ = false;   // see load_outlined
};

}  // namespace host::session

#endif  // PATHWRIGHT_SESSION_HOST_SESSION_H_
