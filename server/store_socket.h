// The store's local socket: a process that holds a store (`serve`, `map`) answers JSON-RPC lines from other
// Pathwright processes on `.pathwright/socket`, so that `call` runs its command through that process, in
// its history, instead of waiting for the store's lock. Unix domain, owner-only. The listener owns its
// thread and its socket file; `forward_call` is used by one thread.
#ifndef PATHWRIGHT_SERVER_STORE_SOCKET_H_
#define PATHWRIGHT_SERVER_STORE_SOCKET_H_

#include <memory>
#include <string>
#include <thread>

#include "server/json_rpc.h"

namespace host::server {

class StoreSocketListener {
 public:
  // Listens on `store_dir`'s socket and answers each received line through `runner` (which must serialise
  // itself with the process's other front ends) on a thread of its own. The caller must hold the store's
  // lock: a socket file left by a process that died is replaced. On null, `error` says why.
  static std::unique_ptr<StoreSocketListener> start(const std::string& store_dir, MethodRunner runner,
                                                    std::string& error);
  // Stops answering and removes the socket file.
  ~StoreSocketListener();
  StoreSocketListener(const StoreSocketListener&) = delete;
  StoreSocketListener& operator=(const StoreSocketListener&) = delete;

 private:
  StoreSocketListener() = default;
  void serve();
  void answer_connection(int connection);

  std::unique_ptr<JsonRpcServer> server_;
  int folder_ = -1;  // the store's .pathwright folder, open for the socket's short path
  int listener_ = -1;
  int wake_[2] = {-1, -1};  // written to stop the thread
  std::thread thread_;
};

// What `forward_call` found.
enum class Forwarded {
  NoListener,  // nothing listens on the store's socket: run the command here
  Answered,    // `answer` holds the running process's JSON-RPC answer line
  Failed,      // a process listens but the exchange failed; `error` says why
};

// Sends one JSON-RPC request line to the process listening on `store_dir`'s socket and reads its answer,
// all within `wait_seconds` (at least a second), also while that process does not accept or answer. On
// Failed `error` names the process and says whether the command was sent (and so may still be run).
Forwarded forward_call(const std::string& store_dir, const std::string& line, double wait_seconds, std::string& answer,
                       std::string& error);

}  // namespace host::server

#endif  // PATHWRIGHT_SERVER_STORE_SOCKET_H_
