// Test surroundings for the package store: a fixture that opens a HostSession on a fresh temporary store
// folder holding the small windfall package, through a file system that fails chosen operations on demand
// (root ignores permissions, so read-only folders prove nothing), and that logs package renames until their
// folder is flushed, so that a test can cut the power (bringing back the replaced file as the very file it
// was, device, inode and change time, which the stand-in reports for the content put back). Single-threaded (a
// checkpoint waits for its temporary on a second thread, but through the started file alone), test use only.
#ifndef PATHWRIGHT_TESTS_STORE_STORE_FIXTURE_H_
#define PATHWRIGHT_TESTS_STORE_STORE_FIXTURE_H_

#include <gtest/gtest.h>
#include <stdlib.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "json/value.h"
#include "json_text/json_text.h"
#include "session/host_session.h"
#include "store/file_system.h"
#include "store/package_store.h"
#include "tests/support/json_helpers.h"

namespace store_test {

using mods::json::Value;

inline std::string read_text(const std::string& path) {  // "" when it cannot be read
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

inline void write_text(const std::string& path, const std::string& text) {
  std::ofstream(path, std::ios::binary) << text;
}

inline Value parse(const std::string& text) { return support::parsed(text); }

// Seven actors of every walker class and refusal; "walker" (actor 1) and "statue" (actor 3) have routes.
inline constexpr const char* kWindfallText = R"({"name": "Windfall", "actors": [
  {"id": "gate_1", "actor": "resident", "parameters": {"resident": "ub4"}, "position": {"x": 0, "y": 0, "z": 0}},
  {"id": "walker", "actor": "resident", "parameters": {"resident": "ub3"}, "position": {"x": 0, "y": 0, "z": 0},
   "path": {"points": [{"x": 10, "y": 0, "z": 0}, {"x": 20, "y": 0, "z": 0}], "mode": "once"}},
  {"id": "boko", "actor": "bokoblin", "position": {"x": 5, "y": 0, "z": 5}},
  {"id": "statue", "actor": "statue_model", "kind": "mod", "position": {"x": 1, "y": 0, "z": 0},
   "path": {"points": [{"x": 1, "y": 0, "z": 0}, {"x": 2, "y": 0, "z": 0}], "mode": "loop", "speed": 60}},
  {"id": "ghost", "actor": "ghost_model", "kind": "mod"},
  {"id": "bench_man", "actor": "resident", "parameters": {"resident": "ym1"}, "position": {"x": 0, "y": 0, "z": 0}},
  {"id": "chest", "actor": "treasure_chest", "position": {"x": 0, "y": 0, "z": 0}}]})";

// The errno each operation fails with while it is not 0; `reads` counts whole-file reads.
struct Faults {
  int write_temporary = 0;
  int flush_temporary = 0;  // after the temporary was written and flushed: its checkpoint may be journaled
  int rename = 0;
  int sync_package_folder = 0;  // flushing any folder but the journals' own
  int append = 0;
  int truncate = 0;
  mutable int reads = 0;
};

// A rename whose folder was not flushed since: what a power cut takes back (the target as it was before).
struct UnflushedRename {
  std::string folder;
  std::string target;
  bool existed = false;
  std::string before;
  host::store::FileIdentity identity_before;  // of the file `before` was in
};

// A file rewritten in place by a test that stands for another: while the file on disk is still `real`, the
// stand-in reports `reported` as its identity (the file a power cut brings back keeps its inode and times).
struct PutBack {
  host::store::FileIdentity real;
  host::store::FileIdentity reported;
};
using PutBacks = std::map<std::string, PutBack>;

struct FaultyAppendFile : host::store::AppendFile {
  FaultyAppendFile(std::unique_ptr<host::store::AppendFile> inner, const Faults& faults)
      : inner(std::move(inner)), faults(faults) {}
  int append(std::string_view bytes) override {
    // A failed flush after the bytes were written: the worst case, the record may be on disk.
    const int written = inner->append(bytes);
    return faults.append ? faults.append : written;
  }
  int truncate(std::uint64_t size) override { return faults.truncate ? faults.truncate : inner->truncate(size); }
  std::unique_ptr<host::store::AppendFile> inner;
  const Faults& faults;
};

struct FaultyStartedFile : host::store::StartedFile {
  FaultyStartedFile(std::unique_ptr<host::store::StartedFile> inner, int fault)
      : inner(std::move(inner)), fault(fault) {}
  int finish() override {
    const int flushed = inner->finish();
    return fault ? fault : flushed;
  }
  std::unique_ptr<host::store::StartedFile> inner;
  int fault;  // as the temporary was started
};

