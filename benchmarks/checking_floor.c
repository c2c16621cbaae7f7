/* The floor for a program that has all of the reply, and knows that it is text, before it prints
 * any: it takes the chunks apart, looks at every byte, and prints header and text together. Text in
 * Latin-1 becomes UTF-8. Memory costs it next to nothing: one piece of large pages. */
#define _GNU_SOURCE
#include <stdbool.h>
#include <stdint.h>
#include <sys/mman.h>
#include <sys/uio.h>

#include "floor.h"

enum { MOST = 256 << 20, PIECE = 256 << 10 };

/* What is not touched costs nothing. */
static char* memory(size_t size) {
  void* const start = mmap(NULL, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (start == MAP_FAILED)
    exit(1);
  madvise(start, size, MADV_HUGEPAGE);
  return start;
}

/* How many of the eight bytes here are ASCII, up to the first that is not. */
static size_t ascii_ahead(const char* bytes) {
  uint64_t eight;
  memcpy(&eight, bytes, sizeof eight);
  eight &= 0x8080808080808080;
  return eight ? (size_t)__builtin_ctzll(eight) / 8 : 8;
}

/* The size of the sequence that begins here; 0 for none. The bytes behind the text are NUL. */
static size_t sequence(const unsigned char* b) {
  if (b[0] < 0x80)
    return 1;
  size_t size = b[0] < 0xC2 ? 0 : b[0] < 0xE0 ? 2 : b[0] < 0xF0 ? 3 : b[0] < 0xF5 ? 4 : 0;
  for (size_t i = 1; i < size; ++i) {
    if ((b[i] & 0xC0) != 0x80)
      return 0;
  }
  const bool is_odd = (b[0] == 0xE0 && b[1] < 0xA0) || (b[0] == 0xED && b[1] > 0x9F) ||
                      (b[0] == 0xF0 && b[1] < 0x90) || (b[0] == 0xF4 && b[1] > 0x8F);
  return is_odd ? 0 : size;
}

/* How much of the text is whole sequences. */
static size_t checked(const char* text, size_t size) {
  size_t at = 0;
  while (at < size) {
    const size_t ascii = ascii_ahead(text + at);
    const size_t step = ascii ? ascii : sequence((const unsigned char*)text + at);
    if (step == 0)
      break;
    at += step;
  }
  return at < size ? at : size;
}

/* Writes up to eight bytes too many. */
static size_t utf8_of_latin1(const char* text, size_t size, char* to) {
  char* const start = to;
  for (size_t at = 0; at < size;) {
    size_t ascii = ascii_ahead(text + at);
    if (ascii > size - at)
      ascii = size - at;
    memcpy(to, text + at, 8);
    to += ascii;
    at += ascii;
    if (ascii < 8 && at < size) {
      const unsigned char byte = (unsigned char)text[at++];
      *to++ = (char)(0xC0 | byte >> 6);
      *to++ = (char)(0x80 | (byte & 0x3F));
    }
  }
  return (size_t)(to - start);
}

/* Moves the chunks together. */
static size_t without_chunks(char* text) {
  char *from = text, *to = text, *line_end;
  for (size_t size; (size = strtoul(from, &line_end, 16)) > 0; from = line_end + 2 + size + 2) {
    memmove(to, line_end + 2, size);
    to += size;
  }
  memset(to, 0, 8);
  return (size_t)(to - text);
}

int main(void) {
  char* text = memory(MOST + 8);
  const int connection = request_sent();
  const size_t first = received(connection);
  const char* const body = body_of(first);
  const char* const chunked = strstr(buffer, "chunked");
  const char* const latin1 = strstr(buffer, "iso-8859-1");
  const bool is_chunked = chunked && chunked < body, is_latin1 = latin1 && latin1 < body;
  const bool is_plain = !is_chunked && !is_latin1;
  size_t size = (size_t)(buffer + first - body), done = 0;
  memcpy(text, body, size);
  /* In pieces that stay in the processor's cache until they have been looked at. */
  for (ssize_t count; (count = recv(connection, text + size, PIECE, 0)) > 0;) {
    size += (size_t)count;
    if (size > MOST - PIECE)
      return 1;
    if (is_plain)
      done += checked(text + done, size - done);
  }
  if (is_chunked)
    size = without_chunks(text);
  if (is_latin1) {
    char* const utf8 = memory(2 * MOST);
    size = utf8_of_latin1(text, size, utf8);
    text = utf8;
  } else if (done + checked(text + done, size - done) < size) {
    return 1;
  }
  const struct iovec parts[] = {{(char*)header, sizeof header - 1}, {text, size}};
  const ssize_t went = writev(STDOUT_FILENO, parts, 2);
  if (went < (ssize_t)sizeof header - 1)
    return 1;
  const size_t printed = (size_t)went - (sizeof header - 1);
  print(text + printed, size - printed);
  _exit(0); /* as fast as can be */
}
