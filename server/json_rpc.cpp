#include "server/json_rpc.h"

#include <exception>
#include <new>
#include <utility>
#include <vector>

#include "json_text/json_text.h"

namespace host::server {
namespace {

using mods::json::Value;

Value error_answer(const Value& id, int code, const std::string& message, const Value& data = Value()) {
  Value answer = Value::object();
  answer["jsonrpc"] = Value::of("2.0");
  answer["id"] = id;
  Value& error = answer["error"];
  error["code"] = Value::of(static_cast<double>(code));
  error["message"] = Value::of(message);
  if (!data.is_null()) error["data"] = data;
  return answer;
}

// A partial result worth passing on under "data": anything but null and an empty object.
bool worth_sending(const Value& partial) {
  return !partial.is_null() && !(partial.is_object() && partial.members.empty());
}

// The compact text of one answer object. An id that arrived as a number is written as the text it arrived
// with (`raw_id`), since a double may not hold it exactly (9007199254740993).
std::string answer_text(Value reply, const std::string* raw_id) {
  std::string text, error;
  if (!json_text::print_json(reply, json_text::JsonLayout::Compact, text, error)) {
    // A result with a NaN cannot be written as JSON; say so instead of sending broken text.
    Value id = reply.get("id");
    reply = error_answer(id, rpc_code::kInternalError, "internal error: the answer cannot be written: " + error);
    json_text::print_json(reply, json_text::JsonLayout::Compact, text, error);
  }
  if (raw_id == nullptr || !reply.get("id").is_number()) return text;
  reply.members.erase("id");
  json_text::print_json(reply, json_text::JsonLayout::Compact, text, error);
  return "{\"id\":" + *raw_id + "," + text.substr(1);
}

}  // namespace

Value JsonRpcServer::answer(const Value& request) {
  if (!request.is_object()) return error_answer(Value(), rpc_code::kInvalidRequest, "invalid request: not an object");
  const bool notification = !request.has("id");
  const Value& id = request.get("id");
  const bool id_ok = id.is_null() || id.is_string() || id.is_number();
  const Value& answer_id = id_ok ? id : Value();
  if (!id_ok)
    return error_answer(answer_id, rpc_code::kInvalidRequest,
                        "invalid request: \"id\" is not a string, number or null");
  if (request.get("jsonrpc").string("") != "2.0") {
    return error_answer(answer_id, rpc_code::kInvalidRequest, "invalid request: \"jsonrpc\" is not \"2.0\"");
  }
  if (!request.get("method").is_string()) {
    return error_answer(answer_id, rpc_code::kInvalidRequest, "invalid request: \"method\" is not a string");
  }
  const std::string& method = request.get("method").str;
  const Value& params = request.get("params");
  if (request.has("params") && !params.is_object()) {
    if (notification) return Value();
    return error_answer(answer_id, rpc_code::kInvalidParams, "invalid params: \"params\" must be an object");
  }
  const Value no_params = Value::object();

  CallOutcome outcome;
  try {
    outcome = runner_(method, request.has("params") ? params : no_params);
  } catch (const std::exception& e) {
    outcome = {};
    outcome.handled = true;
    outcome.code = rpc_code::kInternalError;
    outcome.error = std::string("internal error: ") + e.what();
  }
  if (notification) return Value();
  if (!outcome.handled) {
    return error_answer(answer_id, rpc_code::kMethodNotFound, "unknown method \"" + method + "\"");
  }
  if (!outcome.ok) {
    return error_answer(answer_id, outcome.code, outcome.error,
                        worth_sending(outcome.result) ? outcome.result : Value());
  }
  Value answer = Value::object();
  answer["jsonrpc"] = Value::of("2.0");
  answer["id"] = answer_id;
  answer["result"] = std::move(outcome.result);  // a listing can be megabytes: never copied
  return answer;
}

std::string JsonRpcServer::answer_line(std::string_view line) {
  try {
    return answer_line_or_throw(line);
  } catch (const std::bad_alloc&) {
    // Building the request or its answer ran out of memory: that request fails, the server goes on.
    std::string text, error;
    json_text::print_json(
        error_answer(Value(), rpc_code::kInternalError, "internal error: out of memory for this request"),
        json_text::JsonLayout::Compact, text, error);
    return text;
  }
}

std::string JsonRpcServer::answer_line_or_throw(std::string_view line) {
  Value message;
  json_text::JsonTextError parse_error;
  std::vector<json_text::RawMemberText> raw_ids;  // ids as written, so that they are echoed exactly
  if (!json_text::parse_json(line, message, parse_error, "id", raw_ids)) {
    return answer_text(error_answer(Value(), rpc_code::kParseError, "parse error: " + parse_error.message()), nullptr);
  }
  const auto raw_id = [&raw_ids](std::size_t element) -> const std::string* {
    for (const json_text::RawMemberText& raw : raw_ids) {
      if (raw.element == element) return &raw.text;
    }
    return nullptr;
  };
  if (!message.is_array()) {
    Value reply = answer(message);
    return reply.is_null() ? "" : answer_text(std::move(reply), raw_id(0));
  }
  if (message.items.empty()) {
    return answer_text(error_answer(Value(), rpc_code::kInvalidRequest, "invalid request: an empty batch"), nullptr);
  }
  std::string text;
  for (std::size_t k = 0; k < message.items.size(); ++k) {
    Value one = answer(message.items[k]);
    if (!one.is_null()) (text += text.empty() ? "[" : ",") += answer_text(std::move(one), raw_id(k));
  }
  return text.empty() ? "" : text + "]";
}

}  // namespace host::server
