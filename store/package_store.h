// The store folder: which packages it holds (every NAME.json), reading one, and replacing a file
// atomically (a flushed temporary in the same folder renamed over it, then the folder flushed: at once, or
// for a package file before its journal gives up what rebuilds it), so that a package or journal file is
// never seen torn. Owns the FileSystem it works through. Used by one thread at a time, except that
// `finish_stage` may run on a second thread beside the rest.
#ifndef PATHWRIGHT_STORE_PACKAGE_STORE_H_
#define PATHWRIGHT_STORE_PACKAGE_STORE_H_

#include <memory>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "store/file_system.h"

namespace host::store {

// The editor's own files inside the store: the journals.
constexpr const char* kJournalFolderName = ".pathwright";

class PackageStore;

// A temporary waiting to replace its target, flushed once `stage` or `finish_stage` answered true. Removes
// the temporary when destroyed uncommitted.
class StagedFile {
 public:
  StagedFile() = default;
  StagedFile(const StagedFile&) = delete;
  StagedFile& operator=(const StagedFile&) = delete;
  ~StagedFile();
  bool staged() const { return !temporary_.empty(); }

 private:
  friend class PackageStore;
  FileSystem* files_ = nullptr;
  std::string temporary_;
  std::string target_;
  std::string folder_;
  std::unique_ptr<StartedFile> started_;  // until finish_stage
};

class PackageStore {
 public:
  PackageStore(std::string folder, std::unique_ptr<FileSystem> files);
  // Flushes renames still unflushed, so that the files stand as written once the process is gone, and
  // waits until replaced files are freed.
  ~PackageStore();
  PackageStore(const PackageStore&) = delete;
  PackageStore& operator=(const PackageStore&) = delete;

  const std::string& folder() const { return folder_; }
  FileSystem& files() { return *files_; }
  std::string package_path(const std::string& name) const;
  // The file saving package `name` replaces: its package file, or the file that file links to, so that a
  // link stays a link. On false, `error` says why.
  bool save_path(const std::string& name, std::string& path, std::string& error);
  std::string journal_folder() const;
  std::string journal_path(const std::string& name) const;

  // A folder entry ending in .json that is no package, and why (for a modder who expects it read).
  struct SkippedFile {
    std::string file;
    std::string reason;
  };
  // The names of every package file in the folder, sorted. On false, `error` says why the folder could not
  // be listed and `names` is unspecified.
  bool list(std::vector<std::string>& names, std::string& error);
  // The same, and in `skipped` every other entry NAME.json (not hidden) with the reason, sorted by name.
  bool list(std::vector<std::string>& names, std::vector<SkippedFile>& skipped, std::string& error);

  // Reads package `name`'s file. On false, `error` is "no package \"NAME\" in the store" or
  // "package \"NAME\" cannot be read: REASON", and the outputs are unspecified.
  bool read_package(const std::string& name, std::string& bytes, FileIdentity& identity, std::string& error);

  // Writes `bytes` into a flushed temporary beside `target` with permission bits `permissions`. On false,
  // `error` is the lower-case reason and nothing is left behind.
  bool stage(const std::string& target, std::string_view bytes, unsigned permissions, StagedFile& staged,
             std::string& error);
  // `stage` in two halves: the first writes the temporary and starts its way to the disk, the second waits
  // for it (and touches nothing but `staged`, so it may run on another thread). A flush of another file
  // issued between the two commits with it, where the file system journals its metadata. On false, as
  // stage; a temporary left by a failed finish goes with `staged`.
  bool start_stage(const std::string& target, std::string_view bytes, unsigned permissions, StagedFile& staged,
                   std::string& error);
  bool finish_stage(StagedFile& staged, std::string& error);
  // Renames the staged temporary over its target and flushes the folder. On false, `error` is the reason;
  // the temporary is removed, and the target is the old or (when only the folder flush failed) the new
  // version.
  bool commit(StagedFile& staged, std::string& error);
  // Renames the staged temporary over its target and leaves the folder unflushed: a power cut before the
  // next `flush_renames` may bring the old target back (never a torn one). Only for a file whose journal
  // rebuilds the new version from the old one. The replaced file is freed on a background thread, not in
  // the rename. On false, as commit's rename.
  bool commit_unflushed(StagedFile& staged, std::string& error);
  // Flushes every folder holding a rename commit_unflushed made, so that those renames survive a power
  // cut; must come before anything gives up what would rebuild their files. On false, `error` is the
  // reason and the folders that failed are flushed again next time.
  bool flush_renames(std::string& error);

  // From now on nothing is written through this store (a store read where it cannot or must not be
  // written): loading a package keeps the changes its journal replays in memory instead of folding them.
  void forbid_writes() { writes_forbidden_ = true; }
  bool writes_forbidden() const { return writes_forbidden_; }

  // Creates the journal folder once (and flushes the store folder so that it survives). On false, `error`
  // is the reason.
  bool ensure_journal_folder(std::string& error);

 private:
  // Destroys `replaced` on a background thread: its last close frees its pages and blocks.
  void release_later(std::unique_ptr<HeldFile> replaced);

  std::string folder_;
  std::unique_ptr<FileSystem> files_;
  bool journal_folder_ready_ = false;
  bool writes_forbidden_ = false;
  std::vector<std::string> unflushed_folders_;  // folders of renames commit_unflushed made since
  std::thread releaser_;                        // touches only the file it releases
};

}  // namespace host::store

#endif  // PATHWRIGHT_STORE_PACKAGE_STORE_H_
