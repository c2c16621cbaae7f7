/* The floor for a program that has the whole reply as 16-bit units before it prints any of it: each
 * byte becomes one as it comes and a byte again as it goes, with no look at what it says. */
#define _GNU_SOURCE
#include <stdint.h>
#include <sys/mman.h>

#include "floor.h"

enum { MOST = 256 << 20, BLOCK = 256 << 10 };

/* Memory that starts as large pages, which is the fastest; what is not touched costs nothing. */
static uint16_t* memory(void) {
  const size_t size = sizeof(uint16_t) * MOST;
  void* const start = mmap(NULL, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (start == MAP_FAILED)
    exit(1);
  madvise(start, size, MADV_HUGEPAGE);
  return start;
}

int main(void) {
  static char block[BLOCK];
  uint16_t* const text = memory();
  size_t size = 0;
  const int connection = request_sent();
  const size_t first = received(connection);
  const char* from = body_of(first);
  for (size_t count = (size_t)(buffer + first - from);; from = buffer) {
    for (size_t i = 0; i < count; ++i)
      text[size + i] = (unsigned char)from[i];
    size += count;
    count = received(connection);
    if (count == 0)
      break;
    if (count > MOST - size)
      return 1;
  }

  print(header, sizeof header - 1);
  for (size_t at = 0; at < size; at += BLOCK) {
    const size_t count = size - at < BLOCK ? size - at : BLOCK;
    for (size_t i = 0; i < count; ++i)
      block[i] = (char)text[at + i];
    print(block, count);
  }
  return 0;
}
