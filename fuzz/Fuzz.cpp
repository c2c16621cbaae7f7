#include "fuzz/Fuzz.h"

#include <sanitizer/allocator_interface.h>

#include <cstdio>
#include <cstdlib>
#include <unordered_set>

#include "extras/String.h"

namespace quintora {

namespace {

// Of the thread that calls the product; libFuzzer has another one.
thread_local bool isProductRunning = false;
thread_local bool hasNotes = false;
thread_local bool isNoting = false;  // the notes need memory, too

std::jmp_buf jump;

std::unordered_set<void*>& allocated() {
  static std::unordered_set<void*> pointers;
  return pointers;
}

void noteAllocation(const volatile void* pointer, size_t) {
  if (!isProductRunning || isNoting)
    return;
  isNoting = true;
  allocated().insert(const_cast<void*>(pointer));
  isNoting = false;
}

// Also what the target releases, the request state for instance.
void noteRelease(const volatile void* pointer) {
  if (!hasNotes || isNoting)
    return;
  isNoting = true;
  allocated().erase(const_cast<void*>(pointer));
  isNoting = false;
}

// An end of the run that nobody waits for is a finding.
[[noreturn]] void returnToTarget() {
  if (!isProductRunning)
    std::abort();
  std::longjmp(jump, 1);
}

}  // namespace

// The sizes that a request or a reply claims may be refused; memory is released here by free(),
// however it was obtained.
extern "C" __attribute__((visibility("default"), used)) const char* __asan_default_options() {
  return "allocator_may_return_null=1:alloc_dealloc_mismatch=0:quarantine_size_mb=16";
}

void require(bool holds, const char* rule) {
  if (holds)
    return;
  std::fprintf(stderr, "not so: %s\n", rule);
  std::abort();
}

Numbers::Numbers(std::string_view input) : state_(input.size()) {
  for (const char byte : input)
    state_ = state_ * 31 + static_cast<unsigned char>(byte);
}

size_t Numbers::upTo(size_t most) {
  state_ = state_ * 6364136223846793005u + 1442695040888963407u;
  return static_cast<size_t>(state_ >> 33) % most + 1;
}

LeftMemory::~LeftMemory() {
  hasNotes = false;
  for (void* pointer : allocated())
    std::free(pointer);
  allocated().clear();
}

std::jmp_buf* LeftMemory::endOfRun() { return &jump; }

void LeftMemory::begin() {
  static const int installed =
      __sanitizer_install_malloc_and_free_hooks(noteAllocation, noteRelease);
  require(installed > 0, "allocations can be noted");
  NSSetUncaughtExceptionHandler(returnToTarget);
  isProductRunning = hasNotes = true;
}

void LeftMemory::end() { isProductRunning = false; }

}  // namespace quintora
