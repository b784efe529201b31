#include "cli/map_command.h"

#include <signal.h>

#include <cstdio>
#include <iostream>

#include "map/map_security.h"
#include "server/shared_workbench.h"
#include "server/store_socket.h"
#include "server/workbench.h"

namespace host::cli {

using server::SharedWorkbench;
using server::StoreSocketListener;
using server::Workbench;

namespace {

constexpr int kExitPortInUse = 2;  // as bad usage: the user must pick another --port

sigset_t stop_signals() {
  sigset_t set;
  sigemptyset(&set);
  sigaddset(&set, SIGINT);
  sigaddset(&set, SIGTERM);
  return set;
}

}  // namespace

void block_stop_signals() {
  const sigset_t set = stop_signals();
  pthread_sigmask(SIG_BLOCK, &set, nullptr);
}

int run_map(Workbench& bench, map::MapServerOptions options, std::string& error) {
  if (options.token.empty()) options.token = map::random_token(error);
  if (options.token.empty()) return 1;
  if (options.bind != "127.0.0.1" && options.bind != "localhost") {
    std::cerr << "pathwright: warning: the map listens on " << options.bind
              << ", not only on this machine's loopback; anyone who learns the token can edit the store\n";
  }
  SharedWorkbench shared(bench);
  map::MapServer server(shared, options);
  bench.on_applied = [&server](const std::string& package, const std::string& kind, const std::string& label) {
    server.applied(package, kind, label);
  };
  if (!server.start(error)) {
    bench.on_applied = nullptr;
    return server.port_in_use() ? kExitPortInUse : 1;
  }
  // `call` on this store runs through the map, in its history.
  auto listener = StoreSocketListener::start(bench.store_dir(), shared.runner(), error);
  if (!listener) {
    server.stop();
    bench.on_applied = nullptr;
    return 1;
  }
  std::printf("Pathwright map: %s\n", server.url().c_str());
  std::fflush(stdout);

  const sigset_t set = stop_signals();
  int received = 0;
  sigwait(&set, &received);
  listener.reset();
  server.stop();
  bench.on_applied = nullptr;
  return shared.flush(error) ? 0 : 1;
}

}  // namespace host::cli
