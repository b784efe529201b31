// Fuzzes the map's page file lookup with any request target: whatever it answers must name a file inside
// the page's folder (plain segments, nothing hidden, no separator or control byte), so that joined to the
// folder it never leaves it.
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <string>

#include "map/page_files.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string target(reinterpret_cast<const char*>(data), size);
  const std::string file = host::map::page_file(target);
  if (file.empty()) return 0;
  for (char c : file)
    if (c == '\\' || static_cast<unsigned char>(c) < 0x20 || c == 0x7f) std::abort();
  std::size_t start = 0;
  for (;;) {
    const std::size_t slash = file.find('/', start);
    const std::string segment = file.substr(start, slash - start);
    if (segment.empty() || segment.front() == '.') std::abort();
    if (slash == std::string::npos) break;
    start = slash + 1;
  }
  const std::filesystem::path folder = "/srv/page";
  const std::string joined = (folder / file).lexically_normal().string();
  if (joined.rfind("/srv/page/", 0) != 0) std::abort();
  return 0;
}