struct FaultyFileSystem : host::store::PosixFileSystem {
  FaultyFileSystem(const Faults& faults, std::vector<UnflushedRename>& unflushed, PutBacks& put_back)
      : faults_(faults), unflushed_(unflushed), put_back_(put_back) {}
  int start_temporary(const std::string& folder, const std::string& prefix, std::string_view bytes, unsigned mode,
                      std::string& temporary, std::unique_ptr<host::store::StartedFile>& file) override {
    if (faults_.write_temporary) return faults_.write_temporary;
    std::unique_ptr<host::store::StartedFile> inner;
    const int code = PosixFileSystem::start_temporary(folder, prefix, bytes, mode, temporary, inner);
    if (code == 0) file = std::make_unique<FaultyStartedFile>(std::move(inner), faults_.flush_temporary);
    return code;
  }
  int read_file(const std::string& path, std::string& bytes, host::store::FileIdentity& identity) override {
    ++faults_.reads;
    return stand_in(path, PosixFileSystem::read_file(path, bytes, identity), identity);
  }
  int identify(const std::string& path, host::store::FileIdentity& identity) override {
    return stand_in(path, PosixFileSystem::identify(path, identity), identity);
  }
  int stand_in(const std::string& path, int code, host::store::FileIdentity& identity) {
    auto found = put_back_.find(std::filesystem::weakly_canonical(path).string());
    if (code != 0 || found == put_back_.end()) return code;
    if (!(found->second.real == identity)) {
      put_back_.erase(found);  // written since: the file it is
      return code;
    }
    const unsigned permissions = identity.permissions;
    identity = found->second.reported;
    identity.permissions = permissions;
    return code;
  }
  int rename(const std::string& from, const std::string& to) override {
    if (faults_.rename) return faults_.rename;
    UnflushedRename undo{.folder = to.substr(0, to.rfind('/')),
                         .target = to,
                         .existed = std::filesystem::exists(to),
                         .before = "",
                         .identity_before = {}};
    undo.before = read_text(to);
    if (undo.existed) identify(to, undo.identity_before);
    const int code = PosixFileSystem::rename(from, to);
    if (code == 0) unflushed_.push_back(std::move(undo));
    return code;
  }
  int sync_folder(const std::string& path) override {
    const bool journals = path.ends_with(std::string("/") + host::store::kJournalFolderName);
    const int code =
        faults_.sync_package_folder && !journals ? faults_.sync_package_folder : PosixFileSystem::sync_folder(path);
    if (code == 0) std::erase_if(unflushed_, [&](const UnflushedRename& r) { return r.folder == path; });
    return code;
  }
  int open_append(const std::string& path, std::unique_ptr<host::store::AppendFile>& file) override {
    std::unique_ptr<host::store::AppendFile> inner;
    const int code = PosixFileSystem::open_append(path, inner);
    if (code == 0) file = std::make_unique<FaultyAppendFile>(std::move(inner), faults_);
    return code;
  }
  const Faults& faults_;
  std::vector<UnflushedRename>& unflushed_;
  PutBacks& put_back_;
};

struct StoreTest : ::testing::Test {
  StoreTest() {
    if (!::mkdtemp(folder.data())) throw std::runtime_error("no temporary folder");
    start_over();
  }
  ~StoreTest() override {
    session.reset();
    std::error_code ignored;
    std::filesystem::remove_all(folder, ignored);
  }

