// Fuzzes the link's quick reader of "ground_heights" answers. The first byte picks how many heights the
// answer must hold; what it accepts must agree with itself (one height and one flag per probe).
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include "link/heights_answer_reader.h"

namespace {
constexpr std::uint64_t kRequestId = 7;  // the id the seeds answer
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static host::link::HeightsAnswerReader reader;  // kept between answers, as a GameLink keeps it
  if (size == 0) return 0;
  const std::size_t count = data[0] % 8;
  const std::string text(reinterpret_cast<const char*>(data) + 1, size - 1);
  std::vector<float> heights;
  std::vector<bool> found;
  if (reader.read(text, kRequestId, count, heights, found) && (heights.size() != count || found.size() != count))
    std::abort();
  return 0;
}
