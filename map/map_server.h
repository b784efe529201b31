// `pathwright map`'s HTTP server: the page's static files, and behind the token JSON-RPC (POST /rpc), the
// event stream (GET /events) and the ground tiles (GET /ground/Z/X/Y.png), all on the one shared
// Workbench. Owns the HTTP server, its worker threads, the event hub and a watcher thread that notes the
// game coming and going, sends live events while pages watch, and lets the store do its upkeep. start/stop from one
// thread; the rest runs on the server's own threads.
#ifndef PATHWRIGHT_MAP_MAP_SERVER_H_
#define PATHWRIGHT_MAP_MAP_SERVER_H_

#include <atomic>
#include <cstddef>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "map/event_hub.h"
#include "server/shared_workbench.h"

namespace httplib {
class Server;
struct Request;
struct Response;
}  // namespace httplib

namespace host::map {

class GroundTiles;

struct MapServerOptions {
  static constexpr int kDefaultPort = 47900;
  static constexpr std::size_t kDefaultBodyLimit = 16u << 20;  // bytes of a POST body

  std::string bind = "127.0.0.1";
  int port = kDefaultPort;  // 0: any free port
  std::string token;        // required; see random_token
  std::string web_dir;      // the built page; may be missing (then "/" says so)
  std::size_t body_limit = kDefaultBodyLimit;
};

class MapServer {
 public:
  MapServer(server::SharedWorkbench& bench, MapServerOptions options);
  ~MapServer();  // stops

  // Binds and starts serving on background threads. On false `error` says why and nothing listens.
  bool start(std::string& error);
  // Stops listening, ends every event stream and joins the threads. Safe to call twice.
  void stop();

  int port() const { return port_; }
  // After start failed: whether because another process listens on the port.
  bool port_in_use() const { return port_in_use_; }
  // The address to open: http://127.0.0.1:PORT/#token=TOKEN.
  std::string url() const;

  // Publishes a "change" event; connect it to Workbench::on_applied. Any thread.
  void applied(const std::string& package, const std::string& kind, const std::string& label);

  EventHub& events() { return hub_; }

 private:
  void route();
  bool allowed(const httplib::Request& request, httplib::Response& response) const;
  void serve_file(const httplib::Request& request, httplib::Response& response) const;
  void serve_rpc(const httplib::Request& request, httplib::Response& response);
  void serve_events(const httplib::Request& request, httplib::Response& response);
  struct EventStream;
  std::shared_ptr<EventStream> stream_for(const httplib::Request& request);
  bool next_events(EventStream& listener, std::string& text);
  void serve_tile(const httplib::Request& request, httplib::Response& response);
  void watch_game();
  void send_live();
  std::string default_package();
  bool has_package(const std::string& name);

  server::SharedWorkbench& bench_;
  MapServerOptions options_;
  int port_ = 0;
  bool port_in_use_ = false;
  std::vector<std::string> own_hosts_;
  std::unique_ptr<httplib::Server> http_;
  std::unique_ptr<GroundTiles> tiles_;
  EventHub hub_;
  std::thread listener_;
  std::thread watcher_;
  std::atomic<bool> stopping_{false};
  std::atomic<int> streams_{0};  // open event streams

  std::mutex state_mutex_;
  std::string game_data_;                  // the last "game" event's data
  std::map<std::string, long> revisions_;  // package -> applied changes since start
  std::map<std::string, int> watched_;     // package -> event streams that asked for it
};

}  // namespace host::map

#endif  // PATHWRIGHT_MAP_MAP_SERVER_H_
