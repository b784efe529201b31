#include "link/heights_answer_reader.h"

#include <simdjson.h>

namespace host::link {

struct HeightsAnswerReader::Parser {
  simdjson::dom::parser dom;
};

HeightsAnswerReader::HeightsAnswerReader() : parser_(std::make_unique<Parser>()) {}

HeightsAnswerReader::~HeightsAnswerReader() = default;

bool HeightsAnswerReader::read(const std::string& text, std::uint64_t id, std::size_t count,
                               std::vector<float>& heights, std::vector<bool>& found) {
  simdjson::dom::object answer;
  if (parser_->dom.parse(text).get_object().get(answer) != simdjson::SUCCESS) return false;
  double answer_id = 0;
  bool ok = false;
  simdjson::dom::array h, f;
  if (answer["id"].get_double().get(answer_id) != simdjson::SUCCESS || answer_id != static_cast<double>(id) ||
      answer["ok"].get_bool().get(ok) != simdjson::SUCCESS || !ok ||
      answer["heights"].get_array().get(h) != simdjson::SUCCESS ||
      answer["found"].get_array().get(f) != simdjson::SUCCESS || h.size() != count || f.size() != count) {
    return false;
  }
  heights.resize(count);
  found.resize(count);
  std::size_t k = 0;
  for (simdjson::dom::element height : h) {
    double value = 0;
    if (height.get_double().get(value) != simdjson::SUCCESS) return false;
    heights[k++] = static_cast<float>(value);
  }
  k = 0;
  for (simdjson::dom::element flag : f) {
    double number = 0;
    bool boolean = false;
    if (flag.get_double().get(number) == simdjson::SUCCESS) {
      found[k++] = number != 0;
    } else if (flag.get_bool().get(boolean) == simdjson::SUCCESS) {
      found[k++] = boolean;
    } else {
      return false;
    }
  }
  return true;
}

}  // namespace host::link
