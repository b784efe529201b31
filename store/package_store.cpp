// Store folder operations. Temporaries are named TARGET.tmp-XXXXXX so that a crash leaves them
// recognisable next to their target; they never end in ".json", so they are never listed as packages.
#include "store/package_store.h"

#include <algorithm>
#include <cassert>
#include <cerrno>
#include <system_error>

#include "store/package_name.h"

namespace host::store {

namespace {

// Why a NAME.json is not read as a package: the naming rule, said so that "letters" is not read as any letter.
constexpr const char* kSkippedNameRule =
    "not a package name: 1 to 100 ASCII letters (a-z, A-Z), digits, _, - and ., not starting with .";

std::string folder_of(const std::string& path) {
  std::size_t slash = path.rfind('/');
  return slash == std::string::npos ? "." : path.substr(0, slash);
}

std::string base_of(const std::string& path) {
  std::size_t slash = path.rfind('/');
  return slash == std::string::npos ? path : path.substr(slash + 1);
}

}  // namespace

StagedFile::~StagedFile() {
  if (files_ != nullptr && !temporary_.empty()) files_->remove(temporary_);
}

PackageStore::PackageStore(std::string folder, std::unique_ptr<FileSystem> files)
    : folder_(std::move(folder)), files_(std::move(files)) {}

PackageStore::~PackageStore() {
  std::string ignored;  // no one is left to tell; the journals still rebuild any rename a power cut takes
  flush_renames(ignored);
  if (releaser_.joinable()) releaser_.join();
}

std::string PackageStore::package_path(const std::string& name) const {
  return folder_ + "/" + name + kPackageFileSuffix;
}

bool PackageStore::save_path(const std::string& name, std::string& path, std::string& error) {
  if (int code = files_->resolve_links(package_path(name), path)) {
    error = error_text(code);
    return false;
  }
  return true;
}

std::string PackageStore::journal_folder() const { return folder_ + "/" + kJournalFolderName; }

std::string PackageStore::journal_path(const std::string& name) const {
  return journal_folder() + "/" + name + ".journal";
}

bool PackageStore::list(std::vector<std::string>& names, std::string& error) {
  std::vector<SkippedFile> skipped;
  return list(names, skipped, error);
}

bool PackageStore::list(std::vector<std::string>& names, std::vector<SkippedFile>& skipped, std::string& error) {
  std::vector<std::string> entries;
  if (int code = files_->list_folder(folder_, entries)) {
    error = "the store \"" + folder_ + "\" cannot be read: " + error_text(code);
    return false;
  }
  names.clear();
  skipped.clear();
  const std::string suffix = kPackageFileSuffix;
  for (const std::string& entry : entries) {
    const bool json =
        entry.size() > suffix.size() && entry.compare(entry.size() - suffix.size(), suffix.size(), suffix) == 0;
    if (!json || entry[0] == '.') continue;  // hidden files are nobody's package
    std::string name = package_name_of_file(entry);
    FileIdentity identity;
    if (name.empty()) {
      skipped.push_back({entry, kSkippedNameRule});
    } else if (files_->identify(package_path(name), identity) == 0 && !identity.folder) {
      names.push_back(std::move(name));
    } else if (identity.folder) {
      skipped.push_back({entry, "a folder, not a package file"});
    }
  }
  std::sort(names.begin(), names.end());
  std::sort(skipped.begin(), skipped.end(), [](const SkippedFile& a, const SkippedFile& b) { return a.file < b.file; });
  return true;
}

bool PackageStore::read_package(const std::string& name, std::string& bytes, FileIdentity& identity,
                                std::string& error) {
  int code = files_->read_file(package_path(name), bytes, identity);
  if (code == ENOENT) {
    error = "no package \"" + name + "\" in the store";
    return false;
  }
  if (code != 0) {
    error = "package \"" + name + "\" cannot be read: " + read_error_text(code);
    return false;
  }
  return true;
}

bool PackageStore::stage(const std::string& target, std::string_view bytes, unsigned permissions, StagedFile& staged,
                         std::string& error) {
  return start_stage(target, bytes, permissions, staged, error) && finish_stage(staged, error);
}

bool PackageStore::start_stage(const std::string& target, std::string_view bytes, unsigned permissions,
                               StagedFile& staged, std::string& error) {
  std::string temporary;
  std::string folder = folder_of(target);
  std::unique_ptr<StartedFile> started;
  if (int code = files_->start_temporary(folder, base_of(target) + ".tmp-", bytes, permissions, temporary, started)) {
    error = error_text(code);
    return false;
  }
  staged.files_ = files_.get();
  staged.temporary_ = temporary;
  staged.target_ = target;
  staged.folder_ = folder;
  staged.started_ = std::move(started);
  return true;
}

bool PackageStore::finish_stage(StagedFile& staged, std::string& error) {
  const int code = staged.started_->finish();
  staged.started_.reset();
  if (code != 0) {
    error = error_text(code);
    return false;  // the temporary goes when `staged` does
  }
  return true;
}

bool PackageStore::commit(StagedFile& staged, std::string& error) {
  assert(!staged.started_ && "a started stage is finished before it is committed");
  if (int code = files_->rename(staged.temporary_, staged.target_)) {
    error = error_text(code);
    return false;  // the destructor removes the temporary
  }
  staged.temporary_.clear();
  if (int code = files_->sync_folder(staged.folder_)) {
    error = error_text(code);
    return false;
  }
  return true;
}

bool PackageStore::commit_unflushed(StagedFile& staged, std::string& error) {
  assert(!staged.started_ && "a started stage is finished before it is committed");
  std::unique_ptr<HeldFile> replaced;
  files_->hold(staged.target_, replaced);  // none to hold (no target yet) is fine: nothing to free
  if (int code = files_->rename(staged.temporary_, staged.target_)) {
    error = error_text(code);
    return false;  // the destructor removes the temporary
  }
  staged.temporary_.clear();
  if (std::find(unflushed_folders_.begin(), unflushed_folders_.end(), staged.folder_) == unflushed_folders_.end())
    unflushed_folders_.push_back(staged.folder_);
  if (replaced) release_later(std::move(replaced));
  return true;
}

void PackageStore::release_later(std::unique_ptr<HeldFile> replaced) {
  if (releaser_.joinable()) releaser_.join();  // the last one is long done: checkpoints come ms apart
  try {
    releaser_ = std::thread([file = std::move(replaced)]() mutable { file.reset(); });
  } catch (const std::system_error&) {
    // no thread to be had: the file is freed here as it leaves scope, only slower
  }
}

bool PackageStore::flush_renames(std::string& error) {
  std::vector<std::string> failed;
  for (const std::string& folder : unflushed_folders_) {
    if (int code = files_->sync_folder(folder)) {
      if (failed.empty()) error = error_text(code);
      failed.push_back(folder);
    }
  }
  unflushed_folders_.swap(failed);
  return unflushed_folders_.empty();
}

bool PackageStore::ensure_journal_folder(std::string& error) {
  if (journal_folder_ready_) return true;
  if (int code = files_->make_folder(journal_folder())) {
    error = error_text(code);
    return false;
  }
  if (int code = files_->sync_folder(folder_)) {
    error = error_text(code);
    return false;
  }
  journal_folder_ready_ = true;
  return true;
}

}  // namespace host::store
