// Eight bytes at a time, each word multiplied in and rotated, then a final avalanche so that every input
// bit reaches every output bit. Little-endian word order is fixed explicitly so the value is portable.
#include "store/content_hash.h"

#include <bit>

namespace host::store {
namespace {

constexpr std::uint64_t kMul1 = 0x9E3779B97F4A7C15ULL;
constexpr std::uint64_t kMul2 = 0xC2B2AE3D27D4EB4FULL;

std::uint64_t load_word(const unsigned char* p, std::size_t n) {
  std::uint64_t w = 0;
  for (std::size_t i = 0; i < n; ++i) w |= static_cast<std::uint64_t>(p[i]) << (8 * i);
  return w;
}

std::uint64_t avalanche(std::uint64_t h) {
  h ^= h >> 33;
  h *= 0xFF51AFD7ED558CCDULL;
  h ^= h >> 33;
  h *= 0xC4CEB9FE1A85EC53ULL;
  h ^= h >> 33;
  return h;
}

}  // namespace

std::uint64_t content_hash(std::string_view bytes) {
  const auto* p = reinterpret_cast<const unsigned char*>(bytes.data());
  std::size_t n = bytes.size();
  std::uint64_t h = kMul2 ^ (static_cast<std::uint64_t>(n) * kMul1);
  while (n >= 8) {
    h ^= load_word(p, 8) * kMul1;
    h = std::rotl(h, 31) * kMul2;
    p += 8;
    n -= 8;
  }
  if (n > 0) {
    h ^= load_word(p, n) * kMul1;
    h = std::rotl(h, 31) * kMul2;
  }
  return avalanche(h);
}

}  // namespace host::store
