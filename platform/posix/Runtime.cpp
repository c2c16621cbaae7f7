// What compiled code calls of the C++ runtime, without the runtime's machinery for exceptions,
// which the product does not use and which would come with it: a third of the program's size, and a
// tenth of the instructions of a small request, for the symbols and addresses that the system
// resolves at each start. Linked into the programs, not into their tests.
#include <sys/mman.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <functional>
#include <new>

#include "extras/String.h"
#include "platform/Process.h"

namespace {

// Forms and replies of many megabytes are touched once from end to end; by pages of 4 KiB the
// system spends more time on handing memory out than the bridge on using it.
void preferLargePages(void* memory, size_t size) {
#ifdef MADV_HUGEPAGE
  constexpr size_t kWorthIt = size_t{4} << 20;
  constexpr size_t kPage = 4096;
  if (size < kWorthIt)
    return;
  char* const start = static_cast<char*>(memory);
  const size_t untilPage = kPage - reinterpret_cast<uintptr_t>(start) % kPage;
  madvise(start + untilPage, size - untilPage, MADV_HUGEPAGE);
#else
  static_cast<void>(memory);
  static_cast<void>(size);
#endif
}

// A small request gets by with memory that the program has from the start and never takes back. So
// it neither asks the system for more (3 of 48 calls) nor keeps account of it (20,000 of 265,000
// instructions), and lacks none on a machine that has run out.
class FirstMemory {
 public:
  // Null when too little is left.
  void* take(size_t size) {
    constexpr size_t kAlignment = __STDCPP_DEFAULT_NEW_ALIGNMENT__;
    if (size > sizeof bytes_ - taken_)
      return nullptr;
    void* const memory = bytes_ + taken_;
    taken_ += (size + kAlignment - 1) / kAlignment * kAlignment;
    return memory;
  }

  bool has(const void* memory) const {
    return std::less_equal<>()(bytes_, memory) && std::less<>()(memory, bytes_ + sizeof bytes_);
  }

 private:
  alignas(__STDCPP_DEFAULT_NEW_ALIGNMENT__) char bytes_[FIRST_MEMORY_BYTES] = {};
  size_t taken_ = 0;
};
FirstMemory firstMemory;

}  // namespace

void* operator new(size_t size) {
  size = std::max<size_t>(size, 1);  // each has an address of its own
  if (void* const memory = firstMemory.take(size))
    return memory;
  void* const memory = std::malloc(size);
  if (!memory)
    quintora::endWithoutMemory();
  preferLargePages(memory, size);
  return memory;
}

void operator delete(void* memory) noexcept {
  if (!firstMemory.has(memory))
    std::free(memory);
}
void operator delete(void* memory, size_t) noexcept { operator delete(memory); }

#ifdef __GLIBCXX__
// Where GNU's library would throw, and where its own checks (_GLIBCXX_ASSERTIONS) fail.
// NOLINTBEGIN(cert-dcl*,bugprone-reserved-identifier): they stand in for the library's own.
namespace std {
void __throw_length_error(const char*) { quintora::raiseException(); }
void __throw_logic_error(const char*) { quintora::raiseException(); }
void __throw_out_of_range_fmt(const char*, ...) { quintora::raiseException(); }
void __throw_bad_alloc() { quintora::raiseException(); }
void __throw_bad_array_new_length() { quintora::raiseException(); }
void __glibcxx_assert_fail(const char*, int, const char*, const char*) noexcept {
  quintora::raiseException();
}
}  // namespace std
// NOLINTEND(cert-dcl*,bugprone-reserved-identifier)
#endif
