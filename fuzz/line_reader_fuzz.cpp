// Fuzzes the one reader of newline-framed input (protocol/line_reader.h). The first byte picks the line
// limit, the second how many bytes arrive at a time; the rest is the stream. However the stream is cut,
// the reader must tell the same lines and over-long lines as splitting the whole stream at each "\n".
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include "protocol/line_reader.h"

namespace {

// "L" + the line, or "T" for a line over the limit.
std::vector<std::string> reference(std::string_view stream, std::size_t limit) {
  std::vector<std::string> events;
  while (!stream.empty()) {
    const std::size_t end = std::min(stream.find('\n'), stream.size());
    events.push_back(end > limit ? "T" : "L" + std::string(stream.substr(0, end)));
    stream.remove_prefix(std::min(end + 1, stream.size()));
  }
  return events;
}

void drain(protocol::LineReader& reader, std::vector<std::string>& events) {
  std::string_view line;
  for (protocol::LineReader::Next next; (next = reader.next(line)) != protocol::LineReader::Next::More;) {
    events.push_back(next == protocol::LineReader::Next::TooLong ? "T" : "L" + std::string(line));
    if (next == protocol::LineReader::Next::Line && line.size() > reader.max_line_bytes()) std::abort();
  }
  if (reader.pending() > reader.max_line_bytes()) std::abort();  // never holds more than the limit
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 2) return 0;
  const std::size_t limit = data[0] % 32;
  const std::size_t chunk = 1 + data[1] % 16;
  const std::string_view stream(reinterpret_cast<const char*>(data) + 2, size - 2);
  protocol::LineReader reader(limit);
  std::vector<std::string> events;
  for (std::size_t at = 0; at < stream.size(); at += chunk) {
    reader.append(stream.substr(at, chunk));
    drain(reader, events);
  }
  reader.finish();
  drain(reader, events);
  if (events != reference(stream, limit)) std::abort();
  return 0;
}
