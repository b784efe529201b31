#include "map/page_files.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>

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

std::string content_type(const std::filesystem::path& file) {
  // clang-format off
  static const std::map<std::string, std::string> kTypes = {
      {".html", "text/html; charset=utf-8"}, {".js", "text/javascript; charset=utf-8"},
      {".css", "text/css; charset=utf-8"},   {".json", "application/json"},
      {".map", "application/json"},          {".svg", "image/svg+xml"},
      {".png", "image/png"},                 {".ico", "image/x-icon"},
      {".woff2", "font/woff2"},              {".txt", "text/plain; charset=utf-8"},
  };
  // clang-format on
  auto type = kTypes.find(file.extension().string());
  return type != kTypes.end() ? type->second : "application/octet-stream";
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

PageFileAnswer read_page_file(const std::string& web_dir, std::string_view target) {
  namespace fs = std::filesystem;
  const std::string relative = page_file(target);
  std::error_code failed, missing;
  const fs::path folder = fs::weakly_canonical(web_dir, failed);
  // A link inside the page's folder may point anywhere; only what stays inside is served.
  const fs::path real = fs::weakly_canonical(folder / relative, missing);
  const bool inside = std::mismatch(folder.begin(), folder.end(), real.begin(), real.end()).first == folder.end();
  PageFileAnswer answer;
  if (relative.empty() || failed || missing || !inside || !fs::is_regular_file(real, missing)) {
    answer.status = 404;
    answer.error = fs::is_regular_file(folder / "index.html", failed)
                       ? "no such file: " + std::string(target)
                       : "the map's page is not installed: " + web_dir +
                             "/index.html is missing (build the page, or install Pathwright with it)";
    return answer;
  }
  std::ifstream in(real, std::ios::binary);
  std::stringstream body;
  body << in.rdbuf();
  if (!in) {
    answer.status = 500;
    answer.error = "cannot read " + real.string();
    return answer;
  }
  answer.body = body.str();
  answer.type = content_type(real);
  return answer;
}

}  // namespace host::map
