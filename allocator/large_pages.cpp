// Compiled into every program that allocates through mimalloc (CMake's pathwright_use_fast_allocator):
// mimalloc is asked to back its memory with 2 MiB pages where the kernel offers them (transparent huge
// pages when the system leaves them to madvise, the usual setting), and to keep those pages whole.
//
// Why: the first touch of each fresh 4 KiB page is a page fault, and on a virtual machine a fault costs far
// more than the page's bytes. Opening a package in a fresh process, measured here (bench_open_once):
// 1,000 actors took 20 ms in 4 KiB pages and 2.3-3.7 ms in 2 MiB pages, 50,000 actors 1.15 s and
// 0.12-0.18 s. Handing back part of a 2 MiB page (mimalloc "decommits" freed spans) splits it into small
// pages again, and later allocations there fault page by page, so freed memory is kept for the next
// allocation instead; a wholly free segment still goes back to the system. The cost: memory rounded up
// to 2 MiB per segment, and a heap that does not shrink below its peak while any block of a segment
// lives, as with glibc's allocator.
//
// The settings must be in place before mimalloc starts (it reads them once, when the first memory is
// asked for, which the C++ runtime does before any constructor of this program runs), so they are set
// from the program's pre-initialisation array, which the loader runs before every library's constructors.
// MIMALLOC_LARGE_OS_PAGES and MIMALLOC_ALLOW_DECOMMIT in the environment still decide when given.
#include <mimalloc.h>
#include <stdlib.h>

namespace {

void set_unless_given(const char* variable, mi_option_t option, bool enabled) {
  if (getenv(variable) == nullptr) mi_option_set_enabled(option, enabled);
}

void use_large_pages(int, char**, char**) {
  set_unless_given("MIMALLOC_LARGE_OS_PAGES", mi_option_large_os_pages, true);
  set_unless_given("MIMALLOC_ALLOW_DECOMMIT", mi_option_allow_decommit, false);
}

}  // namespace

__attribute__((section(".preinit_array"), used)) void (*const pathwright_large_pages)(int, char**,
                                                                                      char**) = use_large_pages;
