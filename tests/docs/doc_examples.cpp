#include "tests/docs/doc_examples.h"

#include <fstream>
#include <iterator>
#include <sstream>

namespace doc_examples {
namespace {

constexpr std::string_view kRequestMark = "-> ";
constexpr std::string_view kAnswerMark = "<- ";
constexpr std::string_view kFence = "```";

bool starts_with(const std::string& line, std::string_view prefix) { return line.rfind(prefix, 0) == 0; }

std::vector<std::string> lines_of(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);) lines.push_back(line);
  return lines;
}

bool is_placeholder(const nlohmann::json& value) {
  if (!value.is_string()) return false;
  const std::string& text = value.get_ref<const std::string&>();
  return text.size() >= 2 && text.front() == '<' && text.back() == '>';
}

}  // namespace

bool read_exchanges(const std::string& text, std::vector<Exchange>& exchanges, std::string& error) {
  // The last request has no answer: it is dropped and its line named.
  const auto unanswered = [&] {
    error = "line " + std::to_string(exchanges.back().line) + ": a request (->) without its answer (<-)";
    exchanges.pop_back();
    return false;
  };
  bool in_block = false;
  int number = 0;
  std::string* last = nullptr;  // the message a continuation line extends
  for (const std::string& line : lines_of(text)) {
    ++number;
    if (starts_with(line, kFence)) {
      in_block = !in_block;
      last = nullptr;
      continue;
    }
    if (!in_block) continue;
    const bool open = !exchanges.empty() && exchanges.back().answer.empty();
    if (starts_with(line, kRequestMark)) {
      if (open) return unanswered();
      exchanges.push_back({.line = number, .request = line.substr(kRequestMark.size()), .answer = ""});
      last = &exchanges.back().request;
    } else if (starts_with(line, kAnswerMark)) {
      if (!open) {
        error = "line " + std::to_string(number) + ": an answer (<-) without a request (->) before it";
        return false;
      }
      exchanges.back().answer = line.substr(kAnswerMark.size());
      last = &exchanges.back().answer;
    } else if (last != nullptr && (starts_with(line, " ") || starts_with(line, "\t")) &&
               line.find_first_not_of(" \t") != std::string::npos) {
      last->append(line, line.find_first_not_of(" \t"), std::string::npos);
    } else {
      last = nullptr;
    }
  }
  return exchanges.empty() || !exchanges.back().answer.empty() || unanswered();
}

std::vector<std::string> fenced_blocks(const std::string& text, const std::string& info) {
  std::vector<std::string> blocks;
  std::string* open = nullptr;
  bool in_other = false;
  for (const std::string& line : lines_of(text)) {
    if (!starts_with(line, kFence)) {
      if (open != nullptr) *open += line + "\n";
      continue;
    }
    if (open != nullptr || in_other) {
      open = nullptr, in_other = false;
    } else if (line.substr(kFence.size()) == info) {
      open = &blocks.emplace_back();
    } else {
      in_other = true;
    }
  }
  return blocks;
}

bool matches(const nlohmann::json& expected, const nlohmann::json& actual, std::string& where) {
  if (is_placeholder(expected)) return true;
  if (expected.is_object() && actual.is_object()) {
    for (const auto& [key, value] : expected.items()) {
      if (!actual.contains(key)) return where = "/" + key + " (missing)", false;
      if (!matches(value, actual.at(key), where)) return where = "/" + key + where, false;
    }
    for (const auto& [key, value] : actual.items()) {
      if (!expected.contains(key)) return where = "/" + key + " (not in the doc)", false;
    }
    return true;
  }
  if (expected.is_array() && actual.is_array()) {
    if (expected.size() != actual.size()) return where = " (array sizes differ)", false;
    for (std::size_t i = 0; i < expected.size(); ++i) {
      if (!matches(expected[i], actual[i], where)) return where = "/" + std::to_string(i) + where, false;
    }
    return true;
  }
  if (expected == actual) return true;
  where = ": " + expected.dump() + " in the doc, " + actual.dump() + " answered";
  return false;
}

std::string file_text(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

}  // namespace doc_examples
