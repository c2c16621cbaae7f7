// Copies and searches memory, fast for the few bytes of a form field and for a reply of many
// megabytes. Reads and writes whole words, in the little-endian order of every supported processor.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>

namespace quintora {

// Two of the processor's words.
using WordPair = uint64_t __attribute__((vector_size(16)));

template <typename Word>
Word wordAt(const char* from) {
  Word word;
  __builtin_memcpy(&word, from, sizeof word);
  return word;
}

template <typename Word>
void putWord(char* to, Word word) {
  __builtin_memcpy(to, &word, sizeof word);
}

// Copies between one and two words of bytes. All are read before any is written.
template <typename Word>
void copyByWords(char* to, const char* from, size_t size) {
  const Word first = wordAt<Word>(from);
  const Word last = wordAt<Word>(from + size - sizeof(Word));
  putWord(to, first);
  putWord(to + size - sizeof(Word), last);
}

inline constexpr size_t kFewBytes = 2 * sizeof(WordPair);

inline void copyFewBytes(char* to, const char* from, size_t size) {
  if (size >= sizeof(WordPair))
    copyByWords<WordPair>(to, from, size);
  else if (size >= sizeof(uint64_t))
    copyByWords<uint64_t>(to, from, size);
  else if (size >= sizeof(uint32_t))
    copyByWords<uint32_t>(to, from, size);
  else if (size >= sizeof(uint16_t))
    copyByWords<uint16_t>(to, from, size);
  else if (size == 1)
    *to = *from;
}

// For more than kFewBytes. The last bytes are read first, because the copy may overwrite them.
inline void copyForwards(char* to, const char* from, size_t size) {
  char* const end = to + size;
  const WordPair last[] = {wordAt<WordPair>(from + size - 2 * sizeof(WordPair)),
                           wordAt<WordPair>(from + size - sizeof(WordPair))};
  for (; size > kFewBytes; size -= kFewBytes, to += kFewBytes, from += kFewBytes)
    copyByWords<WordPair>(to, from, kFewBytes);
  putWord(end - 2 * sizeof(WordPair), last[0]);
  putWord(end - sizeof(WordPair), last[1]);
}

inline void copyBackwards(char* to, const char* from, size_t size) {
  const WordPair first[] = {wordAt<WordPair>(from), wordAt<WordPair>(from + sizeof(WordPair))};
  for (; size > kFewBytes; size -= kFewBytes)
    copyByWords<WordPair>(to + size - kFewBytes, from + size - kFewBytes, kFewBytes);
  putWord(to, first[0]);
  putWord(to + sizeof(WordPair), first[1]);
}

// Copies bytes; the two places may overlap.
inline void copyBytes(char* to, const char* from, size_t size) {
  if (size <= kFewBytes)
    copyFewBytes(to, from, size);
  else if (static_cast<size_t>(to - from) < size)
    copyBackwards(to, from, size);
  else
    copyForwards(to, from, size);
}

// Sets bit 7 of the word's first byte that is 0, and of no byte before it; bits of later bytes may
// be set, too. 0 when no byte is 0.
inline uint64_t zeroBytes(uint64_t word) {
  return (word - 0x0101010101010101) & ~word & 0x8080808080808080;
}

// The first byte, of those in one page of memory, with this value; null if there is none. Reads
// nothing after the bytes.
inline const char* findByteInPage(const char* at, unsigned char byte, size_t size) {
  const uint64_t pattern = byte * uint64_t{0x0101010101010101};
  const char* const end = at + size;
  const auto found = [&](size_t word) {
    return zeroBytes(wordAt<uint64_t>(at + 8 * word) ^ pattern);
  };
  while (end - at >= 32 && (found(0) | found(1) | found(2) | found(3)) == 0)
    at += 32;
  for (; end - at >= 8; at += 8) {
    if (const uint64_t zeros = found(0))
      return at + __builtin_ctzll(zeros) / 8;
  }
  for (; at != end; ++at) {
    if (static_cast<unsigned char>(*at) == byte)
      return at;
  }
  return nullptr;
}

// The first byte with this value; null if there is none. After that byte it reads in the same page
// of memory only: callers that know that there is one may give a size beyond what they own.
inline const char* findByte(const char* at, unsigned char byte, size_t size) {
  constexpr size_t kPage = 4096;  // the smallest
  while (size > 0) {
    const size_t part = std::min(size, kPage - reinterpret_cast<uintptr_t>(at) % kPage);
    if (const char* const found = findByteInPage(at, byte, part))
      return found;
    at += part;
    size -= part;
  }
  return nullptr;
}

}  // namespace quintora
