// GB 18030, which includes GBK and GB 2312, HZ, and Big5 with the characters of Hong Kong.
#include <algorithm>
#include <iterator>

#include "platform/charsets/Decoders.h"

namespace quintora {

namespace {

bool isFrom(unsigned low, unsigned byte, unsigned high) { return byte >= low && byte <= high; }

bool isDigit(unsigned byte) { return isFrom('0', byte, '9'); }

// The character of a code of four bytes below U+10000, by the code's number.
char32_t characterInRanges(uint32_t number) {
  const GB18030Range* const next =
      std::upper_bound(std::begin(kGB18030Ranges), std::end(kGB18030Ranges), number,
                       [](uint32_t a, const GB18030Range& range) { return a < range.number; });
  return next[-1].character + number - next[-1].number;
}

Sequence fourByteSequence(std::string_view bytes) {
  constexpr uint32_t kFirstBeyondRanges = 189000;  // U+10000, 90 30 81 30
  constexpr uint32_t kCodesBeyondRanges = 0x100000;
  const unsigned third = byteAt(bytes, 2);
  if (!isDigit(byteAt(bytes, 1)) || !isFrom(0x81, third, 0xFE) || !isDigit(byteAt(bytes, 3)))
    return {};
  const uint32_t row = (byteAt(bytes, 0) - 0x81) * 10 + byteAt(bytes, 1) - '0';
  const uint32_t number = (row * 126 + third - 0x81) * 10 + byteAt(bytes, 3) - '0';
  if (number < kGB18030FourByteCodes)
    return {4, characterInRanges(number)};
  if (number < kFirstBeyondRanges || number >= kFirstBeyondRanges + kCodesBeyondRanges)
    return {};
  return {4, 0x10000 + number - kFirstBeyondRanges};
}

// Four codes stand for an E with circumflex and a second mark, for which there is no single
// character.
Sequence circumflexSequence(unsigned trail) {
  constexpr char32_t kMacron = 0x0304;
  constexpr char32_t kCaron = 0x030C;
  switch (trail) {
    case 0x62:
      return {2, 0xCA, kMacron};
    case 0x64:
      return {2, 0xCA, kCaron};
    case 0xA3:
      return {2, 0xEA, kMacron};
    case 0xA5:
      return {2, 0xEA, kCaron};
    default:
      return {};
  }
}

}  // namespace

Sequence gb18030Sequence(std::string_view bytes) {
  const unsigned lead = byteAt(bytes, 0);
  const unsigned trail = byteAt(bytes, 1);
  if (lead == 0x80)
    return {1, 0x20AC};  // the euro sign, as in Windows' GBK
  if (lead == 0xFF)
    return {};
  if (trail < 0x40)
    return fourByteSequence(bytes);
  if (trail == 0x7F || trail > 0xFE)
    return {};
  return sequenceOf(2,
                    kGB18030[(lead - 0x81) * kGB18030Row + trail - (trail < 0x7F ? 0x40 : 0x41)]);
}

// The oldest names stand for a table that differs in two characters.
Sequence gb2312Sequence(std::string_view bytes) {
  if (bytes.substr(0, 2) == "\xA1\xA4")
    return {2, 0x30FB};  // katakana middle dot
  if (bytes.substr(0, 2) == "\xA1\xAA")
    return {2, 0x2015};  // horizontal bar
  return gb18030Sequence(bytes);
}

Sequence HZDecoder::next(std::string_view bytes) {
  const unsigned byte = byteAt(bytes, 0);
  if (byte == '~')
    return escape(bytes);
  if (isLineEnd(byte))
    isChinese_ = false;
  if (!isChinese_)
    return byte < 0x80 ? Sequence{1, byte} : Sequence();
  const unsigned row = byte + 0x80;
  const unsigned column = byteAt(bytes, 1) + 0x80;
  if (placeInSquare(row, column) == kSquare)
    return {};
  const char pair[] = {static_cast<char>(row), static_cast<char>(column)};
  return gb2312Sequence({pair, 2});
}

// A tilde is never the first byte of a Chinese character.
Sequence HZDecoder::escape(std::string_view bytes) {
  const unsigned second = byteAt(bytes, 1);
  if (second == (isChinese_ ? '}' : '{')) {
    isChinese_ = !isChinese_;
    return {2};
  }
  if (isChinese_)
    return {};
  if (second == '\n')
    return {2};  // a line continuation
  return second == '~' ? Sequence{2, '~'} : Sequence();
}

Sequence big5Sequence(std::string_view bytes) {
  const unsigned lead = byteAt(bytes, 0);
  const unsigned trail = byteAt(bytes, 1);
  if (!isFrom(0x87, lead, 0xFE) || !(isFrom(0x40, trail, 0x7E) || isFrom(0xA1, trail, 0xFE)))
    return {};
  const size_t column = trail - (trail < 0x7F ? 0x40 : 0x62);
  const size_t place = (lead - 0x87) * kBig5Row + column;
  if (lead == 0x88 && kBig5[place] == kNoCharacter)
    return circumflexSequence(trail);
  const bool isPlane2 = (kBig5IsPlane2[place / 8] >> place % 8 & 1) != 0;
  return sequenceOf(2, kBig5[place] + (isPlane2 ? 0x20000u : 0u));
}

}  // namespace quintora
