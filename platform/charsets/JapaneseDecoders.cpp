// Shift_JIS, EUC-JP and ISO-2022-JP as web pages use them: with Microsoft's characters.
#include "platform/charsets/Decoders.h"

namespace quintora {

namespace {

constexpr char32_t kFirstHalfwidth = 0xFF61;  // of katakana and marks, A1 to DF in JIS X 0201
constexpr char32_t kFirstOfPrivateUse = 0xE000;

bool isHalfwidth(unsigned byte) { return byte >= 0xA1 && byte <= 0xDF; }

char32_t halfwidth(unsigned byte) { return kFirstHalfwidth + byte - 0xA1; }

// The character at a place among 120 rows of 94, of which the table leaves out 20.
char32_t characterOfJISX0208(size_t place) {
  constexpr size_t kPrivateUse = 20 * kRow;
  if (place < kSquare)
    return kJISX0208[place];
  if (place < kSquare + kPrivateUse)
    return kFirstOfPrivateUse + static_cast<char32_t>(place - kSquare);
  return kJISX0208[place - kPrivateUse];
}

Sequence jisX0212Sequence(std::string_view bytes) {
  const size_t place = placeInSquare(byteAt(bytes, 1) - 1, byteAt(bytes, 2));
  return place < kJISX0212Size ? sequenceOf(3, kJISX0212[place]) : Sequence();
}

}  // namespace

Sequence shiftJISSequence(std::string_view bytes) {
  constexpr size_t kTwoRows = 2 * kRow;
  const unsigned lead = byteAt(bytes, 0);
  if (lead == 0x80)
    return {1, lead};
  if (isHalfwidth(lead))
    return {1, halfwidth(lead)};
  const unsigned trail = byteAt(bytes, 1);
  if (lead == 0xA0 || lead > 0xFC || trail < 0x40 || trail == 0x7F || trail > 0xFC)
    return {};
  const size_t rows = lead - (lead < 0xA0 ? 0x81 : 0xC1);
  return sequenceOf(2, characterOfJISX0208(rows * kTwoRows + trail - (trail < 0x7F ? 0x40 : 0x41)));
}

Sequence eucJPSequence(std::string_view bytes) {
  const unsigned lead = byteAt(bytes, 0);
  const unsigned second = byteAt(bytes, 1);
  if (lead == 0x8E)
    return isHalfwidth(second) ? Sequence{2, halfwidth(second)} : Sequence();
  if (lead == 0x8F)
    return jisX0212Sequence(bytes);
  if (isC1Control(lead))
    return {1, lead};
  return squareSequence(kJISX0208, lead, second);
}

Sequence ISO2022JPDecoder::next(std::string_view bytes) {
  const unsigned byte = byteAt(bytes, 0);
  if (byte == 0x1B)
    return escape(bytes);
  if (isLineEnd(byte) && set_ != Set::kRoman)
    set_ = Set::kASCII;
  if (set_ != Set::kKanji)
    return single(byte);
  // The same square as in EUC-JP, with bytes from 21 to 7E.
  return squareSequence(kJISX0208, byte + 0x80, byteAt(bytes, 1) + 0x80);
}

Sequence ISO2022JPDecoder::escape(std::string_view bytes) {
  static constexpr struct {
    char sequence[4];
    Set set;
  } kEscapes[] = {
      {"\x1B(B", Set::kASCII}, {"\x1B(J", Set::kRoman}, {"\x1B(I", Set::kKatakana},
      {"\x1B$@", Set::kKanji}, {"\x1B$B", Set::kKanji},
  };
  for (const auto& escape : kEscapes) {
    if (bytes.substr(0, 3) == escape.sequence) {
      set_ = escape.set;
      return {3};
    }
  }
  return {};
}

Sequence ISO2022JPDecoder::single(unsigned byte) const {
  if (byte >= 0x80 || byte == kShiftOut || byte == kShiftIn)
    return {};
  if (set_ == Set::kKatakana && byte > ' ')
    return isHalfwidth(byte | 0x80) ? Sequence{1, halfwidth(byte | 0x80)} : Sequence();
  if (set_ == Set::kRoman && byte == '\\')
    return {1, 0xA5};  // yen
  if (set_ == Set::kRoman && byte == '~')
    return {1, 0x203E};  // overline
  return {1, byte};
}

}  // namespace quintora
