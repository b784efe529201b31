#include "map/map_server.h"

#include <httplib.h>
#include <netdb.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <memory>
#include <utility>

#include "json_text/json_text.h"
#include "map/ground_tiles.h"
#include "map/map_security.h"
#include "map/page_files.h"
#include "server/json_rpc.h"

namespace host::map {

using server::JsonRpcServer;
using server::SharedWorkbench;
using server::Workbench;

namespace {

using mods::json::Value;

constexpr int kWorkers = 16;                           // threads answering requests (event streams hold one each)
constexpr int kMaxStreams = 8;                         // open event streams; beyond, 503, so requests keep workers
constexpr int kReadTimeoutS = 5;                       // s a client may stay silent inside a request
constexpr int kWriteTimeoutS = 5;                      // s a client may refuse to take what is sent
constexpr int kKeepAliveS = 5;                         // s an idle kept-alive connection stays open
constexpr auto kHeartbeat = std::chrono::seconds(15);  // a comment line on a quiet stream
constexpr auto kGameWatchEvery = std::chrono::milliseconds(1000);  // how often the game's state is read
constexpr auto kWatchStep = std::chrono::milliseconds(50);         // how soon the watcher notices a stop
constexpr auto kLiveEvery = std::chrono::milliseconds(100);        // live events: 10 a second at most
constexpr auto kMaintainEvery = std::chrono::milliseconds(200);    // the store's upkeep while serving

constexpr const char* kPagePolicy = "default-src 'self'; img-src 'self' data: blob:; style-src 'self' 'unsafe-inline'";

using json_text::compact;

// Sends `body` as it is. The library would compress JSON, scripts and text with brotli at its highest
// quality, which takes seconds for a megabyte (a big package's listing) and saves nothing on loopback; a
// content provider of known length is the library's way to send a body uncompressed.
void send_plain(httplib::Response& response, std::string body, const char* type) {
  auto text = std::make_shared<const std::string>(std::move(body));
  response.set_content_provider(text->size(), type,
                                [text](std::size_t offset, std::size_t length, httplib::DataSink& sink) {
                                  return sink.write(text->data() + offset, length);
                                });
}

void refuse(httplib::Response& response, int status, const std::string& text) {
  response.status = status;
  response.set_content(text + "\n", "text/plain; charset=utf-8");
}

// Whether binding `host`:`port` fails because something listens there: the reason the library does not
// keep, asked again of the system.
bool address_in_use(const std::string& host, int port) {
  addrinfo hints{};
  hints.ai_family = AF_UNSPEC;
  hints.ai_socktype = SOCK_STREAM;
  hints.ai_flags = AI_PASSIVE;
  addrinfo* found = nullptr;
  if (::getaddrinfo(host.c_str(), std::to_string(port).c_str(), &hints, &found) != 0) return false;
  bool in_use = false;
  for (addrinfo* address = found; address != nullptr && !in_use; address = address->ai_next) {
    const int probe = ::socket(address->ai_family, address->ai_socktype | SOCK_CLOEXEC, address->ai_protocol);
    if (probe < 0) continue;
    int yes = 1;
    ::setsockopt(probe, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
    in_use = ::bind(probe, address->ai_addr, address->ai_addrlen) != 0 && errno == EADDRINUSE;
    ::close(probe);
  }
  ::freeaddrinfo(found);
  return in_use;
}

bool needs_token(const httplib::Request& request) {
  if (request.method != "GET" && request.method != "HEAD") return true;
  return request.path == "/events" || request.path.rfind("/ground/", 0) == 0;
}

// The game's state as a "game" event's data.
std::string game_event_data(const Value& status) {
  const Value& game = status.get("game");
  Value data = Value::object();
  const bool connected = game.get("connected").is_bool() && game.get("connected").boolean;
  data["connected"] = Value::of(connected);
  if (connected) {
    data["world"] = game.get("world");
    if (game.has("bounds")) data["bounds"] = game.get("bounds");
  } else {
    data["problem"] = Value::of(game.get("problem").string("the game is not connected"));
  }
  return compact(data);
}

}  // namespace

MapServer::MapServer(SharedWorkbench& bench, MapServerOptions options)
    : bench_(bench),
      options_(std::move(options)),
      http_(std::make_unique<httplib::Server>()),
      tiles_(std::make_unique<GroundTiles>()) {}

MapServer::~MapServer() { stop(); }

std::string MapServer::url() const { return "http://127.0.0.1:" + std::to_string(port_) + "/#token=" + options_.token; }

bool MapServer::start(std::string& error) {
  if (options_.token.empty()) {
    error = "the map server needs a token";
    return false;
  }
  http_->new_task_queue = [] { return new httplib::ThreadPool(kWorkers); };
  http_->set_read_timeout(kReadTimeoutS, 0);
  http_->set_write_timeout(kWriteTimeoutS, 0);
  http_->set_keep_alive_timeout(kKeepAliveS);
  http_->set_payload_max_length(options_.body_limit);
  route();
  // Only SO_REUSEADDR (a port in TIME_WAIT may be taken again); the library's default adds SO_REUSEPORT,
  // with which a second map listens on a taken port too and the kernel spreads the pages over both.
  http_->set_socket_options([](int socket) {
    int yes = 1;
    ::setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
  });
  if (options_.port == 0) {
    port_ = http_->bind_to_any_port(options_.bind);
  } else {
    port_ = http_->bind_to_port(options_.bind, options_.port) ? options_.port : -1;
  }
  if (port_ <= 0) {
    port_in_use_ = options_.port != 0 && address_in_use(options_.bind, options_.port);
    error = "cannot listen on " + options_.bind + ":" + std::to_string(options_.port) +
            (port_in_use_ ? ": the port is in use (another pathwright map?)" : " (is the address not this machine's?)");
    return false;
  }
  own_hosts_ = own_hosts(options_.bind, port_);
  game_data_ = game_event_data(bench_.run("status", Value::object()).result);
  hub_.publish("game", game_data_);
  listener_ = std::thread([this] { http_->listen_after_bind(); });
  watcher_ = std::thread([this] { watch_game(); });
  return true;
}

void MapServer::stop() {
  if (stopping_.exchange(true)) return;
  hub_.close();
  http_->stop();
  if (listener_.joinable()) listener_.join();
  if (watcher_.joinable()) watcher_.join();
}

void MapServer::route() {
  http_->set_pre_routing_handler([this](const httplib::Request& request, httplib::Response& response) {
    return allowed(request, response) ? httplib::Server::HandlerResponse::Unhandled
                                      : httplib::Server::HandlerResponse::Handled;
  });
  http_->Post("/session", [](const httplib::Request&, httplib::Response& response) {
    response.status = 204;  // allowed() checked the bearer token and set the cookie
  });
  http_->Post("/rpc",
              [this](const httplib::Request& request, httplib::Response& response) { serve_rpc(request, response); });
  http_->Get("/events",
             [this](const httplib::Request& request, httplib::Response& response) { serve_events(request, response); });
  http_->Get(R"(/ground/(-?\d+)/(-?\d+)/(-?\d+)\.png)",
             [this](const httplib::Request& request, httplib::Response& response) { serve_tile(request, response); });
  http_->Get(R"(/.*)",
             [this](const httplib::Request& request, httplib::Response& response) { serve_file(request, response); });
}

bool MapServer::allowed(const httplib::Request& request, httplib::Response& response) const {
  response.set_header("X-Content-Type-Options", "nosniff");
  response.set_header("Cache-Control", "no-store");
  if (!host_allowed(request.get_header_value("Host"), own_hosts_)) {
    refuse(response, 403,
           "this server answers only to the Host 127.0.0.1:" + std::to_string(port_) +
               " or localhost:" + std::to_string(port_));
    return false;
  }
  if (request.method == "POST" &&
      !origin_allowed(request.get_header_value("Origin"), request.has_header("Origin"), own_hosts_)) {
    refuse(response, 403, "requests from other web sites are refused");
    return false;
  }
  if (!needs_token(request)) return true;
  const std::string token = token_of(request.get_header_value("Authorization"), request.get_header_value("Cookie"));
  if (!same_token(token, options_.token)) {
    refuse(response, 401,
           token.empty() ? "the map's token is missing: open the address pathwright map printed"
                         : "the map's token is wrong: open the address pathwright map printed");
    return false;
  }
  if (request.path == "/session") {
    // Only the bearer header may start a session, so a cookie cannot renew itself.
    if (request.get_header_value("Authorization").empty()) {
      refuse(response, 401, "POST /session needs Authorization: Bearer TOKEN");
      return false;
    }
    response.set_header("Set-Cookie",
                        std::string(kTokenCookie) + "=" + options_.token + "; HttpOnly; SameSite=Strict; Path=/");
  }
  return true;
}

void MapServer::serve_file(const httplib::Request& request, httplib::Response& response) const {
  // The target as sent: the library's decoded path cannot tell "%2f" from "/", and ends at a "%00".
  PageFileAnswer file = read_page_file(options_.web_dir, request.target.empty() ? request.path : request.target);
  if (file.status != 200) {
    refuse(response, file.status, file.error);
    return;
  }
  response.set_header("Content-Security-Policy", kPagePolicy);
  send_plain(response, std::move(file.body), file.type.c_str());
}

void MapServer::serve_rpc(const httplib::Request& request, httplib::Response& response) {
  JsonRpcServer server(bench_.runner());
  std::string answer = server.answer_line(request.body);
  if (answer.empty()) {
    response.status = 204;
    return;
  }
  send_plain(response, std::move(answer), "application/json");
}

// Where one page's event stream stands.
struct MapServer::EventStream {
  std::string package;
  std::uint64_t last = 0;
  std::uint64_t last_live = 0;
  bool started = false;
  bool reload = false;  // tell the page to fetch everything first
};

// One listener's stream: first the game's state (or "reload" when the page missed more than is kept),
// then every event as it comes, a comment line when quiet, until the page goes or the server stops.
void MapServer::serve_events(const httplib::Request& request, httplib::Response& response) {
  if (streams_.load() >= kMaxStreams) {
    refuse(response, 503, "too many pages are listening to this map");
    return;
  }
  if (request.has_param("package") && !has_package(request.get_param_value("package"))) {
    refuse(response, 404, "the store holds no package \"" + request.get_param_value("package") + "\"");
    return;
  }
  std::shared_ptr<EventStream> listener = stream_for(request);
  ++streams_;
  {
    std::lock_guard<std::mutex> hold(state_mutex_);
    ++watched_[listener->package];
  }
  response.set_chunked_content_provider(
      "text/event-stream",
      [this, listener](std::size_t, httplib::DataSink& sink) {
        std::string text;
        if (!next_events(*listener, text)) return false;
        return sink.write(text.data(), text.size());
      },
      [this, listener](bool) {
        std::lock_guard<std::mutex> hold(state_mutex_);
        --watched_[listener->package];
        --streams_;
      });
}

// A new stream for the page's package, resuming after its Last-Event-ID when the hub still has what came
// since.
std::shared_ptr<MapServer::EventStream> MapServer::stream_for(const httplib::Request& request) {
  auto listener = std::make_shared<EventStream>();
  listener->package = request.has_param("package") ? request.get_param_value("package") : default_package();
  const std::string resume = request.get_header_value("Last-Event-ID");
  bool resuming = !resume.empty();
  if (resuming) {
    try {
      listener->last = std::stoull(resume);
    } catch (const std::exception&) { resuming = false; }
  }
  // An id from the future was given by an earlier run of the server: the page must fetch everything.
  listener->reload = resuming && listener->last > hub_.last_id();
  if (!resuming || listener->reload) listener->last = hub_.last_id();
  return listener;
}

// The stream's next chunk into `text`, waiting up to a heartbeat for events. False once the server stops.
bool MapServer::next_events(EventStream& listener, std::string& text) {
  bool too_old = false;
  if (!listener.started) {
    listener.started = true;
    std::lock_guard<std::mutex> hold(state_mutex_);
    text = sse_text({.id = hub_.last_id(), .name = "game", .data = game_data_});
  }
  std::vector<MapEvent> events =
      hub_.next(listener.last, listener.last_live, listener.package,
                text.empty() ? std::chrono::milliseconds(kHeartbeat) : std::chrono::milliseconds(0), too_old);
  if (hub_.closed()) return false;
  if (too_old || std::exchange(listener.reload, false)) {
    listener.last = hub_.last_id();
    text += sse_text({.id = listener.last, .name = "reload", .data = "{}"});
  }
  for (const MapEvent& event : events) {
    text += sse_text(event);
    (event.name == "live" ? listener.last_live : listener.last) = event.id;
  }
  if (text.empty()) text = ": still here\n\n";
  return true;
}

void MapServer::serve_tile(const httplib::Request& request, httplib::Response& response) {
  TileKey key;
  try {
    key = {
        .zoom = std::stoi(request.matches[1]), .x = std::stol(request.matches[2]), .y = std::stol(request.matches[3])};
  } catch (const std::exception&) {
    refuse(response, 404, "no such tile: " + request.path);
    return;
  }
  std::string png, error;
  int status = 0;
  if (!tiles_->tile(bench_, key, png, status, error)) {
    refuse(response, status, error);
    return;
  }
  response.set_content(png, "image/png");
}

bool MapServer::has_package(const std::string& name) {
  const Value listing = bench_.run("packages", Value::object()).result;
  for (const Value& package : listing.get("packages").items)
    if (package.get("name").string("") == name) return true;
  return false;
}

std::string MapServer::default_package() {
  const Value listing = bench_.run("packages", Value::object()).result;
  const Value& packages = listing.get("packages");
  return packages.items.empty() ? "" : packages.items.front().get("name").string("");
}

void MapServer::applied(const std::string& package, const std::string& kind, const std::string& label) {
  long revision = 0;
  {
    std::lock_guard<std::mutex> hold(state_mutex_);
    revision = ++revisions_[package];
  }
  Value data = Value::object();
  data["package"] = Value::of(package);
  data["label"] = Value::of(label);
  data["kind"] = Value::of(kind);
  data["revision"] = Value::of(static_cast<double>(revision));
  hub_.publish("change", compact(data));
}

// A "live" event for every package a page watches, while the game answers.
void MapServer::send_live() {
  std::vector<std::string> packages;
  {
    std::lock_guard<std::mutex> hold(state_mutex_);
    for (const auto& [package, streams] : watched_)
      if (streams > 0) packages.push_back(package);
  }
  for (const std::string& package : packages) {
    Value live;
    std::string error;  // no game, or the package not in it: no live event, the "game" event says why
    if (!bench_.with([&](Workbench& bench) { return bench.live_actors(package, live, error); })) continue;
    Value data = Value::object();
    data["package"] = Value::of(package);
    data["time"] = live.get("time");
    data["actors"] = std::move(live["actors"]);
    hub_.publish_live(package, compact(data));
  }
}

void MapServer::watch_game() {
  auto next = std::chrono::steady_clock::now() + kGameWatchEvery;
  auto upkeep = std::chrono::steady_clock::now() + kMaintainEvery;
  auto live = std::chrono::steady_clock::now() + kLiveEvery;
  while (!stopping_) {
    std::this_thread::sleep_for(kWatchStep);
    if (std::chrono::steady_clock::now() >= live) {
      send_live();
      live = std::max(live + kLiveEvery, std::chrono::steady_clock::now());
    }
    if (std::chrono::steady_clock::now() >= upkeep) {
      bench_.maintain();
      upkeep += kMaintainEvery;
    }
    if (std::chrono::steady_clock::now() < next) continue;
    next += kGameWatchEvery;
    const std::string data = game_event_data(bench_.run("status", Value::object()).result);
    std::lock_guard<std::mutex> hold(state_mutex_);
    if (data == game_data_) continue;
    game_data_ = data;
    tiles_->forget();  // the game came back, perhaps with another world
    hub_.publish("game", data);
  }
}

}  // namespace host::map
