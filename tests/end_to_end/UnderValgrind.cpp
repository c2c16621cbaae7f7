// A program of the product that runs itself under valgrind, whose options are in VALGRIND_OPTS.
// Valgrind names a program by its file, so the name that the web server gave comes as the argument
// after that one.
#include <unistd.h>

#include <cstdio>
#include <string>
#include <vector>

#include <valgrind/valgrind.h>

#define main productMain
#include PRODUCT_MAIN  // NOLINT(bugprone-suspicious-include): it is the very program
#undef main

// Where the tests look for it, to know under what they run.
char valgrind[] = "/usr/bin/valgrind";

int main(int argc, char** argv) {
  if (RUNNING_ON_VALGRIND)
    return productMain(argc - 1, argv + 1);
  char self[4096] = {};
  if (readlink("/proc/self/exe", self, sizeof self - 1) < 0)
    return 1;
  std::vector<char*> arguments = {valgrind, self};
  arguments.insert(arguments.end(), argv, argv + argc + 1);  // with the null pointer at their end
  execv(valgrind, arguments.data());
  std::perror(valgrind);
  return 1;
}
