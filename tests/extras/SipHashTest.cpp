// The hash behind a Dictionary.
#include "extras/SipHash.h"

#include <gtest/gtest.h>

#include <string>

namespace quintora {

namespace {

// The bytes 0, 1, 2 ...
std::string counting(size_t size) {
  std::string bytes;
  for (size_t i = 0; i < size; ++i)
    bytes += static_cast<char>(i);
  return bytes;
}

// What another implementation says of the same bytes with the key 0: hash() of bytes in Python
// 3.11, in a process with PYTHONHASHSEED=0. (For no bytes at all Python's own rule has 0.)
TEST(SipHash, IsSipHash13) {
  constexpr uint64_t kNoKey[2] = {};
  constexpr uint64_t kExpected[] = {
      0x68A914128E01E473, 0x010BAC45C41E3669, 0x4D4C9A4A8EF6E0AD, 0x7CC43F98813E4DBD,
      0x5ABE2169DFF36275, 0xE3C25F87624F1CDB, 0x2F098AB0C751325A, 0xEAD411E67EBE2EEA,
      0x75927F9D95124362, 0xAF9F77A65AB51A1D, 0xFE64CE8B6617FCFF, 0xA6BAF4FB0F9FE1C2,
      0xA0CF3211850F8E0D, 0x7F86049379FBFE67, 0xF30EB725BB91C9EA, 0x8972188433A5C5B7};
  for (size_t size = 1; size <= 16; ++size)
    EXPECT_EQ(sipHash(kNoKey, counting(size)), kExpected[size - 1]) << size;
  EXPECT_EQ(sipHash(kNoKey, "ApacheTunnel_HTTP_COOKIE"), 0x28170DECFCE25071u);
}

TEST(SipHash, DependsOnBothHalvesOfTheKey) {
  const std::string text = counting(10);
  const uint64_t hash = sipHash({1, 2}, text);
  EXPECT_EQ(sipHash({1, 2}, text), hash);
  EXPECT_NE(sipHash({3, 2}, text), hash);
  EXPECT_NE(sipHash({1, 3}, text), hash);
}

}  // namespace

}  // namespace quintora
