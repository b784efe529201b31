#include "protocol/line_reader.h"

#include <algorithm>
#include <cstring>

namespace protocol {

char* LineReader::room(std::size_t bytes) {
  // What is answered goes; the unfinished line moves to the front.
  if (begin_ > 0) {
    std::memmove(buffer_.data(), buffer_.data() + begin_, end_ - begin_);
    end_ -= begin_;
    scanned_ -= begin_;
    begin_ = 0;
  }
  if (buffer_.size() < end_ + bytes) buffer_.resize(std::max(buffer_.size() * 2, end_ + bytes));
  return buffer_.data() + end_;
}

void LineReader::append(std::string_view bytes) {
  std::memcpy(room(bytes.size()), bytes.data(), bytes.size());
  received(bytes.size());
}

LineReader::Next LineReader::next(std::string_view& line) {
  for (;;) {
    const char* start = buffer_.data() + scanned_;
    const void* newline = end_ > scanned_ ? std::memchr(start, '\n', end_ - scanned_) : nullptr;
    if (newline == nullptr) break;
    const std::size_t at = static_cast<std::size_t>(static_cast<const char*>(newline) - buffer_.data());
    const std::size_t length = at - begin_;
    const bool was_dropping = dropping_;
    line = std::string_view(buffer_.data() + begin_, length);
    begin_ = scanned_ = at + 1;
    dropping_ = false;
    if (was_dropping) continue;  // the end of a line already told
    return length > max_line_bytes_ ? Next::TooLong : Next::Line;
  }
  scanned_ = end_;
  if (dropping_ || pending() > max_line_bytes_) {
    const bool told = dropping_;
    dropping_ = true;
    begin_ = end_ = scanned_ = 0;  // nothing of an over-long line is kept
    if (!told) return Next::TooLong;
  }
  return Next::More;
}

void LineReader::finish() {
  if (dropping_) {
    dropping_ = false;
    begin_ = end_ = scanned_ = 0;
    return;
  }
  if (pending() > 0) append("\n");
}

}  // namespace protocol
