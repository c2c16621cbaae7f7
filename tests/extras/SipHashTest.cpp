// The hash behind a Dictionary.
#include "extras/SipHash.h"

#include <gtest/gtest.h>

#include <string>

namespace quintora {

namespace {

// 0x0100, 0x0302 and so on: the bytes 0, 1, 2 ...
std::u16string counting(size_t units) {
  std::u16string text;
  for (size_t i = 0; i < units; ++i)
    text += static_cast<char16_t>(0x100 * (2 * i + 1) + 2 * i);
  return text;
}

// What another implementation says of the same bytes with the key 0: hash() of bytes in Python
// 3.11, in a process with PYTHONHASHSEED=0. (For no bytes at all Python's own rule has 0.)
TEST(SipHash, IsSipHash13) {
  constexpr uint64_t kNoKey[2] = {};
  constexpr uint64_t kExpected[] = {0x010BAC45C41E3669, 0x7CC43F98813E4DBD, 0xE3C25F87624F1CDB,
                                    0xEAD411E67EBE2EEA, 0xAF9F77A65AB51A1D, 0xA6BAF4FB0F9FE1C2,
                                    0x7F86049379FBFE67, 0x8972188433A5C5B7};
  for (size_t units = 1; units <= 8; ++units)
    EXPECT_EQ(sipHash(kNoKey, counting(units)), kExpected[units - 1]) << units;
  EXPECT_EQ(sipHash(kNoKey, u"ApacheTunnel_HTTP_COOKIE"), 0x7CA94D43EE4188A7u);
}

TEST(SipHash, DependsOnBothHalvesOfTheKey) {
  const std::u16string text = counting(5);
  const uint64_t hash = sipHash({1, 2}, text);
  EXPECT_EQ(sipHash({1, 2}, text), hash);
  EXPECT_NE(sipHash({3, 2}, text), hash);
  EXPECT_NE(sipHash({1, 3}, text), hash);
}

}  // namespace

}  // namespace quintora
