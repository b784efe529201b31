#include "game/ground.h"

#include <embree3/rtcore.h>

#include <algorithm>
#include <cmath>
#include <limits>

namespace game {

namespace {

constexpr float kNoFarLimit = std::numeric_limits<float>::infinity();
constexpr std::size_t kStreamChunk = 1024;  // rays per rtcIntersect1M call: keeps the ray array in cache
constexpr std::size_t kPacketSize = 16;
// Packets pay off when their rays visit the same nodes and cost more than single rays when not. A
// "jump" is a step between successive probes of more than kJumpDistance (world units, |dx| + |dz|); a
// group of 16 with at most kMaxPacketJumps jumps (a few tight clusters, such as the ends of two route
// legs) goes down as one packet, any other as single rays.
constexpr float kJumpDistance = 1000;
constexpr std::size_t kMaxPacketJumps = 2;
// From this many probes on, a batch whose order jumps more than once per 16 probes on average is put
// in Morton order (a space-filling curve over x and z) first, so that neighbours in the batch are
// neighbours in the world.
constexpr std::size_t kSortFromProbes = 4096;
constexpr float kMortonCells = 65535;  // 16 bits per axis
// How far (world units) beyond the mesh's box a probe still counts as inside the world. Outside it
// there is no ground, and rays are never cast from there: the ray caster only takes origins of a
// moderate size, and a probe far away would break its assumptions.
constexpr float kWorldMargin = 1000;

std::string device_error_text(RTCError code) {
  switch (code) {
    case RTC_ERROR_OUT_OF_MEMORY: return "out of memory";
    case RTC_ERROR_UNSUPPORTED_CPU: return "this processor is not supported by embree";
    case RTC_ERROR_INVALID_ARGUMENT: return "embree refused an argument";
    default: return "embree failed";
  }
}

void aim_down(RTCRayHit& hit, float x, float y, float z) {
  hit.ray.org_x = x;
  hit.ray.org_y = y;
  hit.ray.org_z = z;
  hit.ray.dir_x = 0;
  hit.ray.dir_y = -1;
  hit.ray.dir_z = 0;
  hit.ray.tnear = 0;
  hit.ray.tfar = kNoFarLimit;
  hit.ray.time = 0;
  hit.ray.mask = 0xFFFFFFFFu;
  hit.ray.id = 0;
  hit.ray.flags = 0;
  hit.hit.geomID = RTC_INVALID_GEOMETRY_ID;
  hit.hit.instID[0] = RTC_INVALID_GEOMETRY_ID;
}

// Spreads the low 16 bits of `v` to the even bits.
std::uint32_t spread_bits(std::uint32_t v) {
  v &= 0xFFFF;
  v = (v | (v << 8)) & 0x00FF00FF;
  v = (v | (v << 4)) & 0x0F0F0F0F;
  v = (v | (v << 2)) & 0x33333333;
  v = (v | (v << 1)) & 0x55555555;
  return v;
}

// A coordinate's cell on the Morton grid; anything outside (or not a number) goes to the nearest edge.
std::uint32_t morton_cell(double offset) {
  if (!(offset > 0)) return 0;
  if (offset >= kMortonCells) return static_cast<std::uint32_t>(kMortonCells);
  return static_cast<std::uint32_t>(offset);
}

bool jumps_between(const float* xyz, std::size_t a, std::size_t b) {
  return std::fabs(xyz[3 * a] - xyz[3 * b]) + std::fabs(xyz[3 * a + 2] - xyz[3 * b + 2]) > kJumpDistance;
}

}  // namespace

// The Embree objects, our copy of the triangles (which the scene shares), and each flat triangle's height.
struct Ground::Scene {
  RTCDevice device = nullptr;
  RTCScene scene = nullptr;
  std::vector<float> vertices;  // padded by one float: Embree reads vertices 16 bytes at a time
  std::vector<std::uint32_t> indices;
  std::vector<float> level;                            // each triangle's first vertex y: its height when it is flat
  float low_x = 0, high_x = 0, low_z = 0, high_z = 0;  // the world's box, kWorldMargin wider each side
  float low_y = 0, top_y = 0;                          // below low_y nothing; rays start at most at top_y

  bool castable(float x, float y, float z) const {
    return std::isfinite(y) && x >= low_x && x <= high_x && z >= low_z && z <= high_z && y >= low_y;
  }
  // Where a ray for a probe at height y starts: a probe high above the world starts just above it.
  float start_y(float y) const { return std::min(y, top_y); }

