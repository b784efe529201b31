// The one reader of newline-framed input: lines as sent, over-long lines told once and dropped, whatever
// pieces the bytes arrive in.
#include "protocol/line_reader.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace protocol {
namespace {

struct Case {
  const char* name;
  std::size_t limit;
  std::vector<std::string> pieces;  // as received, one `append` each
  bool finish;                      // the input ends after the last piece
  std::vector<std::string> told;    // "L:" + each line, "T" for each over-long line, in order
};

std::vector<std::string> read_all(const Case& c) {
  LineReader reader(c.limit);
  std::vector<std::string> told;
  const auto drain = [&] {
    std::string_view line;
    for (LineReader::Next next; (next = reader.next(line)) != LineReader::Next::More;) {
      told.push_back(next == LineReader::Next::TooLong ? "T" : "L:" + std::string(line));
    }
  };
  for (const std::string& piece : c.pieces) {
    reader.append(piece);
    drain();
  }
  if (c.finish) {
    reader.finish();
    drain();
  }
  return told;
}

TEST(LineReader, TellsLinesAndOverLongLinesWhateverPiecesTheyArriveIn) {
  // clang-format off
  const Case cases[] = {
      {.name = "two lines in one piece", .limit = 8, .pieces = {"ab\ncd\n"}, .finish = false, .told = {"L:ab", "L:cd"}},
      {.name = "a line cut in three", .limit = 8, .pieces = {"a", "b", "c\n"}, .finish = false, .told = {"L:abc"}},
      {.name = "an empty line is a line", .limit = 8, .pieces = {"\n\n"}, .finish = false, .told = {"L:", "L:"}},
      {.name = "a carriage return stays", .limit = 8, .pieces = {"ab\r\n"}, .finish = false, .told = {"L:ab\r"}},
      {.name = "no newline yet: nothing", .limit = 8, .pieces = {"abc"}, .finish = false, .told = {}},
      {.name = "the end finishes the last line", .limit = 8, .pieces = {"ab\ncd"}, .finish = true, .told = {"L:ab", "L:cd"}},
      {.name = "the end after a newline adds none", .limit = 8, .pieces = {"ab\n"}, .finish = true, .told = {"L:ab"}},
      {.name = "exactly the limit is a line", .limit = 3, .pieces = {"abc\n"}, .finish = false, .told = {"L:abc"}},
      {.name = "one over the limit with its newline", .limit = 3, .pieces = {"abcd\nok\n"}, .finish = false, .told = {"T", "L:ok"}},
      {.name = "one over the limit told before its newline", .limit = 3, .pieces = {"abcd"}, .finish = false, .told = {"T"}},
      {.name = "exactly the limit held is not yet too long", .limit = 3, .pieces = {"abc"}, .finish = false, .told = {}},
      {.name = "an over-long line is told once", .limit = 3, .pieces = {"abcd", "efgh", "ij\nok\n"}, .finish = false, .told = {"T", "L:ok"}},
      {.name = "an over-long line cut by the end", .limit = 3, .pieces = {"abcdef"}, .finish = true, .told = {"T"}},
      {.name = "lines before and after an over-long one", .limit = 3, .pieces = {"a\nbcdefg", "h\nc\n"}, .finish = false, .told = {"L:a", "T", "L:c"}},
  };
  // clang-format on
  for (const Case& c : cases) EXPECT_EQ(read_all(c), c.told) << c.name;
}

TEST(LineReader, HoldsNoMoreThanTheLimitOfALineThatNeverEnds) {
  LineReader reader(16);
  std::string_view line;
  EXPECT_EQ(reader.next(line), LineReader::Next::More);
  reader.append(std::string(17, 'x'));
  EXPECT_EQ(reader.next(line), LineReader::Next::TooLong);
  for (int k = 0; k < 1000; ++k) {
    reader.append(std::string(1000, 'x'));
    EXPECT_EQ(reader.next(line), LineReader::Next::More);
    EXPECT_EQ(reader.pending(), 0u);
  }
}

}  // namespace
}  // namespace protocol
