// Fuzzes the journal two ways. The input as a whole is a journal file for decode_journal. Split at every
// kRecordSeparator it is a list of record payloads: framed with their checksums behind a checkpoint of a
// small package file and the record naming that very file, they are the journal StoredPackage::open replays (the fuzzer
// could not find the checksums or the file's hash itself). Files go to a temporary store folder kept for the whole run.
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <string_view>

#include "store/change_journal.h"
#include "store/content_hash.h"
#include "store/file_system.h"
#include "store/stored_package.h"

namespace {

constexpr std::string_view kRecordSeparator = "|R|";
constexpr std::string_view kPackage = "fuzzed";
constexpr std::string_view kPackageText =
    R"({"actors": [{"id": "a", "route": {"points": [[0, 0, 0], [4, 0, 0]]}}, {"id": "b"}]})"
    "\n";

// Frames `payload` as encode_record does; checked against encode_record once at start.
std::string frame(std::string_view payload) {
  const std::uint64_t checksum = host::store::content_hash(payload) ^ (payload.size() * 0x9E3779B97F4A7C15ULL);
  std::string bytes;
  for (int i = 0; i < 4; ++i) bytes.push_back(static_cast<char>((payload.size() >> (8 * i)) & 0xFF));
  for (int i = 0; i < 8; ++i) bytes.push_back(static_cast<char>((checksum >> (8 * i)) & 0xFF));
  return bytes.append(payload);
}

std::string encoded(host::store::JournalRecord record) {
  std::string bytes, error;
  if (!host::store::encode_record(record, bytes, error)) std::abort();
  return bytes;
}

void write(const std::filesystem::path& path, std::string_view bytes) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  if (!out) std::abort();
}

struct Store {
  Store() {
    std::string pattern = (std::filesystem::temp_directory_path() / "pathwright-journal-fuzz-XXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr) std::abort();
    folder = pattern;
    store = std::make_unique<host::store::PackageStore>(folder, std::make_unique<host::store::PosixFileSystem>());
    std::string error;
    if (!store->ensure_journal_folder(error)) std::abort();
    host::store::JournalRecord checkpoint;
    checkpoint.saved = {host::store::content_hash(kPackageText), kPackageText.size()};
    head = std::string(host::store::kJournalHeader) + encoded(checkpoint);
    if (frame(encoded(checkpoint).substr(12)) != encoded(checkpoint)) std::abort();  // framing drifted
  }
  ~Store() { std::filesystem::remove_all(folder); }
  std::string folder;
  std::unique_ptr<host::store::PackageStore> store;
  std::string head;  // the journal header and a checkpoint of kPackageText
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static Store fixture;
  const std::string_view input(reinterpret_cast<const char*>(data), size);
  host::store::JournalContents contents;
  if (host::store::decode_journal(input, contents) && contents.valid_bytes > size) std::abort();

  std::string journal = fixture.head;
  for (std::size_t at = 0; at <= size;) {
    std::size_t end = std::min(input.find(kRecordSeparator, at), size);
    journal += frame(input.substr(at, end - at));
    at = end + kRecordSeparator.size();
  }
  const std::string name(kPackage);
  write(fixture.store->package_path(name), kPackageText);
  host::store::FileIdentity identity;
  if (fixture.store->files().identify(fixture.store->package_path(name), identity) != 0) std::abort();
  host::store::JournalRecord file;
  file.kind = host::store::JournalRecord::Kind::File;
  file.saved_file = host::store::FileStamp::of(identity);
  journal.insert(fixture.head.size(), encoded(file));  // without it nothing would replay onto the file
  write(fixture.store->journal_path(name), journal);
  std::string error;
  if (!host::store::StoredPackage::open(*fixture.store, name, error) && error.empty()) std::abort();
  return 0;
}