  ~Scene() {
    if (scene) rtcReleaseScene(scene);
    if (device) rtcReleaseDevice(device);
  }

  // The ground's height for a hit. A flat triangle (its normal straight up or down, which the cross
  // product of its edges gives exactly) answers its own y, so floors come out exact; any other answers
  // the ray's length, without touching the triangle data again.
  float height(unsigned prim, float org_y, float tfar, float ng_x, float ng_z) const {
    if (ng_x == 0 && ng_z == 0) return level[prim];
    return org_y - tfar;
  }
};

Ground::Ground(std::unique_ptr<Scene> scene, std::size_t triangles) : scene_(std::move(scene)), triangles_(triangles) {}

Ground::~Ground() = default;

std::unique_ptr<Ground> Ground::build(const WorldMesh& mesh, std::string& error) {
  if (mesh.triangle_count() == 0) {
    error = "the world has no triangles";
    return nullptr;
  }
  auto scene = std::make_unique<Scene>();
  scene->vertices = mesh.vertices;
  scene->vertices.push_back(0.0f);
  scene->indices = mesh.indices;
  scene->level.resize(mesh.triangle_count());
  for (std::size_t t = 0; t < scene->level.size(); ++t) scene->level[t] = mesh.vertices[3 * mesh.indices[3 * t] + 1];
  story_notebook::WorldPoint low, high;
  mesh.bounds(low, high);
  scene->low_x = low.x - kWorldMargin;
  scene->high_x = high.x + kWorldMargin;
  scene->low_z = low.z - kWorldMargin;
  scene->high_z = high.z + kWorldMargin;
  scene->low_y = low.y - kWorldMargin;
  scene->top_y = high.y + kWorldMargin;

  scene->device = rtcNewDevice(nullptr);
  if (!scene->device) {
    error = "cannot start the ray caster: " + device_error_text(rtcGetDeviceError(nullptr));
    return nullptr;
  }
  scene->scene = rtcNewScene(scene->device);
  // Robust mode keeps rays that pass exactly through shared edges (common on grid-aligned probes) from
  // slipping between two triangles.
  rtcSetSceneFlags(scene->scene, RTC_SCENE_FLAG_ROBUST);
  rtcSetSceneBuildQuality(scene->scene, RTC_BUILD_QUALITY_HIGH);
  RTCGeometry geometry = rtcNewGeometry(scene->device, RTC_GEOMETRY_TYPE_TRIANGLE);
  rtcSetSharedGeometryBuffer(geometry, RTC_BUFFER_TYPE_VERTEX, 0, RTC_FORMAT_FLOAT3, scene->vertices.data(), 0,
                             3 * sizeof(float), mesh.vertex_count());
  rtcSetSharedGeometryBuffer(geometry, RTC_BUFFER_TYPE_INDEX, 0, RTC_FORMAT_UINT3, scene->indices.data(), 0,
                             3 * sizeof(std::uint32_t), mesh.triangle_count());
  rtcCommitGeometry(geometry);
  rtcAttachGeometry(scene->scene, geometry);
  rtcReleaseGeometry(geometry);
  rtcCommitScene(scene->scene);
  const RTCError code = rtcGetDeviceError(scene->device);
  if (code != RTC_ERROR_NONE) {
    error = "cannot build the world's ray structure: " + device_error_text(code);
    return nullptr;
  }
  const std::size_t triangles = mesh.triangle_count();
  return std::unique_ptr<Ground>(new Ground(std::move(scene), triangles));
}

bool Ground::inside(float x, float z) const {
  return x >= scene_->low_x && x <= scene_->high_x && z >= scene_->low_z && z <= scene_->high_z;
}

bool Ground::below(float x, float y, float z, float& height) const {
  // A probe outside the world (or not a point) has nothing below it, and Embree is not asked about it.
  if (!scene_->castable(x, y, z)) return false;
  y = scene_->start_y(y);
  RTCIntersectContext context;
  rtcInitIntersectContext(&context);
  RTCRayHit hit;
  aim_down(hit, x, y, z);
  rtcIntersect1(scene_->scene, &context, &hit);
  if (hit.hit.geomID == RTC_INVALID_GEOMETRY_ID) return false;
  height = scene_->height(hit.hit.primID, y, hit.ray.tfar, hit.hit.Ng_x, hit.hit.Ng_z);
  return true;
}

// One below_batch call: the probes, where their answers go, and the ways to cast them. Each method
// writes `found` and `heights` for every probe it is given.
struct Ground::Batch {
  const Scene& s;
  const float* xyz;
  float* heights;
  std::uint8_t* found;
  RTCIntersectContext context;
  alignas(64) RTCRayHit16 packet;
  alignas(64) int valid[kPacketSize];

