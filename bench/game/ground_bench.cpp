// Ground queries per second against a bumpy terrain of about a million triangles, for batches of 1,000
// and 100,000 probes: the game's batch query by each method, and the whole game link round trip over
// loopback, each reported as a ratio to a plain loop of rtcIntersect1 casts on the same mesh.
#include <arpa/inet.h>
#include <benchmark/benchmark.h>
#include <embree3/rtcore.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cmath>
#include <cstdio>
#include <limits>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "game/game_world.h"
#include "game/link_server.h"
#include "protocol/flat_numbers.h"

namespace {

constexpr unsigned kTerrainCells = 708;  // 708 x 708 squares: 1,002,528 triangles
constexpr float kTerrainHalf = 20000;    // world units each side of the centre
constexpr float kTerrainBump = 200;      // heights within about +-130
constexpr float kProbeHeight = 300;      // above every bump
constexpr float kRouteStep = 25;         // probes walk routes in steps like the route check
constexpr int kProbesPerRoute = 40;

struct Fixture {
  game::WorldMesh mesh = game::bumpy_terrain(kTerrainCells, kTerrainHalf, kTerrainBump);
  std::unique_ptr<game::GameWorld> world;
  RTCDevice device = nullptr;
  RTCScene scene = nullptr;
  std::unique_ptr<game::LinkServer> server;
  std::thread serving;

  Fixture() {
    std::string error;
    world = game::GameWorld::create(mesh, "terrain", false, {}, game::Clock::Manual, error);
    if (!world) throw std::runtime_error(error);
    // The baseline's own scene, built the same way as the game's.
    device = rtcNewDevice(nullptr);
    scene = rtcNewScene(device);
    rtcSetSceneFlags(scene, RTC_SCENE_FLAG_ROBUST);
    rtcSetSceneBuildQuality(scene, RTC_BUILD_QUALITY_HIGH);
    RTCGeometry geometry = rtcNewGeometry(device, RTC_GEOMETRY_TYPE_TRIANGLE);
    mesh.vertices.push_back(0);  // Embree reads vertices 16 bytes at a time
    rtcSetSharedGeometryBuffer(geometry, RTC_BUFFER_TYPE_VERTEX, 0, RTC_FORMAT_FLOAT3, mesh.vertices.data(), 0,
                               3 * sizeof(float), mesh.vertex_count());
    rtcSetSharedGeometryBuffer(geometry, RTC_BUFFER_TYPE_INDEX, 0, RTC_FORMAT_UINT3, mesh.indices.data(), 0,
                               3 * sizeof(std::uint32_t), mesh.triangle_count());
    rtcCommitGeometry(geometry);
    rtcAttachGeometry(scene, geometry);
    rtcReleaseGeometry(geometry);
    rtcCommitScene(scene);
    server = std::make_unique<game::LinkServer>(*world);
    if (!server->listen(0, error)) throw std::runtime_error(error);
    serving = std::thread([this] { server->run(); });
  }
  ~Fixture() {
    server->stop();
    serving.join();
    rtcReleaseScene(scene);
    rtcReleaseDevice(device);
  }
};

Fixture& fixture() {
  static Fixture instance;
  return instance;
}

// Probes along random straight routes across the terrain, as a route check sends them (layout 0), or
// scattered uniformly over it (layout 1: no two probes near each other, the hardest case for packets).
std::vector<float> probes_for(const benchmark::State& state) {
  const std::size_t count = static_cast<std::size_t>(state.range(0));
  if (state.range(1) == 1) {
    std::mt19937 random(43);
    std::uniform_real_distribution<float> across(-kTerrainHalf, kTerrainHalf);
    std::vector<float> probes;
    probes.reserve(count * 3);
    for (std::size_t k = 0; k < count; ++k) probes.insert(probes.end(), {across(random), kProbeHeight, across(random)});
    return probes;
  }
  std::mt19937 random(42);
  std::uniform_real_distribution<float> across(-kTerrainHalf * 0.9f, kTerrainHalf * 0.9f);
  std::uniform_real_distribution<float> turn(0, 6.2831853f);
  std::vector<float> probes;
  probes.reserve(count * 3);
  while (probes.size() < count * 3) {
    const float x = across(random), z = across(random), angle = turn(random);
    for (int k = 0; k < kProbesPerRoute && probes.size() < count * 3; ++k) {
      probes.insert(probes.end(), {x + std::sin(angle) * kRouteStep * static_cast<float>(k), kProbeHeight,
                                   z + std::cos(angle) * kRouteStep * static_cast<float>(k)});
    }
  }
  return probes;
}

void BM_PlainSingleRayLoop(benchmark::State& state) {
  Fixture& f = fixture();
  const std::size_t count = static_cast<std::size_t>(state.range(0));
  const std::vector<float> probes = probes_for(state);
  std::vector<float> heights(count);
  for (auto _ : state) {
    RTCIntersectContext context;
    rtcInitIntersectContext(&context);
    for (std::size_t k = 0; k < count; ++k) {
      RTCRayHit hit;
      hit.ray.org_x = probes[3 * k];
      hit.ray.org_y = probes[3 * k + 1];
      hit.ray.org_z = probes[3 * k + 2];
      hit.ray.dir_x = 0;
      hit.ray.dir_y = -1;
      hit.ray.dir_z = 0;
      hit.ray.tnear = 0;
      hit.ray.tfar = std::numeric_limits<float>::infinity();
      hit.ray.time = 0;
      hit.ray.mask = 0xFFFFFFFFu;
      hit.ray.id = 0;
      hit.ray.flags = 0;
      hit.hit.geomID = RTC_INVALID_GEOMETRY_ID;
      hit.hit.instID[0] = RTC_INVALID_GEOMETRY_ID;
      rtcIntersect1(f.scene, &context, &hit);
      heights[k] = hit.hit.geomID == RTC_INVALID_GEOMETRY_ID ? 0 : probes[3 * k + 1] - hit.ray.tfar;
    }
    benchmark::DoNotOptimize(heights.data());
  }
  state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * count));
}

