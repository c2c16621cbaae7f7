// Keeps the C++ runtime's machinery for exceptions, which the product does not use, out of the
// dynamic programs for Linux, into which the runtime is linked: it would be a third of a program's
// size and a tenth of the instructions of a small request. Compiled code calls the functions below,
// and the runtime's own ones throw. Linked into the programs, not into their tests.
#include <algorithm>
#include <cstdlib>
#include <new>

#include "extras/String.h"
#include "platform/Process.h"
#include "platform/linux/LargePages.h"

void* operator new(size_t size) {
  void* const memory = std::malloc(std::max<size_t>(size, 1));  // each has an address of its own
  if (!memory)
    quintora::endWithoutMemory();
  quintora::preferLargePages(memory, size);
  return memory;
}

void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, size_t) noexcept { std::free(memory); }

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
