// One connection of bridge-check to the bridge under test: raw lines out, answer lines in, every wait
// bounded by the check's timeout. A failure of the connection (closed, late, not JSON) ends the running
// case with a CaseFailure whose text names what was sent. Owns its socket; used by one thread.
#ifndef PATHWRIGHT_BRIDGE_CHECK_BRIDGE_SESSION_H_
#define PATHWRIGHT_BRIDGE_CHECK_BRIDGE_SESSION_H_

#include <memory>
#include <stdexcept>
#include <string>

#include "json/value.h"
#include "json_text/json_text.h"
#include "link/game_link.h"
#include "link/line_connection.h"

namespace host::bridge_check {

// Ends one case: `what` is the FAIL line's text ("sent ..., got ..., expected ..."). Thrown by the
// sessions and the cases, caught by the runner around each case; never leaves the kit.
class CaseFailure : public std::runtime_error {
 public:
  explicit CaseFailure(const std::string& what) : std::runtime_error(what) {}
};

// A long line shortened for a FAIL text: its start, "..." and its length.
std::string excerpt(const std::string& line);

class BridgeSession {
 public:
  static constexpr int kConnectTimeoutMs = 2000;  // ms; a bridge on loopback accepts at once

  // Connects to `address`. On null, `error` says why.
  static std::unique_ptr<BridgeSession> open(const link::GameAddress& address, double timeout_seconds,
                                             std::string& error);

  // Sends `line` (without its "\n"). Throws CaseFailure when it cannot be sent in time.
  void send(const std::string& line);
  // Sends `bytes` without adding a "\n" (the start of a line that never ends).
  void send_unended(const std::string& bytes);
  // The next answer line, as text. Throws CaseFailure naming `sent` when none comes in time, the
  // bridge closes the connection, or the line is longer than the protocol's limit.
  std::string read_line(const std::string& sent);
  // The next answer line read as a JSON object. Throws CaseFailure when it is not one.
  mods::json::Value read_answer(const std::string& sent);
  // Sends `line` and reads its answer, which must carry `id` (a number).
  mods::json::Value ask(const std::string& line, double id);
  // As `ask`, and the answer must say "ok": true.
  mods::json::Value ask_ok(const std::string& line, double id);
  // A request of op `op` with the further members `fields` ("" or `"k":v,...`), with a fresh id,
  // answered with "ok": true.
  mods::json::Value call(const std::string& op, const std::string& fields = "");
  // True when the bridge has closed this connection; never waits.
  bool closed() { return connection_->peer_closed(); }

  int timeout_ms() const { return timeout_ms_; }
  double next_id() { return next_id_++; }

 private:
  BridgeSession(std::unique_ptr<link::LineConnection> connection, int timeout_ms)
      : connection_(std::move(connection)), timeout_ms_(timeout_ms) {}
  std::unique_ptr<link::LineConnection> connection_;
  int timeout_ms_;
  double next_id_ = 1;
};

// The compact text of an answer, for a FAIL text.
using json_text::compact;

}  // namespace host::bridge_check

#endif  // PATHWRIGHT_BRIDGE_CHECK_BRIDGE_SESSION_H_
