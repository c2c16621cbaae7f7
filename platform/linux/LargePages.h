// Asks the system to use large pages for large memory.
#pragma once

#include <sys/mman.h>

#include <cstddef>
#include <cstdint>

namespace quintora {

// Forms and replies of many megabytes are touched once from end to end. With pages of 4 KiB the
// system spends more time on providing the memory than the bridge on using it.
inline void preferLargePages(void* memory, size_t size) {
  constexpr size_t kWorthIt = size_t{4} << 20;
  constexpr size_t kPage = 4096;
  if (size < kWorthIt)
    return;
  char* const start = static_cast<char*>(memory);
  const size_t untilPage = kPage - reinterpret_cast<uintptr_t>(start) % kPage;
  madvise(start + untilPage, size - untilPage, MADV_HUGEPAGE);
}

}  // namespace quintora
