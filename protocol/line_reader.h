// Cuts a stream of received bytes into newline-terminated lines no longer than a limit: the one framing
// reader for both ends of the game link, the JSON-RPC server on standard input and the store's socket.
// It does no I/O (the caller reads into `room` and says how much came), so the same rules hold wherever
// lines arrive. One reader per stream; it owns its buffer; used by one thread.
//
// The rules: a line is the bytes before a "\n" (the "\n" not included; any "\r" is the caller's). A line
// longer than the limit is told once, as TooLong, as soon as it is known to be too long (when its "\n"
// comes, or when more than the limit is held without one), and its bytes up to its "\n" are dropped
// without being held, so a stream that never sends a "\n" costs no more than the limit.
#ifndef PATHWRIGHT_PROTOCOL_LINE_READER_H_
#define PATHWRIGHT_PROTOCOL_LINE_READER_H_

#include <cstddef>
#include <string_view>
#include <vector>

namespace protocol {

class LineReader {
 public:
  explicit LineReader(std::size_t max_line_bytes) : max_line_bytes_(max_line_bytes) {}

  // At least `bytes` of room for received bytes; write up to that many there, then call `received`.
  // Invalidates the lines `next` answered before.
  char* room(std::size_t bytes);
  // `bytes` were written at the start of the last `room`.
  void received(std::size_t bytes) { end_ += bytes; }
  // Copies `bytes` in, as room and received do.
  void append(std::string_view bytes);

  enum class Next {
    Line,     // `line` is the next whole line, good until the next room, append or finish
    TooLong,  // the next line is longer than the limit (see above); `line` is not to be read
    More,     // no whole line is held: receive more
  };
  Next next(std::string_view& line);

  // The input has ended: what is held of an unfinished line becomes the last line, as if its "\n" had
  // come (a line being dropped as too long ends without being told again).
  void finish();

  // Bytes held of the line not yet finished (0 while dropping an over-long one).
  std::size_t pending() const { return end_ - begin_; }
  std::size_t max_line_bytes() const { return max_line_bytes_; }

 private:
  const std::size_t max_line_bytes_;
  std::vector<char> buffer_;  // [begin_, end_) received and not yet answered; only grows
  std::size_t begin_ = 0;
  std::size_t end_ = 0;
  std::size_t scanned_ = 0;  // [begin_, scanned_) is known to hold no "\n"
  bool dropping_ = false;    // inside an over-long line already told
};

}  // namespace protocol

#endif  // PATHWRIGHT_PROTOCOL_LINE_READER_H_