void BM_GroundBatch(benchmark::State& state, game::BatchMethod method) {
  Fixture& f = fixture();
  const std::size_t count = static_cast<std::size_t>(state.range(0));
  const std::vector<float> probes = probes_for(state);
  std::vector<float> heights(count);
  std::vector<std::uint8_t> found(count);
  for (auto _ : state) {
    f.world->ground().below_batch(probes.data(), count, heights.data(), found.data(), method);
    benchmark::DoNotOptimize(heights.data());
  }
  state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * count));
}

void BM_WorldGroundHeights(benchmark::State& state) {
  Fixture& f = fixture();
  const std::size_t count = static_cast<std::size_t>(state.range(0));
  const std::vector<float> probes = probes_for(state);
  std::vector<float> heights(count);
  std::vector<std::uint8_t> found(count);
  for (auto _ : state) {
    f.world->ground_heights(probes.data(), count, heights.data(), found.data());
    benchmark::DoNotOptimize(heights.data());
  }
  state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * count));
}

// A connection to the game's link server on loopback, without Nagle's delay; -1 when it cannot be made.
int connect_to_game(std::uint16_t port) {
  const int socket = ::socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  address.sin_port = htons(port);
  if (::connect(socket, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) {
    ::close(socket);
    return -1;
  }
  const int yes = 1;
  ::setsockopt(socket, IPPROTO_TCP, TCP_NODELAY, &yes, sizeof yes);
  return socket;
}

// One "ground_heights" request per iteration over a real TCP connection: encode, send, wait for the
// answer line, read its two arrays back.
void BM_LinkGroundHeights(benchmark::State& state) {
  Fixture& f = fixture();
  const std::size_t count = static_cast<std::size_t>(state.range(0));
  const std::vector<float> probes = probes_for(state);
  const int socket = connect_to_game(f.server->port());
  if (socket < 0) return state.SkipWithError("cannot connect to the game");
  std::string request, answer(1 << 16, '\0'), pending;
  std::vector<float> heights, flags;
  std::string error;
  for (auto _ : state) {
    request.assign("{\"id\":1,\"op\":\"ground_heights\",\"probes\":");
    protocol::append_float_array(request, probes.data(), probes.size());
    request.append("}\n");
    for (std::size_t sent = 0; sent < request.size();) {
      const ssize_t n = ::send(socket, request.data() + sent, request.size() - sent, MSG_NOSIGNAL);
      if (n <= 0) break;
      sent += static_cast<std::size_t>(n);
    }
    pending.clear();
    while (pending.empty() || pending.back() != '\n') {
      const ssize_t n = ::recv(socket, answer.data(), answer.size(), 0);
      if (n <= 0) break;
      pending.append(answer.data(), static_cast<std::size_t>(n));
    }
    std::size_t pos = pending.find("\"heights\":") + 10;
    const bool read_heights = protocol::read_float_array(pending, pos, heights, error);
    pos = pending.find("\"found\":", pos) + 8;
    const bool read_found = protocol::read_float_array(pending, pos, flags, error);
    if (!read_heights || !read_found || heights.size() != count) {
      state.SkipWithError("the game's answer could not be read");
      break;
    }
    benchmark::DoNotOptimize(heights.data());
  }
  ::close(socket);
  state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations() * count));
}

