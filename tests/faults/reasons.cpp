// Prints what the C library says of each error, a line for each number from 0.
#include <cstdio>
#include <cstring>

int main() {
  for (int number = 0; number < 256; ++number)
    std::puts(std::strerror(number));
  return 0;
}