  Batch(const Scene& scene, const float* probes, float* heights_out, std::uint8_t* found_out)
      : s(scene), xyz(probes), heights(heights_out), found(found_out) {
    rtcInitIntersectContext(&context);
  }

  bool finite_probe(std::size_t k) const { return s.castable(xyz[3 * k], xyz[3 * k + 1], xyz[3 * k + 2]); }
  float probe_y(std::size_t k) const { return s.start_y(xyz[3 * k + 1]); }

  // Casts probe k as a single ray and records its answer.
  void cast_one(std::size_t k) {
    if (!finite_probe(k)) {
      found[k] = 0;
      heights[k] = 0.0f;
      return;
    }
    RTCRayHit hit;
    aim_down(hit, xyz[3 * k], probe_y(k), xyz[3 * k + 2]);
    rtcIntersect1(s.scene, &context, &hit);
    const bool hit_something = hit.hit.geomID != RTC_INVALID_GEOMETRY_ID;
    found[k] = hit_something ? 1 : 0;
    heights[k] = hit_something ? s.height(hit.hit.primID, probe_y(k), hit.ray.tfar, hit.hit.Ng_x, hit.hit.Ng_z) : 0.0f;
  }

  // Casts the probes numbered order[0..n) (n <= 16) as one packet.
  void cast_packet(const std::uint32_t* order, std::size_t n) {
    RTCIntersectContext coherent;
    rtcInitIntersectContext(&coherent);
    coherent.flags = RTC_INTERSECT_CONTEXT_FLAG_COHERENT;
    for (std::size_t i = 0; i < kPacketSize; ++i) aim_lane(i, i < n && finite_probe(order[i]), order[i < n ? i : 0]);
    rtcIntersect16(valid, s.scene, &coherent, &packet);
    for (std::size_t i = 0; i < n; ++i) {
      const std::size_t k = order[i];
      const bool hit_something = packet.hit.geomID[i] != RTC_INVALID_GEOMETRY_ID;
      found[k] = hit_something ? 1 : 0;
      heights[k] = hit_something ? s.height(packet.hit.primID[i], packet.ray.org_y[i], packet.ray.tfar[i],
                                            packet.hit.Ng_x[i], packet.hit.Ng_z[i])
                                 : 0.0f;
    }
  }

  // Aims lane i of the packet down from probe k, or leaves the lane out (`live` false).
  void aim_lane(std::size_t i, bool live, std::size_t k) {
    valid[i] = live ? -1 : 0;
    // A lane left out still holds a ray the caster accepts.
    packet.ray.org_x[i] = live ? xyz[3 * k] : s.low_x;
    packet.ray.org_y[i] = live ? probe_y(k) : s.top_y;
    packet.ray.org_z[i] = live ? xyz[3 * k + 2] : s.low_z;
    packet.ray.dir_x[i] = 0;
    packet.ray.dir_y[i] = -1;
    packet.ray.dir_z[i] = 0;
    packet.ray.tnear[i] = 0;
    packet.ray.tfar[i] = kNoFarLimit;
    packet.ray.time[i] = 0;
    packet.ray.mask[i] = 0xFFFFFFFFu;
    packet.ray.id[i] = 0;
    packet.ray.flags[i] = 0;
    packet.hit.geomID[i] = RTC_INVALID_GEOMETRY_ID;
    packet.hit.instID[0][i] = RTC_INVALID_GEOMETRY_ID;
  }

  void cast_single_rays(std::size_t count) {
    for (std::size_t k = 0; k < count; ++k) cast_one(k);
  }

  void cast_stream(std::size_t count) {
    context.flags = RTC_INTERSECT_CONTEXT_FLAG_COHERENT;
    std::vector<RTCRayHit> rays(std::min(count, kStreamChunk));
    for (std::size_t start = 0; start < count; start += kStreamChunk) {
      const std::size_t n = std::min(kStreamChunk, count - start);
      for (std::size_t i = 0; i < n; ++i) {
        const std::size_t k = start + i;
        aim_down(rays[i], xyz[3 * k], probe_y(k), xyz[3 * k + 2]);
        // A probe that is not a point gets an empty ray: nothing can be hit.
        if (!finite_probe(k)) {
          aim_down(rays[i], 0, 0, 0);
          rays[i].ray.tnear = 1;  // tnear beyond tfar: Embree leaves the ray out
          rays[i].ray.tfar = 0;
        }
      }
      rtcIntersect1M(s.scene, &context, rays.data(), static_cast<unsigned>(n), sizeof(RTCRayHit));
      for (std::size_t i = 0; i < n; ++i) {
        const RTCRayHit& r = rays[i];
        const bool hit_something = r.hit.geomID != RTC_INVALID_GEOMETRY_ID;
        found[start + i] = hit_something ? 1 : 0;
        heights[start + i] =
            hit_something ? s.height(r.hit.primID, r.ray.org_y, r.ray.tfar, r.hit.Ng_x, r.hit.Ng_z) : 0.0f;
      }
    }
  }

