// Test surroundings for the package store: a temporary store folder, a file system that fails chosen
// operations on demand (root ignores permissions, so read-only folders prove nothing), and a fixture that
// opens a HostSession on the folder with the small windfall package. Single-threaded, test use only.
#ifndef PATHWRIGHT_TESTS_HOST_STORE_STORE_FIXTURE_H_
#define PATHWRIGHT_TESTS_HOST_STORE_STORE_FIXTURE_H_

#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <string>

#include "host/store/file_system.h"
#include "host/store/host_session.h"
#include "json/value.h"

namespace store_test {

// A fresh folder under the system's temporary folder, removed with everything in it at the end.
class TempFolder {
 public:
  TempFolder();
  ~TempFolder();
  const std::string& path() const { return path_; }

 private:
  std::string path_;
};

std::string read_text(const std::string& path);  // "" when it cannot be read
void write_text(const std::string& path, const std::string& text);
bool exists(const std::string& path);

// Operation name ("read_file", "write_temporary", "rename", "sync_folder", "append", "truncate", ...) to
// the errno it fails with while the entry is there.
using Faults = std::map<std::string, int>;

class FaultyFileSystem : public host::PosixFileSystem {
 public:
  explicit FaultyFileSystem(std::shared_ptr<Faults> faults) : faults_(std::move(faults)) {}
  int read_file(const std::string& path, std::string& bytes, host::FileIdentity& identity) override;
  int write_temporary(const std::string& folder, const std::string& prefix, std::string_view bytes,
                      unsigned mode, std::string& temporary) override;
  int rename(const std::string& from, const std::string& to) override;
  int sync_folder(const std::string& path) override;
  int open_append(const std::string& path, std::unique_ptr<host::AppendFile>& file) override;

 private:
  std::shared_ptr<Faults> faults_;
};

// Seven actors of every walker class and refusal; "walker" and "statue" have routes.
extern const char* const kWindfallText;

mods::json::Value parse(const std::string& text);

class StoreTest : public ::testing::Test {
 protected:
  StoreTest();
  // (Re)opens the session on the folder, as a restart of the editor would.
  void reopen();
  std::string package_path(const std::string& name = "windfall") const;
  std::string journal_path(const std::string& name = "windfall") const;

  struct Answer {
    mods::json::Value result;
    std::string error;
    bool ok = false;
  };
  // Runs a route command or, when it is none, a host command, on the windfall package unless `params`
  // names another.
  Answer run(const std::string& method, mods::json::Value params);
  const mods::json::Value& document(const std::string& name = "windfall");

  TempFolder folder;
  std::shared_ptr<Faults> faults = std::make_shared<Faults>();
  std::unique_ptr<host::HostSession> session;
  int changed_calls = 0;
};

// Builds request parameters tersely: params({{"id", "gate_1"}, {"mode", "loop"}}) with string values,
// and then members of other kinds set directly.
mods::json::Value params(std::initializer_list<std::pair<const char*, const char*>> strings);

}  // namespace store_test

#endif  // PATHWRIGHT_TESTS_HOST_STORE_STORE_FIXTURE_H_
