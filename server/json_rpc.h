// JSON-RPC 2.0 over lines of text: turns one received line (a request, a notification or a batch) into
// the one line to answer, running each call through the method runner it is given. It keeps no state
// between lines and runs calls one at a time, in order; used by one thread.
#ifndef PATHWRIGHT_SERVER_JSON_RPC_H_
#define PATHWRIGHT_SERVER_JSON_RPC_H_

#include <functional>
#include <string>
#include <string_view>

#include "json/value.h"

namespace host::server {

// The error codes a Pathwright answer may carry. The reserved range -32768..-32000 holds only those that
// JSON-RPC itself defines; the application's own are small positive numbers.
namespace rpc_code {
constexpr int kParseError = -32700;      // the line is not JSON
constexpr int kInvalidRequest = -32600;  // JSON, but not a request object (or an empty batch)
constexpr int kMethodNotFound = -32601;  // neither the route service nor the host knows the method
constexpr int kInvalidParams = -32602;   // "params" is neither an object nor absent
constexpr int kInternalError = -32603;   // an unexpected failure inside Pathwright
constexpr int kCommandFailed = 1;        // the command ran and failed; "message" says why
constexpr int kGameLinkFailed = 2;       // the game died, hung or babbled during the command
}  // namespace rpc_code

// One method call's outcome, as the runner reports it.
struct CallOutcome {
  bool handled = false;                 // the method exists
  bool ok = false;                      // it succeeded; then `result` is the answer
  int code = rpc_code::kCommandFailed;  // on failure: kCommandFailed or kGameLinkFailed
  std::string error;                    // on failure: the command's error text
  mods::json::Value result;             // on success the result; on failure any partial result (or null)
};

using MethodRunner = std::function<CallOutcome(const std::string& method, const mods::json::Value& params)>;

class JsonRpcServer {
 public:
  explicit JsonRpcServer(MethodRunner runner) : runner_(std::move(runner)) {}

  // The answer to `line`: one compact JSON text without a newline, or "" when nothing is to be sent (a
  // notification, a batch of notifications). Never throws: an exception out of the runner, or memory
  // running out while the line is read, becomes an internal error answer.
  std::string answer_line(std::string_view line);

  // The answer object for one parsed request (null for a notification).
  mods::json::Value answer(const mods::json::Value& request);

 private:
  std::string answer_line_or_throw(std::string_view line);
  MethodRunner runner_;
};

}  // namespace host::server

#endif  // PATHWRIGHT_SERVER_JSON_RPC_H_
