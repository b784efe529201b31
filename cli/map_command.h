// `pathwright map`: starts the map's HTTP server on the open Workbench, prints its address as the first
// line of standard output, and serves until SIGINT or SIGTERM, then saves everything. Runs on the calling
// thread (the server has its own).
#ifndef PATHWRIGHT_CLI_MAP_COMMAND_H_
#define PATHWRIGHT_CLI_MAP_COMMAND_H_

#include <string>

#include "map/map_server.h"

namespace host::server {
class Workbench;
}  // namespace host::server

namespace host::cli {

// Serves `bench` as `options` say (an empty token: a random one). SIGINT and SIGTERM must be blocked in
// every thread before the Workbench was opened (see block_stop_signals). Answers 0 when everything was
// saved at the end; otherwise 1, with `error` saying why.
int run_map(server::Workbench& bench, map::MapServerOptions options, std::string& error);

// Blocks SIGINT and SIGTERM in the calling thread and every thread it starts later, so that run_map
// alone takes them.
void block_stop_signals();

}  // namespace host::cli

#endif  // PATHWRIGHT_CLI_MAP_COMMAND_H_
