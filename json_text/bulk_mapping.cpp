// Linux maps a range at once with madvise(MADV_POPULATE_WRITE) (kernel 5.14 and later). An older kernel
// refuses it with EINVAL, and the memory is then mapped on first touch as before.
#include "json_text/bulk_mapping.h"

#include <atomic>
#include <cerrno>

#if defined(__linux__) && PATHWRIGHT_MIMALLOC_HEAPS
#include <sys/mman.h>
#define PATHWRIGHT_BULK_MAPPING 1
#endif

namespace json_text {
namespace {

#if PATHWRIGHT_BULK_MAPPING
std::atomic<bool> kernel_refuses{false};

void populate(std::uintptr_t begin, std::uintptr_t end) {
  if (begin >= end || kernel_refuses.load(std::memory_order_relaxed)) return;
  // Fails part way on a range that is not all writable memory (an allocator's reserve not yet committed);
  // the pages before that are mapped, the rest come on first touch.
  if (madvise(reinterpret_cast<void*>(begin), end - begin, MADV_POPULATE_WRITE) != 0 && errno == EINVAL) {
    kernel_refuses.store(true, std::memory_order_relaxed);
  }
}
#else
void populate(std::uintptr_t, std::uintptr_t) {}
#endif

}  // namespace

void map_in_bulk(void* begin, std::size_t bytes) {
  constexpr std::uintptr_t kPage = 4096;  // bytes; madvise wants page-aligned ranges
  const auto first = reinterpret_cast<std::uintptr_t>(begin);
  // madvise takes whole pages; the partial pages at the ends are mapped by the first store into them.
  populate((first + kPage - 1) & ~(kPage - 1), (first + bytes) & ~(kPage - 1));
}

void WindowMapping::map_window(std::uintptr_t window) {
  populate(window << kWindowShift, (window + 1) << kWindowShift);
}

}  // namespace json_text
