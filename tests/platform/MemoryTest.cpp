// The static programs' copying and searching of memory.
#include "platform/linux/Memory.h"

#include <gtest/gtest.h>
#include <sys/mman.h>

#include <algorithm>
#include <climits>
#include <string>

namespace quintora {

namespace {

constexpr size_t kPage = 4096;

// Memory between two pages that must not be touched.
class GuardedPage {
 public:
  GuardedPage()
      : memory_(static_cast<char*>(
            mmap(nullptr, 3 * kPage, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0))) {
    EXPECT_EQ(mprotect(begin(), kPage, PROT_READ | PROT_WRITE), 0);
  }
  ~GuardedPage() { munmap(memory_, 3 * kPage); }
  GuardedPage(const GuardedPage&) = delete;
  GuardedPage& operator=(const GuardedPage&) = delete;

  char* begin() const { return memory_ + kPage; }
  char* end() const { return begin() + kPage; }

 private:
  char* const memory_;
};

// Bytes of which hardly any two stretches are equal.
std::string someBytes(size_t size) {
  std::string bytes(size, '\0');
  uint32_t state = 1;
  for (char& byte : bytes)
    byte = static_cast<char>((state = state * 1664525 + 1013904223) >> 24);
  return bytes;
}

// One byte more or less matters at the ends of words, so all sizes up to a few words are tried.
constexpr size_t kMostSize = 200;

TEST(Memory, CopiesExactlySoManyBytes) {
  const GuardedPage from;
  const GuardedPage to;
  for (size_t size = 0; size <= kMostSize; ++size) {
    const std::string bytes = someBytes(size);
    for (const bool isAtEnd : {false, true}) {
      char* const source = isAtEnd ? from.end() - size : from.begin();
      char* const target = isAtEnd ? to.end() - size : to.begin();
      std::copy(bytes.begin(), bytes.end(), source);
      std::fill(to.begin(), to.end(), '#');
      copyBytes(target, source, size);
      EXPECT_EQ(std::string(target, size), bytes);
      EXPECT_EQ(static_cast<size_t>(std::count(to.begin(), to.end(), '#')),
                kPage - size + static_cast<size_t>(std::count(bytes.begin(), bytes.end(), '#')));
    }
  }
}

TEST(Memory, CopiesBetweenPlacesThatOverlap) {
  constexpr size_t kFarthest = 80;
  const std::string before = someBytes(kMostSize + 2 * kFarthest);
  for (size_t size = 0; size <= kMostSize; ++size) {
    for (size_t target = 0; target <= 2 * kFarthest; ++target) {
      std::string bytes = before;
      copyBytes(&bytes[target], &bytes[kFarthest], size);
      const std::string expected =
          std::string(before).replace(target, size, before, kFarthest, size);
      ASSERT_EQ(bytes, expected) << size << " bytes from " << kFarthest << " to " << target;
    }
  }
}

TEST(Memory, FindsTheFirstByteOfAValue) {
  const GuardedPage page;
  for (const char value : {'\0', '\1', '&', '\x7F', '\x80', '\xFF'}) {
    const unsigned char byte = static_cast<unsigned char>(value);
    // The value one below is the one that a test of whole words is most likely to mistake.
    std::fill(page.begin(), page.end(), static_cast<char>(byte ^ 1));
    for (size_t size = 0; size <= kMostSize; ++size) {
      char* const start = page.end() - size;
      EXPECT_EQ(findByte(start, byte, size), nullptr);
      for (size_t at = 0; at < size; ++at) {
        start[at] = static_cast<char>(byte);
        page.end()[-1] = static_cast<char>(byte);  // a later one does not count
        ASSERT_EQ(findByte(start, byte, size), start + at) << size;
        page.end()[-1] = start[at] = static_cast<char>(byte ^ 1);
      }
    }
  }
}

// As the C library does for the length of a text that it prints.
TEST(Memory, DoesNotReadThePageBehindTheByteThatItFinds) {
  const GuardedPage page;
  std::fill(page.begin(), page.end(), '\1');
  page.end()[-1] = '\0';
  for (size_t size = 1; size <= kMostSize; ++size) {
    char* const start = page.end() - size;
    for (const size_t bound : {size, size + 1, size + 7, size + 32, size + kPage, size_t{INT_MAX}})
      ASSERT_EQ(findByte(start, 0, bound), page.end() - 1) << size << " " << bound;
  }
}

TEST(Memory, FindsAByteInALaterPage) {
  std::string bytes(5 * kPage, '\1');
  for (size_t at = 0; at < bytes.size(); at += 509) {
    bytes[at] = '\0';
    ASSERT_EQ(findByte(bytes.data(), 0, bytes.size()), &bytes[at]);
    bytes[at] = '\1';
  }
  EXPECT_EQ(findByte(bytes.data(), 0, bytes.size()), nullptr);
}

TEST(Memory, DoesNotLookForAByteBehindTheLast) {
  const std::string bytes = "&&&&&&&&a&&&&&&&&&&&&&&&&&&&&&&&&&&&&&&&&&";
  for (size_t size = 0; size <= 8; ++size)
    EXPECT_EQ(findByte(bytes.data(), 'a', size), nullptr);
  EXPECT_EQ(findByte(bytes.data(), 'a', 9), bytes.data() + 8);
}

}  // namespace

}  // namespace quintora
