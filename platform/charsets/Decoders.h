// Decoders of multi-byte charsets. Each reads one sequence at the front of the bytes, of which
// there must be at least one, and never beyond their end.
#pragma once

#include "platform/charsets/CharsetTables.h"

namespace quintora {

// The number of bytes in a sequence, and the one or two characters that they stand for.
inline constexpr char32_t kNothing = 0xFFFFFFFF;
struct Sequence {
  size_t bytes = 0;  // 0: the bytes are invalid
  char32_t character = kNothing;
  char32_t combining = kNothing;
};

// For sequences that begin with a byte that is not ASCII.
Sequence eucJPSequence(std::string_view bytes);
Sequence shiftJISSequence(std::string_view bytes);
Sequence eucKRSequence(std::string_view bytes);
Sequence windowsKoreanSequence(std::string_view bytes);
Sequence gb18030Sequence(std::string_view bytes);
Sequence gb2312Sequence(std::string_view bytes);
Sequence big5Sequence(std::string_view bytes);

// In ISO-2022-JP escape sequences choose the character set of the bytes that follow.
class ISO2022JPDecoder {
 public:
  Sequence next(std::string_view bytes);

 private:
  enum class Set { kASCII, kRoman, kKatakana, kKanji };

  Sequence escape(std::string_view bytes);
  Sequence single(unsigned byte) const;

  Set set_ = Set::kASCII;
};

// In ISO-2022-KR control characters switch to Korean and back to ASCII.
class ISO2022KRDecoder {
 public:
  Sequence next(std::string_view bytes);

 private:
  bool isKorean_ = false;
};

// In HZ a tilde and a brace switch to Chinese and back to ASCII.
class HZDecoder {
 public:
  Sequence next(std::string_view bytes);

 private:
  Sequence escape(std::string_view bytes);

  bool isChinese_ = false;
};

// Control characters that switch between two character sets.
inline constexpr unsigned kShiftOut = 0x0E;
inline constexpr unsigned kShiftIn = 0x0F;

// The byte at a position; beyond the end 0, which no multi-byte sequence contains.
inline unsigned byteAt(std::string_view bytes, size_t position) {
  return position < bytes.size() ? static_cast<unsigned char>(bytes[position]) : 0;
}

inline Sequence sequenceOf(size_t bytes, char32_t character) {
  return character == kNoCharacter ? Sequence() : Sequence{bytes, character};
}

// The index in a square for two bytes of an EUC charset; kSquare when one is not from A1 to FE.
inline size_t placeInSquare(unsigned row, unsigned column) {
  const auto isInside = [](unsigned byte) { return byte >= 0xA1 && byte <= 0xFE; };
  return isInside(row) && isInside(column) ? (row - 0xA1) * kRow + column - 0xA1 : kSquare;
}

inline Sequence squareSequence(const char16_t* square, unsigned row, unsigned column) {
  const size_t place = placeInSquare(row, column);
  return place < kSquare ? sequenceOf(2, square[place]) : Sequence();
}

// In charsets of seven bits a line end switches back to ASCII.
inline bool isLineEnd(unsigned byte) { return byte == '\n' || byte == '\r'; }

// The C1 control characters, 80 to 9F, which the EUC charsets have, too.
inline bool isC1Control(unsigned byte) { return byte >= 0x80 && byte < 0xA0; }

}  // namespace quintora
