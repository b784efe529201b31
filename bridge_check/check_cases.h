// The cases of bridge-check, one function each, and what they share: the options, the greeting and a
// way to open fresh connections. A case returns a note ("" for none) when it passed, sets `skipped`
// when it cannot run against this bridge, and throws CaseFailure when the bridge is wrong. One thread.
#ifndef PATHWRIGHT_BRIDGE_CHECK_CHECK_CASES_H_
#define PATHWRIGHT_BRIDGE_CHECK_CHECK_CASES_H_

#include <memory>
#include <string>
#include <vector>

#include "bridge_check/bridge_check.h"
#include "bridge_check/bridge_session.h"

namespace host::bridge_check {

struct CheckContext {
  const CheckOptions& options;
  Greeting greeting;
  bool skipped = false;  // set by a case that cannot run here; its note says why

  // A fresh connection to the bridge. Throws CaseFailure when it cannot be made.
  std::unique_ptr<BridgeSession> open() const;
  // Probes spread over the world: its bounds when the greeting gave them, else around Link, from above.
  std::vector<WorldPoint> probes(std::size_t count, BridgeSession& session) const;
};

// The shortest text of a number, as the link writes it.
std::string number_text(double value);
// "{"id":ID,"op":"OP"" plus `fields` and "}".
std::string request(double id, const std::string& op, const std::string& fields = "");

std::string greeting_case(CheckContext& context);
std::string ids_case(CheckContext& context);
std::string order_case(CheckContext& context);
std::string errors_case(CheckContext& context);
std::string bad_line_case(CheckContext& context);
std::string long_line_case(CheckContext& context);
std::string ground_height_case(CheckContext& context);
std::string ground_heights_case(CheckContext& context);
std::string link_camera_case(CheckContext& context);
std::string walkers_case(CheckContext& context);
std::string manual_clock_case(CheckContext& context);
std::string connections_case(CheckContext& context);
std::string closed_mid_request_case(CheckContext& context);

}  // namespace host::bridge_check

#endif  // PATHWRIGHT_BRIDGE_CHECK_CHECK_CASES_H_
