// Part of the build type Coverage only. The counts of what ran are written when a process leaves
// main; here also when it ends otherwise: by abort, and by _exit, whose calls the linker turns to
// the function here.
#include <csignal>

extern "C" {

void __gcov_dump();
[[noreturn]] void __real__exit(int status);

[[noreturn]] void __wrap__exit(int status) {
  __gcov_dump();
  __real__exit(status);
}

}  // extern "C"

namespace {

// Afterwards abort goes on as it does without.
void writeCounts(int) { __gcov_dump(); }

const auto before = std::signal(SIGABRT, writeCounts);

}  // namespace
