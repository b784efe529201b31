// Compiled into every program that allocates through mimalloc (CMake's pathwright_use_fast_allocator):
// before main runs, mimalloc is asked to back its memory with 2 MiB pages where the kernel offers them
// (transparent huge pages when the system leaves them to madvise, the usual setting), and to keep those
// pages whole.
//
// Why: the first touch of each fresh 4 KiB page is a page fault, and on a virtual machine a fault costs far
// more than the page's bytes. Measured here: writing 38 MB of fresh memory took 120 ms in 4 KiB pages and
// 3 ms in 2 MiB pages, and opening a 50,000-actor package in a fresh process (a one-shot `call`) went from
// 2.5-2.8 s to 0.75-0.9 s of CPU. But handing back part of a 2 MiB page (mimalloc "decommits" freed
// spans) splits it into small pages again, and the next allocations there fault page by page: a parse
// after earlier ones had been freed took 0.6-0.85 s instead of 0.13 s. So freed memory is kept for the
// next allocation rather than returned piecemeal; a wholly free segment still goes back to the system.
// The cost is memory rounded up to 2 MiB per segment, and a heap that does not shrink below its peak
// while it holds any live block of a segment, as with glibc's allocator.
#include <mimalloc.h>

namespace {

struct LargePages {
  LargePages() {
    // Defaults only: MIMALLOC_LARGE_OS_PAGES=0 and MIMALLOC_ALLOW_DECOMMIT=1 still measure without them.
    mi_option_set_enabled_default(mi_option_large_os_pages, true);
    mi_option_set_enabled_default(mi_option_allow_decommit, false);
  }
};

// Constructed with the program's other globals, before main; mimalloc's own start-up runs earlier, as it
// is a library the program loads.
const LargePages large_pages;

}  // namespace
