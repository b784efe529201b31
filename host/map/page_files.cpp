#include "host/map/page_files.h"

namespace host::map {
namespace {

constexpr std::string_view kIndex = "index.html";  // what "/" names

int hex_value(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

// One segment percent-decoded into `out`; false when it is empty, hidden ("." first: also "." and ".."),
// badly encoded, or decodes to a separator or a control character.
bool decode_segment(std::string_view segment, std::string& out) {
  std::string name;
  for (std::size_t i = 0; i < segment.size(); ++i) {
    char c = segment[i];
    if (c == '%') {
      if (i + 2 >= segment.size()) return false;
      const int high = hex_value(segment[i + 1]);
      const int low = hex_value(segment[i + 2]);
      if (high < 0 || low < 0) return false;
      c = static_cast<char>(high * 16 + low);
      i += 2;
    }
    const auto byte = static_cast<unsigned char>(c);
    if (c == '/' || c == '\\' || byte < 0x20 || byte == 0x7f) return false;
    name += c;
  }
  if (name.empty() || name.front() == '.') return false;
  out += name;
  return true;
}

}  // namespace

std::string page_file(std::string_view target) {
  target = target.substr(0, target.find('?'));
  if (target.empty() || target.front() != '/') return "";
  target.remove_prefix(1);
  if (target.empty()) return std::string(kIndex);
  std::string relative;
  for (;;) {
    const std::size_t slash = target.find('/');
    if (!relative.empty()) relative += '/';
    if (!decode_segment(target.substr(0, slash), relative)) return "";
    if (slash == std::string_view::npos) return relative;
    target.remove_prefix(slash + 1);
  }
}

}  // namespace host::map