  void cast_packets_in_order(std::size_t count) {
    std::uint32_t order[kPacketSize];
    for (std::size_t start = 0; start < count; start += kPacketSize) {
      const std::size_t n = std::min(kPacketSize, count - start);
      for (std::size_t i = 0; i < n; ++i) order[i] = static_cast<std::uint32_t>(start + i);
      cast_packet(order, n);
    }
  }

  void cast_adaptive(std::size_t count) {
    const std::vector<std::uint32_t> order = adaptive_order(count);
    for (std::size_t start = 0; start < count; start += kPacketSize) {
      const std::size_t n = std::min(kPacketSize, count - start);
      const std::uint32_t* group = order.data() + start;
      std::size_t group_jumps = 0;
      for (std::size_t i = 1; i < n; ++i) group_jumps += jumps_between(xyz, group[i - 1], group[i]) ? 1 : 0;
      if (n > 1 && group_jumps <= kMaxPacketJumps) {
        cast_packet(group, n);
      } else {
        for (std::size_t i = 0; i < n; ++i) cast_one(group[i]);
      }
    }
  }

  // The order the adaptive method casts in: as given, or Morton order for a large batch that jumps.
  std::vector<std::uint32_t> adaptive_order(std::size_t count) const {
    std::vector<std::uint32_t> order(count);
    for (std::size_t k = 0; k < count; ++k) order[k] = static_cast<std::uint32_t>(k);
    std::size_t jumps = 0;
    for (std::size_t k = 1; k < count; ++k) jumps += jumps_between(xyz, k - 1, k) ? 1 : 0;
    if (count < kSortFromProbes || jumps <= count / kPacketSize) return order;
    const std::vector<std::uint64_t> keyed = morton_keys(count);
    for (std::size_t k = 0; k < count; ++k) order[k] = static_cast<std::uint32_t>(keyed[k]);
    return order;
  }

  // Each probe's Morton key over the box of the castable probes (high 32 bits) and its number (low 32
  // bits), sorted.
  std::vector<std::uint64_t> morton_keys(std::size_t count) const {
    double low_x = kNoFarLimit, high_x = -kNoFarLimit, low_z = kNoFarLimit, high_z = -kNoFarLimit;
    for (std::size_t k = 0; k < count; ++k) {
      if (!finite_probe(k)) continue;
      low_x = std::min<double>(low_x, xyz[3 * k]);
      high_x = std::max<double>(high_x, xyz[3 * k]);
      low_z = std::min<double>(low_z, xyz[3 * k + 2]);
      high_z = std::max<double>(high_z, xyz[3 * k + 2]);
    }
    const double scale_x = high_x > low_x ? kMortonCells / (high_x - low_x) : 0;
    const double scale_z = high_z > low_z ? kMortonCells / (high_z - low_z) : 0;
    std::vector<std::uint64_t> keyed(count);
    for (std::size_t k = 0; k < count; ++k) {
      const std::uint32_t cx = morton_cell((xyz[3 * k] - low_x) * scale_x);
      const std::uint32_t cz = morton_cell((xyz[3 * k + 2] - low_z) * scale_z);
      const std::uint64_t morton = spread_bits(cx) | (spread_bits(cz) << 1);
      keyed[k] = (morton << 32) | k;
    }
    std::sort(keyed.begin(), keyed.end());
    return keyed;
  }
};

void Ground::below_batch(const float* xyz, std::size_t count, float* heights, std::uint8_t* found,
                         BatchMethod method) const {
  Batch batch(*scene_, xyz, heights, found);
  switch (method) {
    case BatchMethod::SingleRays: return batch.cast_single_rays(count);
    case BatchMethod::Stream: return batch.cast_stream(count);
    case BatchMethod::Packets16: return batch.cast_packets_in_order(count);
    case BatchMethod::Adaptive: return batch.cast_adaptive(count);
  }
}

}  // namespace game