// Arguments: batch size, probe layout (0 along routes, 1 scattered).
void batches(benchmark::internal::Benchmark* b) {
  b->ArgNames({"probes", "scattered"})->Unit(benchmark::kMicrosecond);
  for (int layout : {0, 1}) {
    for (int size : {1000, 100000}) b->Args({size, layout});
  }
}

// The fixed cost of one request over loopback: a "hello" round trip, no probes.
void BM_LinkHello(benchmark::State& state) {
  Fixture& f = fixture();
  const int socket = connect_to_game(f.server->port());
  if (socket < 0) return state.SkipWithError("cannot connect to the game");
  const std::string request = "{\"id\":1,\"op\":\"hello\"}\n";
  char answer[256];
  for (auto _ : state) {
    ::send(socket, request.data(), request.size(), MSG_NOSIGNAL);
    std::size_t got = 0;
    while (got == 0 || answer[got - 1] != '\n') {
      const ssize_t n = ::recv(socket, answer + got, sizeof answer - got, 0);
      if (n <= 0) break;
      got += static_cast<std::size_t>(n);
    }
  }
  ::close(socket);
}

BENCHMARK(BM_LinkHello)->Name("link_hello_round_trip")->Unit(benchmark::kMicrosecond)->UseRealTime();
BENCHMARK(BM_PlainSingleRayLoop)->Name("plain_single_ray_loop")->Apply(batches);
BENCHMARK_CAPTURE(BM_GroundBatch, single_rays, game::BatchMethod::SingleRays)->Apply(batches);
BENCHMARK_CAPTURE(BM_GroundBatch, stream_1m, game::BatchMethod::Stream)->Apply(batches);
BENCHMARK_CAPTURE(BM_GroundBatch, packets_16, game::BatchMethod::Packets16)->Apply(batches);
BENCHMARK_CAPTURE(BM_GroundBatch, adaptive, game::BatchMethod::Adaptive)->Apply(batches);
BENCHMARK(BM_WorldGroundHeights)->Name("game_ground_heights")->Apply(batches);
BENCHMARK(BM_LinkGroundHeights)->Name("link_ground_heights")->Apply(batches)->UseRealTime();

// The arguments part of a benchmark's name ("probes:1000/scattered:0" in
// "link_ground_heights/probes:1000/scattered:0/real_time"), which pairs a figure with its baseline.
std::string arguments(const std::string& name) {
  const std::size_t start = name.find("/probes:");
  if (start == std::string::npos) return "";
  const std::size_t end = name.find("/real_time", start);
  return name.substr(start + 1, end == std::string::npos ? std::string::npos : end - start - 1);
}

// Prints the usual table, then each figure as a ratio of probes per second to the plain loop's with
// the same batch size.
class RatioReporter : public benchmark::ConsoleReporter {
 public:
  void ReportRuns(const std::vector<Run>& runs) override {
    ConsoleReporter::ReportRuns(runs);
    // With repetitions, the median (reported after the single runs) stands for the benchmark.
    for (const Run& run : runs) {
      if (run.error_occurred) continue;
      if (run.run_type == Run::RT_Aggregate && run.aggregate_name != "median") continue;
      seconds_[run.run_name.str()] = run.GetAdjustedRealTime();
    }
  }
  void Finalize() override {
    ConsoleReporter::Finalize();
    std::printf("\nprobes per second as a ratio to the plain single-ray loop (same batch size, same run):\n");
    for (const auto& [name, time] : seconds_) {
      const std::string args = arguments(name);
      if (args.empty()) continue;
      const auto baseline = seconds_.find("plain_single_ray_loop/" + args);
      if (baseline == seconds_.end() || name == baseline->first) continue;
      std::printf("  %-60s %6.2f\n", name.c_str(), baseline->second / time);
    }
  }

 private:
  std::map<std::string, double> seconds_;
};

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  try {
    fixture();
  } catch (const std::exception& e) {
    std::fprintf(stderr, "bench_game: %s\n", e.what());
    return 1;
  }
  RatioReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  benchmark::Shutdown();
  return 0;
}
