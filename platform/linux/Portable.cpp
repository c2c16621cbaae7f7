// What a portable program does itself, because it has neither a program loader nor libc++'s
// library: Debian builds that library for another C library only, and the headers need little of
// it.
#include <elf.h>
#include <link.h>
#include <sys/auxv.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <ctime>
#include <new>
#include <utility>

#include "extras/String.h"

// The program's ELF header in memory; the linker defines this symbol.
// NOLINTNEXTLINE(bugprone-reserved-identifier,cert-dcl*): its name in every program
extern const ElfW(Ehdr) __ehdr_start;

namespace {

// Makes the pointers that the program's start has relocated read-only (RELRO).
[[gnu::constructor]] void protectRelocated() {
  const uintptr_t page = getauxval(AT_PAGESZ);
  const auto* const start = reinterpret_cast<const char*>(&__ehdr_start);
  const auto* part = reinterpret_cast<const ElfW(Phdr)*>(start + __ehdr_start.e_phoff);
  const auto* const end = part + __ehdr_start.e_phnum;
  part = std::find_if(part, end, [](const auto& each) { return each.p_type == PT_GNU_RELRO; });
  if (part == end)
    return;
  const auto* const bytes = start + part->p_vaddr;
  const uintptr_t before = reinterpret_cast<uintptr_t>(bytes) % page;
  const uintptr_t size = (before + part->p_memsz) / page * page;
  mprotect(const_cast<char*>(bytes - before), size, PROT_READ);
}

std::new_handler newHandler = nullptr;

}  // namespace

// Called when a check of the library's own fails (_LIBCPP_DEBUG).
std::__libcpp_debug_function_type std::__libcpp_debug_function = [](const __libcpp_debug_info&) {
  quintora::raiseException();
};

std::new_handler std::get_new_handler() noexcept { return newHandler; }
std::new_handler std::set_new_handler(new_handler handler) noexcept {
  return std::exchange(newHandler, handler);
}

// The C library would look for the system's code for this in the process (vDSO): for the few times
// that a small request needs, finding and mapping it takes longer than calling the system.
std::chrono::steady_clock::time_point std::chrono::steady_clock::now() noexcept {
  timespec time = {};
  syscall(SYS_clock_gettime, CLOCK_MONOTONIC, &time);
  return time_point(seconds(time.tv_sec) + nanoseconds(time.tv_nsec));
}
