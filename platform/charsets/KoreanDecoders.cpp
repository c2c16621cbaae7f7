// EUC-KR, the same in seven bits, and Windows' code page 949, which adds all the other syllables.
#include "platform/charsets/Decoders.h"

namespace quintora {

namespace {

// Unicode has a character for each of the 11172 syllables that Hangul can form. 2350 of them are in
// KS X 1001, in the same order, and the extension has the others, in that order, too.
constexpr char32_t kFirstSyllable = 0xAC00;
constexpr size_t kSyllables = 11172;
constexpr size_t kSyllablesOfKSX1001 = 2350;
constexpr size_t kFirstRowOfSyllables = 0xB0 - 0xA1;

// The syllable with this number among those that are not in KS X 1001. Its number among all
// syllables is greater by those of KS X 1001 that come before it.
char32_t otherSyllable(size_t number) {
  const char16_t* const known = kKSX1001 + kFirstRowOfSyllables * kRow;
  size_t lower = 0;
  for (size_t end = kSyllablesOfKSX1001; lower < end;) {
    const size_t middle = (lower + end) / 2;
    if (known[middle] - kFirstSyllable - middle <= number)
      lower = middle + 1;
    else
      end = middle;
  }
  return kFirstSyllable + static_cast<char32_t>(number + lower);
}

// Trail bytes are letters and bytes from 81 on. Returns the number of this one among them, or 178
// if it is none.
size_t column(unsigned trail) {
  if (trail >= 'A' && trail <= 'Z')
    return trail - 'A';
  if (trail >= 'a' && trail <= 'z')
    return trail - 'a' + 26;
  return trail >= 0x81 && trail <= 0xFE ? trail - 0x81 + 52 : 178;
}

// Rows from A1 on have columns up to the place where KS X 1001 begins.
Sequence extensionSequence(unsigned lead, unsigned trail) {
  constexpr size_t kLongRow = 178;
  constexpr size_t kShortRow = 84;
  constexpr size_t kLongRows = 0xA1 - 0x81;
  const bool isLong = lead < 0xA1;
  if (column(trail) >= (isLong ? kLongRow : kShortRow))
    return {};
  const size_t row = lead - 0x81;
  const size_t before =
      isLong ? row * kLongRow : kLongRows * kLongRow + (row - kLongRows) * kShortRow;
  const size_t number = before + column(trail);
  return number < kSyllables - kSyllablesOfKSX1001 ? Sequence{2, otherSyllable(number)}
                                                   : Sequence();
}

}  // namespace

Sequence eucKRSequence(std::string_view bytes) {
  const unsigned lead = byteAt(bytes, 0);
  return isC1Control(lead) ? Sequence{1, lead} : squareSequence(kKSX1001, lead, byteAt(bytes, 1));
}

Sequence ISO2022KRDecoder::next(std::string_view bytes) {
  constexpr std::string_view kDesignation = "\x1B$)C";  // says which set is shifted to
  const unsigned byte = byteAt(bytes, 0);
  if (bytes.substr(0, kDesignation.size()) == kDesignation)
    return {kDesignation.size()};
  if (byte == kShiftOut || byte == kShiftIn) {
    isKorean_ = byte == kShiftOut;
    return {1};
  }
  if (isLineEnd(byte))
    isKorean_ = false;
  if (isKorean_)
    return squareSequence(kKSX1001, byte + 0x80, byteAt(bytes, 1) + 0x80);
  return byte < 0x80 && byte != 0x1B ? Sequence{1, byte} : Sequence();
}

Sequence windowsKoreanSequence(std::string_view bytes) {
  const unsigned lead = byteAt(bytes, 0);
  const unsigned trail = byteAt(bytes, 1);
  if (lead == 0x80 || lead == 0xFF)
    return {};
  return lead < 0xA1 || trail < 0xA1 ? extensionSequence(lead, trail)
                                     : squareSequence(kKSX1001, lead, trail);
}

}  // namespace quintora
