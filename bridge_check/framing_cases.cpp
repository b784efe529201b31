// The cases about framing: the greeting, ids, order, refusals, broken and over-long lines, and
// connections (several at once, one closed half-way).
#include <chrono>
#include <thread>

#include "bridge_check/check_cases.h"
#include "protocol/link_protocol.h"

namespace host::bridge_check {
namespace {

using mods::json::Value;

constexpr int kParallelConnections = 4;
constexpr int kPipelinedRequests = 24;
constexpr auto kCloseNoticed = std::chrono::milliseconds(200);  // time for a bridge to see a closed connection

[[noreturn]] void fail(const std::string& sent, const Value& got, const std::string& expected) {
  throw CaseFailure("sent " + excerpt(sent) + ", got " + excerpt(compact(got)) + ", expected " + expected);
}

// A refusal as the document describes one: "ok": false and a lower-case "error" without a final full stop.
void expect_refusal(const std::string& sent, const Value& answer) {
  const Value& error = answer.get("error");
  if (answer.get("ok").boolean || !error.is_string() || error.str.empty()) {
    fail(sent, answer, "\"ok\": false with an \"error\" text");
  }
  if ((error.str[0] >= 'A' && error.str[0] <= 'Z') || error.str.back() == '.') {
    fail(sent, answer, "an \"error\" text in lower case without a final full stop");
  }
}

// After a case's odd lines, the same connection still answers a greeting.
void expect_still_usable(BridgeSession& session) {
  const double id = session.next_id() + 1000;
  const std::string line = request(id, "hello");
  const Value answer = session.ask(line, id);
  if (!answer.get("ok").boolean) fail(line, answer, "the connection to stay usable");
}

}  // namespace

std::string greeting_case(CheckContext& context) {
  auto session = context.open();
  const std::string line = request(1, "hello");
  const Value answer = session->ask_ok(line, 1);
  std::string expected;
  if (!read_greeting(answer, context.greeting, expected)) fail(line, answer, expected);
  return "";
}

std::string ids_case(CheckContext& context) {
  auto session = context.open();
  // Ids are doubles, echoed exactly: whole, negative, fractional, the largest exact integer, huge.
  for (const double id : {0.0, 7.0, -3.0, 0.5, -2.25, 123456.789, 9007199254740991.0, 1e300}) {
    session->ask(request(id, "hello"), id);
  }
  const std::string line = R"({"id":"twelve","op":"hello"})";
  session->send(line);
  const Value answer = session->read_answer(line);
  if (!answer.get("id").is_null() || answer.get("ok").boolean) fail(line, answer, "\"id\": null and \"ok\": false");
  return "";
}

std::string order_case(CheckContext& context) {
  auto session = context.open();
  const char* const ops[] = {"hello", "link", "camera", "ground_height"};
  std::string batch;
  for (int k = 0; k < kPipelinedRequests; ++k) {
    const std::string op = ops[k % 4];
    batch += request(100 + k, op, op == "ground_height" ? R"("x":0,"y":1000,"z":0)" : "");
    if (k + 1 < kPipelinedRequests) batch += "\n";
  }
  session->send(batch);  // every request in one write
  for (int k = 0; k < kPipelinedRequests; ++k) {
    const Value answer = session->read_answer(batch);
    if (!answer.get("id").is_number() || answer.get("id").number != 100 + k) {
      fail(std::to_string(kPipelinedRequests) + " requests in one write (ids 100 to " +
               std::to_string(99 + kPipelinedRequests) + ")",
           answer, "answer " + std::to_string(k + 1) + " to carry \"id\" " + std::to_string(100 + k));
    }
  }
  return "";
}

std::string errors_case(CheckContext& context) {
  auto session = context.open();
  const char* const refused[] = {
      R"({"id":21,"op":"fly"})",
      R"({"id":22})",
      R"({"id":23,"op":7})",
      R"({"id":24,"op":"ground_height","x":0,"y":0})",
      R"({"id":25,"op":"ground_height","x":"a","y":0,"z":0})",
      R"({"id":26,"op":"ground_heights"})",
      R"({"id":27,"op":"ground_heights","probes":[0,1]})",
      R"({"id":28,"op":"ground_heights","probes":[0,1,"z"]})",
      R"({"id":29,"op":"teleport","x":1})",
      R"({"id":30,"op":"load","document":{}})",
      R"({"id":31,"op":"load","package":"","document":{}})",
      R"({"id":32,"op":"load","package":"bridge_check","document":[]})",
      R"({"id":33,"op":"load","package":"bridge_check","document":{"actors":7}})",
      R"({"id":34,"op":"live_actors"})",
      R"({"id":35,"op":"live_route","package":1,"actor":"a"})",
      R"({"id":36,"op":"advance","seconds":-1})",
      R"({"id":37,"op":"advance"})",
  };
  double id = 21;
  for (const char* line : refused) expect_refusal(line, session->ask(line, id++));

  const std::string unloaded = R"({"id":38,"op":"live_actors","package":"bridge_check_never_loaded"})";
  const Value answer = session->ask(unloaded, 38);
  if (answer.get("ok").boolean ||
      answer.get("error").string("") != "no package \"bridge_check_never_loaded\" is loaded") {
    fail(unloaded, answer, "the error \"no package \\\"bridge_check_never_loaded\\\" is loaded\"");
  }
  expect_still_usable(*session);
  return "";
}

std::string bad_line_case(CheckContext& context) {
  auto session = context.open();
  const std::string broken[] = {
      "this is not json",
      "",
      "[12]",
      "\"hello\"",
      R"({"id":12,)",
      R"({"id":13,"op":"hello","x":NaN})",
      "{\"id\":14,\"op\":\"\xff\"}",
  };
  for (const std::string& line : broken) {
    session->send(line);
    const Value answer = session->read_answer(line.empty() ? "a blank line" : line);
    if (!answer.get("id").is_null()) fail(line, answer, "\"id\": null");
    expect_refusal(line.empty() ? "a blank line" : line, answer);
  }
  expect_still_usable(*session);
  return "";
}

std::string long_line_case(CheckContext& context) {
  auto session = context.open();
  // Lines padded with a string member: one exactly at the limit is answered, one byte more is refused.
  const auto padded = [](double id, std::size_t bytes) {
    std::string line = request(id, "hello", "\"pad\":\"");
    line.pop_back();
    line.append(bytes - line.size() - 2, 'x').append("\"}");
    return line;
  };
  const std::size_t limit = protocol::kMaxLineBytes;
  const std::string over = padded(41, limit + 1);
  session->send(over);
  const Value refusal = session->read_answer(over);
  if (!refusal.get("id").is_null() && !(refusal.get("id").is_number() && refusal.get("id").number == 41)) {
    fail(over, refusal, "\"id\": null (or 41)");
  }
  expect_refusal(over, refusal);
  session->ask_ok(request(42, "hello"), 42);  // the rest of the long line was skipped
  session->ask_ok(padded(43, limit), 43);
  return "";
}

std::string connections_case(CheckContext& context) {
  std::vector<std::unique_ptr<BridgeSession>> sessions;
  for (int c = 0; c < kParallelConnections; ++c) sessions.push_back(context.open());
  for (int round = 0; round < 3; ++round) {
    // Every connection holds a request before any answer is read; each answer must come on its own.
    std::vector<std::string> lines;
    for (int c = 0; c < kParallelConnections; ++c) {
      lines.push_back(request(1000 * (c + 1) + round, round == 1 ? "ground_height" : "hello",
                              round == 1 ? R"("x":0,"y":1000,"z":0)" : ""));
      sessions[c]->send(lines.back());
    }
    for (int c = 0; c < kParallelConnections; ++c) {
      const Value answer = sessions[c]->read_answer(lines[c]);
      if (answer.get("id").number != 1000 * (c + 1) + round || !answer.get("ok").boolean) {
        fail(lines[c] + " on connection " + std::to_string(c + 1) + " of " + std::to_string(kParallelConnections),
             answer, "its own answer on that connection");
      }
    }
  }
  return "";
}

std::string closed_mid_request_case(CheckContext& context) {
  auto witness = context.open();
  {
    auto half = context.open();
    half->send_unended(R"({"id":1,"op":"ground_heights","probes":[0,100,)");  // a line that never ends
  }
  {
    auto hasty = context.open();
    hasty->send(request(2, "ground_heights", R"("probes":[0,100,0,0,100,0])"));  // closed before the answer
  }
  std::this_thread::sleep_for(kCloseNoticed);
  witness->ask_ok(request(3, "hello"), 3);
  std::string error;
  auto fresh = BridgeSession::open(context.options.address, context.options.timeout_seconds, error);
  if (!fresh) {
    throw CaseFailure("closed a connection in the middle of a request, then a new connection failed (" + error +
                      "), expected the bridge to go on serving");
  }
  fresh->ask_ok(request(4, "hello"), 4);
  return "";
}

}  // namespace host::bridge_check
