#include "game/ground.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include <embree3/rtcore.h>

namespace game {

namespace {

constexpr float kNoFarLimit = std::numeric_limits<float>::infinity();
constexpr std::size_t kStreamChunk = 1024;  // rays per rtcIntersect1M call: keeps the ray array in cache

std::string device_error_text(RTCError code) {
  switch (code) {
    case RTC_ERROR_OUT_OF_MEMORY: return "out of memory";
    case RTC_ERROR_UNSUPPORTED_CPU: return "this processor is not supported by embree";
    case RTC_ERROR_INVALID_ARGUMENT: return "embree refused an argument";
    default: return "embree failed";
  }
}

}  // namespace

// The Embree objects plus our own copy of the triangles, which the scene shares (no second copy) and
// which exact heights are computed from.
struct Ground::Scene {
  RTCDevice device = nullptr;
  RTCScene scene = nullptr;
  std::vector<float> vertices;          // padded by one float: Embree reads vertices 16 bytes at a time
  std::vector<std::uint32_t> indices;

  ~Scene() {
    if (scene) rtcReleaseScene(scene);
    if (device) rtcReleaseDevice(device);
  }

  // The triangle's height at (x, z), from its plane; exactly the vertices' y for a flat triangle.
  float plane_height(unsigned prim, float x, float z, float fallback) const {
    const std::uint32_t* t = &indices[3 * static_cast<std::size_t>(prim)];
    const float* a = &vertices[3 * static_cast<std::size_t>(t[0])];
    const float* b = &vertices[3 * static_cast<std::size_t>(t[1])];
    const float* c = &vertices[3 * static_cast<std::size_t>(t[2])];
    const double e1x = double(b[0]) - a[0], e1y = double(b[1]) - a[1], e1z = double(b[2]) - a[2];
    const double e2x = double(c[0]) - a[0], e2y = double(c[1]) - a[1], e2z = double(c[2]) - a[2];
    const double nx = e1y * e2z - e1z * e2y;
    const double ny = e1z * e2x - e1x * e2z;
    const double nz = e1x * e2y - e1y * e2x;
    if (ny == 0) return fallback;  // a vertical triangle is never hit by a downward ray in practice
    return static_cast<float>(a[1] - (nx * (double(x) - a[0]) + nz * (double(z) - a[2])) / ny);
  }
};

Ground::Ground(std::unique_ptr<Scene> scene, std::size_t triangles)
    : scene_(std::move(scene)), triangles_(triangles) {}

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
  rtcSetSharedGeometryBuffer(geometry, RTC_BUFFER_TYPE_VERTEX, 0, RTC_FORMAT_FLOAT3, scene->vertices.data(),
                             0, 3 * sizeof(float), mesh.vertex_count());
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

namespace {

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

}  // namespace

bool Ground::below(float x, float y, float z, float& height) const {
  RTCIntersectContext context;
  rtcInitIntersectContext(&context);
  RTCRayHit hit;
  aim_down(hit, x, y, z);
  rtcIntersect1(scene_->scene, &context, &hit);
  if (hit.hit.geomID == RTC_INVALID_GEOMETRY_ID) return false;
  height = scene_->plane_height(hit.hit.primID, x, z, y - hit.ray.tfar);
  return true;
}

void Ground::below_batch(const float* xyz, std::size_t count, float* heights, std::uint8_t* found,
                         BatchMethod method) const {
  RTCIntersectContext context;
  rtcInitIntersectContext(&context);
  auto settle = [&](std::size_t k, unsigned geom, unsigned prim, float tfar) {
    const float x = xyz[3 * k], y = xyz[3 * k + 1], z = xyz[3 * k + 2];
    const bool hit = geom != RTC_INVALID_GEOMETRY_ID;
    found[k] = hit ? 1 : 0;
    heights[k] = hit ? scene_->plane_height(prim, x, z, y - tfar) : 0.0f;
  };

  switch (method) {
    case BatchMethod::SingleRays:
      for (std::size_t k = 0; k < count; ++k) {
        RTCRayHit hit;
        aim_down(hit, xyz[3 * k], xyz[3 * k + 1], xyz[3 * k + 2]);
        rtcIntersect1(scene_->scene, &context, &hit);
        settle(k, hit.hit.geomID, hit.hit.primID, hit.ray.tfar);
      }
      return;
    case BatchMethod::Stream: {
      context.flags = RTC_INTERSECT_CONTEXT_FLAG_COHERENT;
      std::vector<RTCRayHit> rays(std::min(count, kStreamChunk));
      for (std::size_t start = 0; start < count; start += kStreamChunk) {
        const std::size_t n = std::min(kStreamChunk, count - start);
        for (std::size_t i = 0; i < n; ++i) {
          const std::size_t k = start + i;
          aim_down(rays[i], xyz[3 * k], xyz[3 * k + 1], xyz[3 * k + 2]);
        }
        rtcIntersect1M(scene_->scene, &context, rays.data(), static_cast<unsigned>(n), sizeof(RTCRayHit));
        for (std::size_t i = 0; i < n; ++i)
          settle(start + i, rays[i].hit.geomID, rays[i].hit.primID, rays[i].ray.tfar);
      }
      return;
    }
    case BatchMethod::Packets16: {
      context.flags = RTC_INTERSECT_CONTEXT_FLAG_COHERENT;
      alignas(64) RTCRayHit16 packet;
      alignas(64) int valid[16];
      for (std::size_t start = 0; start < count; start += 16) {
        const std::size_t n = std::min<std::size_t>(16, count - start);
        for (std::size_t i = 0; i < 16; ++i) {
          const bool live = i < n;
          valid[i] = live ? -1 : 0;
          const std::size_t k = start + (live ? i : 0);
          packet.ray.org_x[i] = xyz[3 * k];
          packet.ray.org_y[i] = xyz[3 * k + 1];
          packet.ray.org_z[i] = xyz[3 * k + 2];
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
        rtcIntersect16(valid, scene_->scene, &context, &packet);
        for (std::size_t i = 0; i < n; ++i)
          settle(start + i, packet.hit.geomID[i], packet.hit.primID[i], packet.ray.tfar[i]);
      }
      return;
    }
  }
}

}  // namespace game