  // (Re)opens the session on the folder, as a restart of the editor would.
  void reopen() {
    session.reset();
    std::string error;
    session = host::session::HostSession::open(folder, std::make_unique<FaultyFileSystem>(faults, unflushed, put_back),
                                               error);
    ASSERT_TRUE(session) << error;
    if (outlined) session->load_outlined();
    session->on_changed = [this](const editor::Session::Package&) { ++changed_calls; };
  }
  // The machine stops: nothing more reaches the disk, and every rename whose folder was not flushed is
  // undone, newest first. Then the editor starts again.
  void power_cut() {
    faults.sync_package_folder = EIO;  // closing the session must not flush what the cut takes back
    session.reset();
    for (auto r = unflushed.rbegin(); r != unflushed.rend(); ++r) {
      if (r->existed) {
        put_back_file(r->target, r->before, r->identity_before);
      } else {
        std::filesystem::remove(r->target);
      }
    }
    unflushed.clear();
    faults = {};
    reopen();
  }
  // Writes `text` into `path` in place, as the very file `identity` names (what a power cut brings back).
  void put_back_file(const std::string& path, const std::string& text, const host::store::FileIdentity& identity) {
    write_text(path, text);
    PutBack entry{.real = {}, .reported = identity};
    if (host::store::PosixFileSystem().identify(path, entry.real) == 0)
      put_back[std::filesystem::weakly_canonical(path).string()] = entry;
  }
  // The package file's identity as the store sees it.
  host::store::FileIdentity package_identity() {
    host::store::FileIdentity identity;
    std::vector<UnflushedRename> none;
    EXPECT_EQ(FaultyFileSystem(faults, none, put_back).identify(package_path(), identity), 0);
    return identity;
  }
  // Back to the windfall file alone, without journal, and reopened.
  void start_over() {
    session.reset();
    unflushed.clear();
    put_back.clear();
    std::filesystem::remove_all(folder + "/.pathwright");
    write_text(package_path(), kWindfallText);
    reopen();
  }
  std::string package_path(const std::string& name = "windfall") const { return folder + "/" + name + ".json"; }
  std::string journal_path() const { return folder + "/.pathwright/windfall.journal"; }

  struct Answer {
    Value result;
    std::string error;
    bool ok = false;
  };
  // Runs a route command or, when it is none, a host command with the parameters in `params` (JSON text),
  // on the windfall package unless they name another. Every answer either succeeds or says why not.
  Answer run(const std::string& method, const std::string& params = "{}") {
    Value request = parse(params);
    if (!request.has("package")) request["package"] = Value::of("windfall");
    Answer answer;
    bool handled = false;
    answer.result = session->dispatch_route(method, request, answer.error, answer.ok, handled);
    if (!handled) answer.ok = run_store_command(method, request, answer.result, answer.error);
    EXPECT_EQ(answer.ok, answer.error.empty()) << method << ": " << answer.error;
    return answer;
  }
  // The session's own command `method`; fails the test for a name it does not have.
  bool run_store_command(const std::string& method, const Value& request, Value& result, std::string& error) {
    using Command = bool (host::session::HostSession::*)(const Value&, Value&, std::string&);
    static const std::map<std::string, Command> kStoreCommands = {
        {"actors", &host::session::HostSession::actors},
        {"placed_actors", &host::session::HostSession::placed_actors},
        {"document", &host::session::HostSession::document},
        {"history", &host::session::HostSession::history},
        {"undo", &host::session::HostSession::undo},
        {"redo", &host::session::HostSession::redo},
        {"reload", &host::session::HostSession::reload}};
    if (method == "packages") return session->packages(result, error);
    const auto command = kStoreCommands.find(method);
    if (command == kStoreCommands.end()) {
      ADD_FAILURE() << "no command " << method;
      return false;
    }
    return (*session.*command->second)(request, result, error);
  }
  // A checkpoint of every package now: "" when it succeeded, else why not.
  std::string flush_error() {
    std::string error;
    return session->flush(error) ? "" : error;
  }

  // Save temporaries (NAME.json.tmp-XXXXXX) left in the store folder.
  long temporaries() const {
    return std::count_if(std::filesystem::directory_iterator(folder), {}, [](const auto& entry) {
      return entry.path().filename().string().find(".tmp-") != std::string::npos;
    });
  }

  Value document(const std::string& name = "windfall") {
    std::string error;
    const editor::Session::Package* package = session->package(parse(R"({"package": ")" + name + "\"}"), error);
    EXPECT_NE(package, nullptr) << error;
    return package != nullptr ? package->document : Value();
  }
  std::string walker_mode() { return document().get("actors").items[1].get("path").get("mode").string(""); }
  bool statue_has_route() { return document().get("actors").items[3].has("path"); }
  Answer set_walker_mode(std::string mode) { return run("set_route", R"({"id": "walker", "mode": ")" + mode + "\"}"); }
  Value history() { return run("history").result.get("changes"); }

  std::string folder = (std::filesystem::temp_directory_path() / "pathwright-store-XXXXXX").string();
  bool outlined = false;  // reopen loads packages outlined, as a one-shot route edit does
  Faults faults;          // outlives the session
  std::vector<UnflushedRename> unflushed;
  PutBacks put_back;  // outlives the session too
  std::unique_ptr<host::session::HostSession> session;
  int changed_calls = 0;
};

}  // namespace store_test

#endif  // PATHWRIGHT_TESTS_STORE_STORE_FIXTURE_H_
