// What the TCP game link costs a route check: one "ground_heights" query of N probes through
// host::link::GameLink against the simulated game's link server on loopback, reported beside two baselines
// measured in the same run: the same query in-process (host::link::LocalLiveGame, no link at all) and a bare
// round trip of the very same request bytes on a plain socket (no encoding, no parsing on our side).
#include <arpa/inet.h>
#include <benchmark/benchmark.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "game/game_world.h"
#include "game/link_server.h"
#include "link/game_link.h"
#include "link/local_live_game.h"
#include "protocol/flat_numbers.h"

namespace {

using story_notebook::WorldPoint;
using Clock = std::chrono::steady_clock;

constexpr float kRouteStep = 25;           // world units between probes, as the route check samples
constexpr float kProbeHeight = 200;        // above the plateau, below nothing
constexpr double kBaselineSeconds = 0.05;  // s of baseline runs per benchmark, enough to smooth noise

struct Fixture {
  std::unique_ptr<game::GameWorld> world;
  std::unique_ptr<game::LinkServer> server;
  std::thread serving;
  std::unique_ptr<host::link::LocalLiveGame> local;
  std::unique_ptr<host::link::GameLink> link;
  int raw = -1;

  Fixture() {
    std::string error;
    world = game::GameWorld::island(game::Clock::Manual, error);
    if (!world) throw std::runtime_error(error);
    server = std::make_unique<game::LinkServer>(*world);
    if (!server->listen(0, error)) throw std::runtime_error(error);
    serving = std::thread([this] { server->run(); });
    local = std::make_unique<host::link::LocalLiveGame>(*world);
    host::link::GameAddress address;
    address.port = server->port();
    link = std::make_unique<host::link::GameLink>(address, host::link::GameLink::kDefaultTimeoutSeconds);
    if (!link->connect_now()) throw std::runtime_error(link->last_problem());
    raw = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in to{};
    to.sin_family = AF_INET;
    to.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    to.sin_port = htons(server->port());
    if (::connect(raw, reinterpret_cast<sockaddr*>(&to), sizeof to) != 0) throw std::runtime_error("no raw socket");
    const int yes = 1;
    ::setsockopt(raw, IPPROTO_TCP, TCP_NODELAY, &yes, sizeof yes);
  }
  ~Fixture() {
    ::close(raw);
    link.reset();
    server->stop();
    serving.join();
  }
};

Fixture& fixture() {
  static Fixture instance;
  return instance;
}

// Probes walking back and forth across the town plateau and the beach, 25 units apart.
std::vector<WorldPoint> probes(std::size_t count) {
  std::vector<WorldPoint> out;
  out.reserve(count);
  for (std::size_t k = 0; k < count; ++k) {
    const float along = static_cast<float>(k % 160) * kRouteStep;  // 4000 units, then again
    out.push_back({-1900.0f + along, kProbeHeight, static_cast<float>(k / 160) * kRouteStep - 1000.0f});
  }
  return out;
}

// Seconds per call of `run`, repeated for about kBaselineSeconds.
template <typename Run>
double seconds_per_call(Run run) {
  run();  // warm
  std::size_t calls = 0;
  const auto start = Clock::now();
  std::chrono::duration<double> spent{};
  do {
    run();
    ++calls;
    spent = Clock::now() - start;
  } while (spent.count() < kBaselineSeconds);
  return spent.count() / static_cast<double>(calls);
}

// The bare round trip: `request` out, one answer line in.
void raw_round_trip(int socket, const std::string& request, std::string& pending) {
  for (std::size_t sent = 0; sent < request.size();) {
    const ssize_t n = ::send(socket, request.data() + sent, request.size() - sent, MSG_NOSIGNAL);
    if (n <= 0) throw std::runtime_error("raw send failed");
    sent += static_cast<std::size_t>(n);
  }
  pending.clear();
  char chunk[65536];
  while (pending.empty() || pending.back() != '\n') {
    const ssize_t n = ::recv(socket, chunk, sizeof chunk, 0);
    if (n <= 0) throw std::runtime_error("raw receive failed");
    pending.append(chunk, static_cast<std::size_t>(n));
  }
}

void BM_GroundHeightsThroughTheLink(benchmark::State& state) {
  Fixture& f = fixture();
  const std::vector<WorldPoint> query = probes(static_cast<std::size_t>(state.range(0)));
  std::vector<float> heights;
  std::vector<bool> found;
  std::string error;

  const double in_process = seconds_per_call([&] { f.local->ground_heights(query, heights, found, error); });
  std::string request = R"({"id":1,"op":"ground_heights","probes":[)";
  for (std::size_t k = 0; k < query.size(); ++k) {
    if (k > 0) request += ',';
    request += protocol::float_text(query[k].x) + "," + protocol::float_text(query[k].y) + "," +
               protocol::float_text(query[k].z);
  }
  request += "]}\n";
  std::string pending;
  const double bare = seconds_per_call([&] { raw_round_trip(f.raw, request, pending); });

  const auto start = Clock::now();
  for (auto _ : state) {
    if (!f.link->ground_heights(query, heights, found, error)) {
      state.SkipWithError(error.c_str());
      return;
    }
    benchmark::DoNotOptimize(heights.data());
  }
  const double through_link =
      std::chrono::duration<double>(Clock::now() - start).count() / static_cast<double>(state.iterations());
  state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * query.size()));
  state.counters["x_in_process"] = through_link / in_process;
  state.counters["x_bare_round_trip"] = through_link / bare;
}
BENCHMARK(BM_GroundHeightsThroughTheLink)->Arg(1)->Arg(160)->Arg(1600)->Arg(16000)->Unit(benchmark::kMicrosecond);

}  // namespace

BENCHMARK_MAIN();
