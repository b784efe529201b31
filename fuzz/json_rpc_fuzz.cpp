// Fuzzes one JSON-RPC line through the server's answer function, with the commands really run: a
// Workbench on a temporary copy of the demo store with the simulated island in this process (manual
// clock), as `pathwright serve --demo` runs them. The store keeps what earlier inputs changed.
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>
#include <string_view>

#include "json_text/json_text.h"
#include "server/json_rpc.h"
#include "server/workbench.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static std::unique_ptr<host::server::Workbench> bench = [] {
    host::server::WorkbenchOptions options;
    options.demo = true;
    options.manual_clock = true;
    options.examples_dir = PATHWRIGHT_EXAMPLES_DIR;
    std::string error;
    auto opened = host::server::Workbench::open(options, error);
    if (!opened) std::abort();
    return opened;
  }();
  static host::server::JsonRpcServer server(
      [](const std::string& method, const mods::json::Value& params) { return bench->run(method, params); });
  const std::string_view line(reinterpret_cast<const char*>(data), size);
  const std::string answer = server.answer_line(line);
  mods::json::Value parsed;
  json_text::JsonTextError error;
  if (!answer.empty() && !json_text::parse_json(answer, parsed, error)) std::abort();
  return 0;
}
