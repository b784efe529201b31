// Fresh memory mapped in bulk instead of page by page. Opening a large package writes a few hundred
// megabytes of fresh memory; when the kernel maps it one page at a time, on each first touch, that costs
// more than the parse itself (docs/json-text.md has the figures). Asking for a whole range in one call
// maps the same pages at a fraction of the cost. Nothing here changes what memory holds: a page is mapped
// zeroed, as its first touch would map it. Linux with mimalloc only; elsewhere these do nothing.
#ifndef PATHWRIGHT_JSON_TEXT_BULK_MAPPING_H_
#define PATHWRIGHT_JSON_TEXT_BULK_MAPPING_H_

#include <array>
#include <cstddef>
#include <cstdint>

namespace json_text {

// Maps the not yet mapped pages of the writable memory in [begin, begin + bytes) in one call.
void map_in_bulk(void* begin, std::size_t bytes);

// Follows the places a parse allocates at and maps the allocator's memory around each in windows of
// 2 MiB, one call per window, ahead of the stores that would otherwise fault page by page. mimalloc keeps
// every block of up to half a segment in a segment of 32 MiB aligned to its size, so a window around
// such a block never reaches memory that is not the allocator's. One per parse; not shared by threads.
class WindowMapping {
 public:
  void allocated_at(const void* place, std::size_t bytes) {
    if (bytes > kLargestSegmentBlock) return;  // such a block has a segment of its own, sized to fit it
    const std::uintptr_t window = reinterpret_cast<std::uintptr_t>(place) >> kWindowShift;
    if (window == last_) return;  // most blocks follow the previous one
    last_ = window;
    for (std::uintptr_t seen : recent_) {
      if (seen == window) return;
    }
    recent_[next_] = window;
    next_ = (next_ + 1) % recent_.size();
    map_window(window);
  }

 private:
  static constexpr unsigned kWindowShift = 21;                   // 2 MiB windows
  static constexpr std::size_t kLargestSegmentBlock = 16u << 20;  // bytes, half a mimalloc segment
  // The tree's nodes, strings and element vectors come from a few allocator pages at a time, each in a
  // window of its own; a handful of recent windows keeps each mapped once.
  static constexpr std::size_t kRecentWindows = 8;

  static void map_window(std::uintptr_t window);

  std::array<std::uintptr_t, kRecentWindows> recent_{};
  std::size_t next_ = 0;
  std::uintptr_t last_ = 0;
};

}  // namespace json_text

#endif  // PATHWRIGHT_JSON_TEXT_BULK_MAPPING_H_
