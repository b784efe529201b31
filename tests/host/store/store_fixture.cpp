#include "tests/host/store/store_fixture.h"

#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <sstream>

#include "host/json_text/json_text.h"

namespace store_test {
namespace {

int fault(const std::shared_ptr<Faults>& faults, const char* operation) {
  auto it = faults->find(operation);
  return it == faults->end() ? 0 : it->second;
}

class FaultyAppendFile : public host::AppendFile {
 public:
  FaultyAppendFile(std::unique_ptr<host::AppendFile> inner, std::shared_ptr<Faults> faults)
      : inner_(std::move(inner)), faults_(std::move(faults)) {}
  int append(std::string_view bytes) override {
    if (int code = fault(faults_, "append")) {
      // A failed flush after the bytes were written: the worst case, the record may be on disk.
      inner_->append(bytes);
      return code;
    }
    return inner_->append(bytes);
  }
  int truncate(std::uint64_t size) override {
    if (int code = fault(faults_, "truncate")) return code;
    return inner_->truncate(size);
  }

 private:
  std::unique_ptr<host::AppendFile> inner_;
  std::shared_ptr<Faults> faults_;
};

}  // namespace

TempFolder::TempFolder() {
  std::string pattern = (std::filesystem::temp_directory_path() / "pathwright-store-XXXXXX").string();
  if (::mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("cannot make a temporary folder");
  path_ = pattern;
}

TempFolder::~TempFolder() {
  std::error_code ignored;
  std::filesystem::remove_all(path_, ignored);
}

std::string read_text(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream text;
  text << in.rdbuf();
  return text.str();
}

void write_text(const std::string& path, const std::string& text) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out << text;
}

bool exists(const std::string& path) { return std::filesystem::exists(path); }

int FaultyFileSystem::read_file(const std::string& path, std::string& bytes, host::FileIdentity& identity) {
  if (int code = fault(faults_, "read_file")) return code;
  return PosixFileSystem::read_file(path, bytes, identity);
}

int FaultyFileSystem::write_temporary(const std::string& folder, const std::string& prefix, std::string_view bytes,
                                      unsigned mode, std::string& temporary) {
  if (int code = fault(faults_, "write_temporary")) return code;
  return PosixFileSystem::write_temporary(folder, prefix, bytes, mode, temporary);
}

int FaultyFileSystem::rename(const std::string& from, const std::string& to) {
  if (int code = fault(faults_, "rename")) return code;
  return PosixFileSystem::rename(from, to);
}

int FaultyFileSystem::sync_folder(const std::string& path) {
  if (int code = fault(faults_, "sync_folder")) return code;
  return PosixFileSystem::sync_folder(path);
}

int FaultyFileSystem::open_append(const std::string& path, std::unique_ptr<host::AppendFile>& file) {
  if (int code = fault(faults_, "open_append")) return code;
  std::unique_ptr<host::AppendFile> inner;
  int code = PosixFileSystem::open_append(path, inner);
  if (code == 0) file = std::make_unique<FaultyAppendFile>(std::move(inner), faults_);
  return code;
}

const char* const kWindfallText = R"({"name": "Windfall", "actors": [
  {"id": "gate_1", "actor": "resident", "parameters": {"resident": "ub4"}, "position": {"x": 0, "y": 0, "z": 0}},
  {"id": "walker", "actor": "resident", "parameters": {"resident": "ub3"}, "position": {"x": 0, "y": 0, "z": 0},
   "path": {"points": [{"x": 10, "y": 0, "z": 0}, {"x": 20, "y": 0, "z": 0}], "mode": "once"}},
  {"id": "boko", "actor": "bokoblin", "position": {"x": 5, "y": 0, "z": 5}},
  {"id": "statue", "actor": "statue_model", "kind": "mod", "position": {"x": 1, "y": 0, "z": 0},
   "path": {"points": [{"x": 1, "y": 0, "z": 0}, {"x": 2, "y": 0, "z": 0}], "mode": "loop", "speed": 60}},
  {"id": "ghost", "actor": "ghost_model", "kind": "mod"},
  {"id": "bench_man", "actor": "resident", "parameters": {"resident": "ym1"}, "position": {"x": 0, "y": 0, "z": 0}},
  {"id": "chest", "actor": "treasure_chest", "position": {"x": 0, "y": 0, "z": 0}}
]}
)";

mods::json::Value parse(const std::string& text) {
  mods::json::Value value;
  host::JsonTextError error;
  EXPECT_TRUE(host::parse_json(text, value, error)) << error.message();
  return value;
}

StoreTest::StoreTest() {
  write_text(package_path(), kWindfallText);
  reopen();
}

void StoreTest::reopen() {
  session.reset();
  std::string error;
  session = host::HostSession::open(folder.path(), std::make_unique<FaultyFileSystem>(faults), error);
  ASSERT_TRUE(session) << error;
  session->on_changed = [this](const editor::Session::Package&) { ++changed_calls; };
}

std::string StoreTest::package_path(const std::string& name) const { return folder.path() + "/" + name + ".json"; }

std::string StoreTest::journal_path(const std::string& name) const {
  return folder.path() + "/.pathwright/" + name + ".journal";
}

StoreTest::Answer StoreTest::run(const std::string& method, mods::json::Value params) {
  if (!params.has("package")) params["package"] = mods::json::Value::of("windfall");
  Answer answer;
  bool handled = false;
  answer.result = session->dispatch_route(method, params, answer.error, answer.ok, handled);
  if (!handled) answer.result = session->host_command(method, params, answer.error, answer.ok, handled);
  EXPECT_TRUE(handled) << method;
  return answer;
}

const mods::json::Value& StoreTest::document(const std::string& name) {
  std::string error;
  mods::json::Value which = mods::json::Value::object();
  which["package"] = mods::json::Value::of(name);
  editor::Session::Package* package = session->package(which, error);
  EXPECT_NE(package, nullptr) << error;
  static const mods::json::Value none;
  return package != nullptr ? package->document : none;
}

mods::json::Value params(std::initializer_list<std::pair<const char*, const char*>> strings) {
  mods::json::Value value = mods::json::Value::object();
  for (const auto& [key, text] : strings) value[key] = mods::json::Value::of(text);
  return value;
}

}  // namespace store_test
