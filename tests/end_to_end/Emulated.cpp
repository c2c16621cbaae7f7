// Stands in for a program that was built for another processor: runs PROGRAM under EMULATOR. It
// carries that program with it, for the tests copy it to where only the copy can be read, and
// passes on the name by which it was started itself.
#include <sys/mman.h>
#include <unistd.h>

#include <cstdio>
#include <vector>

asm(".data\nprogram: .incbin \"" PROGRAM "\"\nprogramEnd:\n.text");
extern "C" const char program[], programEnd[];

int main(int argc, char** argv) {
  const int file = memfd_create("program", 0);
  const auto size = programEnd - program;
  if (file < 0 || write(file, program, static_cast<size_t>(size)) != size)
    return 1;
  char path[32];
  std::snprintf(path, sizeof path, "/proc/self/fd/%d", file);
  std::vector<const char*> arguments = {EMULATOR, "-0", argc > 0 ? argv[0] : "", path};
  for (int i = 1; i <= argc; ++i)  // with the null pointer at their end
    arguments.push_back(i < argc ? argv[i] : nullptr);
  execv(EMULATOR, const_cast<char**>(arguments.data()));
  std::perror(EMULATOR);
  return 1;
}
