#include "game/obj_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <charconv>
#include <cmath>
#include <cstring>
#include <limits>
#include <vector>

namespace game {
namespace {

// The number of values each numeric record takes: [fewest, most], and a count in between that is refused
// (a vertex holds x y z, x y z w, or x y z r g b).
struct NumericRecord {
  std::string_view keyword;
  std::size_t fewest;
  std::size_t most;
  std::size_t refused;  // 0: none
  const char* shape;
};
// clang-format off
constexpr NumericRecord kRecords[] = {
    {.keyword = "v", .fewest = 3, .most = 6, .refused = 5, .shape = "a vertex needs x y z (then w, or r g b)"},
    {.keyword = "vt", .fewest = 1, .most = 3, .refused = 0, .shape = "a texture coordinate needs 1 to 3 numbers"},
    {.keyword = "vn", .fewest = 3, .most = 3, .refused = 0, .shape = "a normal needs x y z"},
};
// clang-format on

std::vector<std::string_view> words(std::string_view line) {
  std::vector<std::string_view> out;
  std::size_t i = 0;
  while (i < line.size()) {
    while (i < line.size() && (line[i] == ' ' || line[i] == '\t')) ++i;
    const std::size_t start = i;
    while (i < line.size() && line[i] != ' ' && line[i] != '\t') ++i;
    if (i > start) out.push_back(line.substr(start, i - start));
  }
  return out;
}

std::string quoted(std::string_view word) {
  constexpr std::size_t kLongestShown = 40;  // characters of a bad word in a message
  std::string text(word.substr(0, kLongestShown));
  return "\"" + text + (word.size() > kLongestShown ? "...\"" : "\"");
}

// One number of a numeric record: a whole decimal word, finite and within a float's range.
bool check_number(std::string_view word, std::string& error) {
  std::string_view digits = word;
  if (!digits.empty() && digits.front() == '+') digits.remove_prefix(1);
  double value = 0;
  const auto [end, code] = std::from_chars(digits.data(), digits.data() + digits.size(), value);
  if (digits.empty() || end != digits.data() + digits.size() ||
      (code != std::errc() && code != std::errc::result_out_of_range)) {
    error = quoted(word) + " is not a number";
    return false;
  }
  if (!std::isfinite(value) && code == std::errc()) {
    error = quoted(word) + " is not a finite number";
    return false;
  }
  if (code == std::errc::result_out_of_range || std::fabs(value) > std::numeric_limits<float>::max()) {
    error = quoted(word) + " is beyond the largest coordinate (about 3.4e38)";
    return false;
  }
  return true;
}

bool check_index(std::string_view text) {
  if (!text.empty() && (text.front() == '+')) return false;
  long long value = 0;
  const auto [end, code] = std::from_chars(text.data(), text.data() + text.size(), value);
  return !text.empty() && end == text.data() + text.size() && code == std::errc() && value != 0 &&
         value >= std::numeric_limits<int>::min() && value <= std::numeric_limits<int>::max();
}

// A face corner: V, V/T, V//N or V/T/N.
bool check_corner(std::string_view corner) {
  const std::size_t first = corner.find('/');
  if (first == std::string_view::npos) return check_index(corner);
  const std::size_t second = corner.find('/', first + 1);
  if (!check_index(corner.substr(0, first))) return false;
  if (second == std::string_view::npos) return check_index(corner.substr(first + 1));
  const std::string_view texture = corner.substr(first + 1, second - first - 1);
  return (texture.empty() || check_index(texture)) && check_index(corner.substr(second + 1));
}

bool check_line(const std::vector<std::string_view>& line, std::string& error) {
  const std::size_t count = line.size() - 1;
  if (line[0] == "f") {
    if (count == 0) {
      error = "a face needs its corners";
      return false;
    }
    for (std::size_t i = 1; i < line.size(); ++i) {
      if (!check_corner(line[i])) {
        error = quoted(line[i]) + " is not a face corner (V, V/T, V//N or V/T/N, each a non-zero whole number)";
        return false;
      }
    }
    return true;
  }
  for (const NumericRecord& record : kRecords) {
    if (line[0] != record.keyword) continue;
    if (count < record.fewest || count > record.most || count == record.refused) {
      error = std::string(record.shape) + ", not " + std::to_string(count) + " numbers";
      return false;
    }
    for (std::size_t i = 1; i < line.size(); ++i)
      if (!check_number(line[i], error)) return false;
  }
  return true;
}

std::string reason() {
  std::string text = std::strerror(errno);
  for (char& c : text) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return text;
}

}  // namespace

bool check_obj_text(std::string_view text, std::string& error) {
  std::size_t number = 0;
  while (!text.empty()) {
    ++number;
    std::string_view line = text.substr(0, text.find('\n'));
    text.remove_prefix(std::min(text.size(), line.size() + 1));
    line = line.substr(0, line.find('#'));
    if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
    const std::vector<std::string_view> parts = words(line);
    if (parts.empty() || check_line(parts, error)) continue;
    error = "line " + std::to_string(number) + ": " + error;
    return false;
  }
  return true;
}

bool read_world_file(const std::string& path, std::string& text, std::string& error) {
  // O_NONBLOCK: opening a pipe with no writer must not wait; the kind is checked on the opened file.
  const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
  if (fd < 0) {
    error = errno == ENOENT ? "no such file, or it cannot be opened" : reason();
    return false;
  }
  struct stat st;
  if (::fstat(fd, &st) != 0) {
    error = reason();
  } else if (S_ISDIR(st.st_mode)) {
    error = "it is a folder, not a regular file";
  } else if (S_ISFIFO(st.st_mode) || S_ISSOCK(st.st_mode)) {
    error = "it is a pipe or socket, not a regular file";
  } else if (!S_ISREG(st.st_mode)) {
    error = "it is a device, not a regular file";
  } else if (static_cast<std::uint64_t>(st.st_size) > kMaxWorldBytes) {
    error = "it is larger than " + std::to_string(kMaxWorldBytes >> 20) + " MiB";
  }
  text.clear();
  char buffer[1 << 16];
  while (error.empty()) {
    const ssize_t n = ::read(fd, buffer, sizeof buffer);
    if (n < 0 && errno == EINTR) continue;
    if (n < 0) error = reason();
    if (n <= 0) break;
    if (text.size() + static_cast<std::size_t>(n) > kMaxWorldBytes) {
      error = "it is larger than " + std::to_string(kMaxWorldBytes >> 20) + " MiB";  // grew while read
      break;
    }
    text.append(buffer, static_cast<std::size_t>(n));
  }
  ::close(fd);
  return error.empty();
}

}  // namespace game
