/* The floor for a program that keeps the reply until it is complete and has it as 16-bit units in
 * between: each byte is made one and made a byte again, with no look at what it says. */
#define _GNU_SOURCE
#include <stdint.h>
#include <sys/mman.h>

#include "floor.h"

/* Memory that starts as large pages, which is the fastest. */
static void* memory(size_t size) {
  void* const start = mmap(NULL, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (start == MAP_FAILED)
    exit(1);
  madvise(start, size, MADV_HUGEPAGE);
  return start;
}

int main(void) {
  enum { MOST = 256 << 20 }; /* addresses; what is not touched costs nothing */
  const int connection = request_sent();
  const size_t first = received(connection);
  const char* const start = body_of(first);
  unsigned char* const body = memory(MOST);
  size_t size = (size_t)(buffer + first - start);
  memcpy(body, start, size);
  for (size_t count; (count = received(connection)) > 0; size += count) {
    if (count > MOST - size)
      return 1;
    memcpy(body + size, buffer, count);
  }

  uint16_t* const text = memory(2 * size);
  for (size_t i = 0; i < size; ++i)
    text[i] = body[i];
  munmap(body, MOST);
  char* const output = memory(sizeof header - 1 + size);
  memcpy(output, header, sizeof header - 1);
  for (size_t i = 0; i < size; ++i)
    output[sizeof header - 1 + i] = (char)text[i];
  print(output, sizeof header - 1 + size);
  return 0;
}
