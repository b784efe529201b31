// Where and why the JSON reader refused a text, in words and as a line and column, and the conversion of
// number text that both the reader's handler and the messages need. Internal to pathwright_json_text;
// pure functions, safe from several threads.
#ifndef PATHWRIGHT_JSON_TEXT_JSON_PARSE_FAULTS_H_
#define PATHWRIGHT_JSON_TEXT_JSON_PARSE_FAULTS_H_

#include <cstddef>
#include <string>
#include <string_view>

#include <rapidjson/error/error.h>

#include "json_text/json_text.h"

namespace json_text::json_parse {

// Converts the text of a JSON number (already checked against the grammar by the reader) to the nearest
// double. False when its magnitude is beyond the largest double; an underflow becomes a signed zero.
bool number_from_text(const char* first, std::size_t length, double& out);

// The opening quote of the string whose closing quote is at `close`.
std::size_t string_start(std::string_view text, std::size_t close);
// The first \u escape of a low surrogate without a high one before it, in the string opening at `open`.
std::size_t lone_surrogate_escape(std::string_view text, std::size_t open);
// The reason for a fault the reader found; `offset` may move back to the start of a cut-short literal.
std::string reason_for(rapidjson::ParseErrorCode code, std::string_view text, std::size_t& offset);
// Sets `error`'s line and column (from 1, the column in bytes) of byte `offset` of `text`.
void locate(std::string_view text, std::size_t offset, JsonTextError& error);

}  // namespace json_text::json_parse

#endif  // PATHWRIGHT_JSON_TEXT_JSON_PARSE_FAULTS_H_
