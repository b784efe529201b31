// The quick way to read the game's answer to "ground_heights": a route check asks for the ground below
// thousands of probes, and building a JSON value per number costs far more than the round trip itself, so
// a well-formed answer is read straight off simdjson's tape. Anything else is left to the careful reader,
// which can say what is wrong. Owned by one GameLink; not for use from several threads (it keeps its
// parser's buffers between answers).
#ifndef PATHWRIGHT_LINK_HEIGHTS_ANSWER_READER_H_
#define PATHWRIGHT_LINK_HEIGHTS_ANSWER_READER_H_

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace host::link {

class HeightsAnswerReader {
 public:
  HeightsAnswerReader();
  ~HeightsAnswerReader();

  // True when `text` is an "ok" answer to request `id` holding exactly `count` numeric heights and
  // `count` found flags (numbers or booleans); the outputs then hold them, heights narrowed to float.
  // False for anything else, with the outputs unspecified.
  bool read(const std::string& text, std::uint64_t id, std::size_t count, std::vector<float>& heights,
            std::vector<bool>& found);

 private:
  struct Parser;
  std::unique_ptr<Parser> parser_;
};

}  // namespace host::link

#endif  // PATHWRIGHT_LINK_HEIGHTS_ANSWER_READER_H_
