// Decoders of charsets with more than one byte to a character. Each reads what stands at the front
// of some bytes, of which there is at least one, and never beyond their end.
#pragma once

#include "platform/charsets/CharsetTables.h"

namespace quintora {

// Bytes that belong together, and the characters that they stand for.
inline constexpr char32_t kNothing = 0xFFFFFFFF;
struct Sequence {
  size_t bytes = 0;  // 0: what stands there does not fit
  char32_t character = kNothing;
  char32_t combining = kNothing;
};

// From a byte that is not ASCII on.
Sequence eucJPSequence(std::string_view bytes);
Sequence shiftJISSequence(std::string_view bytes);
Sequence eucKRSequence(std::string_view bytes);
Sequence windowsKoreanSequence(std::string_view bytes);
Sequence gb18030Sequence(std::string_view bytes);
Sequence gb2312Sequence(std::string_view bytes);
Sequence big5Sequence(std::string_view bytes);

// ISO-2022-JP says by escape sequences which set the bytes behind them are of.
class ISO2022JPDecoder {
 public:
  Sequence next(std::string_view bytes);

 private:
  enum class Set { kASCII, kRoman, kKatakana, kKanji };

  Sequence escape(std::string_view bytes);
  Sequence single(unsigned byte) const;

  Set set_ = Set::kASCII;
};

// ISO-2022-KR shifts to Korean, and back to ASCII, by a control character.
class ISO2022KRDecoder {
 public:
  Sequence next(std::string_view bytes);

 private:
  bool isKorean_ = false;
};

// HZ does so by a tilde and a brace.
class HZDecoder {
 public:
  Sequence next(std::string_view bytes);

 private:
  Sequence escape(std::string_view bytes);

  bool isChinese_ = false;
};

// Control characters that choose between two sets.
inline constexpr unsigned kShiftOut = 0x0E;
inline constexpr unsigned kShiftIn = 0x0F;

// The byte at a position; beyond the end 0, which is no part of any character.
inline unsigned byteAt(std::string_view bytes, size_t position) {
  return position < bytes.size() ? static_cast<unsigned char>(bytes[position]) : 0;
}

inline Sequence sequenceOf(size_t bytes, char32_t character) {
  return character == kNoCharacter ? Sequence() : Sequence{bytes, character};
}

// Where in a square the two bytes of an EUC charset are; beyond it when one is not from A1 to FE.
inline size_t placeInSquare(unsigned row, unsigned column) {
  const auto isInside = [](unsigned byte) { return byte >= 0xA1 && byte <= 0xFE; };
  return isInside(row) && isInside(column) ? (row - 0xA1) * kRow + column - 0xA1 : kSquare;
}

inline Sequence squareSequence(const char16_t* square, unsigned row, unsigned column) {
  const size_t place = placeInSquare(row, column);
  return place < kSquare ? sequenceOf(2, square[place]) : Sequence();
}

// In charsets of seven bits a line in two bytes to a character ends with its line end.
inline bool isLineEnd(unsigned byte) { return byte == '\n' || byte == '\r'; }

// The EUC charsets keep the second set of control characters, 80 to 9F.
inline bool isC1Control(unsigned byte) { return byte >= 0x80 && byte < 0xA0; }

}  // namespace quintora
