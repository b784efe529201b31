#include "bridge_check/bridge_session.h"

#include <charconv>
#include <cmath>

#include "json_text/json_text.h"
#include "protocol/link_protocol.h"

namespace host::bridge_check {

using link::GameAddress;
using link::LineConnection;

namespace {

constexpr std::size_t kExcerptBytes = 160;  // bytes of a long line shown in a FAIL text

std::string number_text(double value) {
  char buffer[32];
  return std::string(buffer, std::to_chars(buffer, buffer + sizeof buffer, value).ptr);
}

}  // namespace

std::string excerpt(const std::string& line) {
  if (line.size() <= kExcerptBytes) return line;
  return line.substr(0, kExcerptBytes) + "... (" + std::to_string(line.size()) + " bytes)";
}

std::unique_ptr<BridgeSession> BridgeSession::open(const GameAddress& address, double timeout_seconds,
                                                   std::string& error) {
  auto connection = LineConnection::connect(address.host, address.port, kConnectTimeoutMs, error);
  if (!connection) return nullptr;
  const int timeout_ms = static_cast<int>(std::ceil(timeout_seconds * 1000.0));
  return std::unique_ptr<BridgeSession>(new BridgeSession(std::move(connection), timeout_ms));
}

void BridgeSession::send(const std::string& line) {
  std::string problem;
  if (!connection_->send_line(line, timeout_ms_, problem)) {
    throw CaseFailure("sent " + excerpt(line) + ", the bridge did not take it: " + problem);
  }
}

void BridgeSession::send_unended(const std::string& bytes) {
  std::string problem;
  if (!connection_->send_bytes(bytes, timeout_ms_, problem)) {
    throw CaseFailure("sent " + excerpt(bytes) + ", the bridge did not take it: " + problem);
  }
}

std::string BridgeSession::read_line(const std::string& sent) {
  std::string line, problem;
  switch (connection_->read_line(line, timeout_ms_, problem)) {
    case LineConnection::Read::Line:
      if (!line.empty() && line.back() == '\r') line.pop_back();
      return line;
    case LineConnection::Read::TimedOut:
      throw CaseFailure("sent " + excerpt(sent) + ", got no answer within " + number_text(timeout_ms_ / 1000.0) +
                        " s, expected one answer line");
    case LineConnection::Read::Closed:
      throw CaseFailure("sent " + excerpt(sent) + ", the bridge closed the connection, expected one answer line");
    case LineConnection::Read::Failed: break;
  }
  throw CaseFailure("sent " + excerpt(sent) + ", reading the answer failed (" + problem + ")");
}

mods::json::Value BridgeSession::read_answer(const std::string& sent) {
  const std::string line = read_line(sent);
  mods::json::Value answer;
  json_text::JsonTextError parse_error;
  if (!json_text::parse_json(line, answer, parse_error)) {
    throw CaseFailure("sent " + excerpt(sent) + ", got " + excerpt(line) + ", expected a JSON answer (" +
                      parse_error.message() + ")");
  }
  if (!answer.is_object() || !answer.get("ok").is_bool()) {
    throw CaseFailure("sent " + excerpt(sent) + ", got " + excerpt(line) +
                      ", expected an object with a boolean \"ok\"");
  }
  return answer;
}

mods::json::Value BridgeSession::ask(const std::string& line, double id) {
  send(line);
  mods::json::Value answer = read_answer(line);
  const mods::json::Value& echoed = answer.get("id");
  if (!echoed.is_number() || echoed.number != id) {
    throw CaseFailure("sent " + excerpt(line) + ", got " + excerpt(compact(answer)) + ", expected \"id\" " +
                      number_text(id));
  }
  return answer;
}

mods::json::Value BridgeSession::ask_ok(const std::string& line, double id) {
  mods::json::Value answer = ask(line, id);
  if (!answer.get("ok").boolean) {
    throw CaseFailure("sent " + excerpt(line) + ", got " + excerpt(compact(answer)) + ", expected \"ok\": true");
  }
  return answer;
}

mods::json::Value BridgeSession::call(const std::string& op, const std::string& fields) {
  const double id = next_id();
  std::string line = "{\"id\":" + number_text(id) + ",\"op\":\"" + op + "\"";
  if (!fields.empty()) line += "," + fields;
  line += "}";
  return ask_ok(line, id);
}

}  // namespace host::bridge_check
