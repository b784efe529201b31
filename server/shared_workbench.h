// One Workbench shared by every front end of a process (standard input, the store's local socket, the
// map's HTTP requests): each command runs alone, in the order the lock is granted, so all front ends
// share one history and none sees another's command half done. Owns nothing; the Workbench must outlive
// it. Safe to use from any thread.
#ifndef PATHWRIGHT_SERVER_SHARED_WORKBENCH_H_
#define PATHWRIGHT_SERVER_SHARED_WORKBENCH_H_

#include <mutex>
#include <string>

#include "server/json_rpc.h"
#include "server/workbench.h"

namespace host::server {

class SharedWorkbench {
 public:
  explicit SharedWorkbench(Workbench& bench) : bench_(bench) {}

  // Workbench::run under the lock.
  CallOutcome run(const std::string& method, const mods::json::Value& params) {
    std::lock_guard<std::mutex> hold(mutex_);
    return bench_.run(method, params);
  }
  void maintain() {
    std::lock_guard<std::mutex> hold(mutex_);
    bench_.maintain();
  }
  bool flush(std::string& error) {
    std::lock_guard<std::mutex> hold(mutex_);
    return bench_.flush(error);
  }
  // Runs `step` with the Workbench to itself, for anything beyond one command (the map's tiles, say).
  template <class Step>
  auto with(Step&& step) {
    std::lock_guard<std::mutex> hold(mutex_);
    return step(bench_);
  }
  // A method runner for JsonRpcServer that goes through the lock.
  MethodRunner runner() {
    return [this](const std::string& method, const mods::json::Value& params) { return run(method, params); };
  }

 private:
  std::mutex mutex_;
  Workbench& bench_;
};

}  // namespace host::server

#endif  // PATHWRIGHT_SERVER_SHARED_WORKBENCH_H_
