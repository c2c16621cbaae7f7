// Keeps the C++ runtime's support for exceptions, which the product does not use, out of the
// dynamic programs for Linux, which are linked statically with the runtime. It would be a third of
// a program's size and a tenth of the instructions of a small request. Compiled code calls the
// functions below, whose versions in the runtime throw. Linked into the programs, not the tests.
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
// Called where GNU's library would throw, and when a check of its own (_GLIBCXX_ASSERTIONS) fails.
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
