// Decoders of charsets with more than one byte to a character. Each reads what stands at the front
// of some bytes, of which there is at least one, and never beyond their end.
#pragma once

#include "platform/charsets/CharsetTables.h"

namespace quintora {

// Bytes that belong together, and the characters that they stand for.
inline constexpr char32_t kNothing = 0xFFFFFFFF;
struct Piece {
  size_t bytes = 0;  // 0: what stands there does not fit
  char32_t character = kNothing;
  char32_t combining = kNothing;
};

// From a byte that is not ASCII on.
Piece eucJPPiece(std::string_view bytes);
Piece shiftJISPiece(std::string_view bytes);
Piece eucKRPiece(std::string_view bytes);
Piece windowsKoreanPiece(std::string_view bytes);
Piece gb18030Piece(std::string_view bytes);
Piece gb2312Piece(std::string_view bytes);
Piece big5Piece(std::string_view bytes);

// ISO-2022-JP says by escape sequences which set the bytes behind them are of.
class ISO2022JPDecoder {
 public:
  Piece next(std::string_view bytes);

 private:
  enum class Set { kASCII, kRoman, kKatakana, kKanji };

  Piece escape(std::string_view bytes);
  Piece single(unsigned byte) const;

  Set set_ = Set::kASCII;
};

// The byte at a position; beyond the end 0, which is no part of any character.
inline unsigned byteAt(std::string_view bytes, size_t position) {
  return position < bytes.size() ? static_cast<unsigned char>(bytes[position]) : 0;
}

inline Piece pieceOf(size_t bytes, char32_t character) {
  return character == kNoCharacter ? Piece() : Piece{bytes, character};
}

// Where in a square the two bytes of an EUC charset are; beyond it when one is not from A1 to FE.
inline size_t placeInSquare(unsigned row, unsigned column) {
  const auto isInside = [](unsigned byte) { return byte >= 0xA1 && byte <= 0xFE; };
  return isInside(row) && isInside(column) ? (row - 0xA1) * kRow + column - 0xA1 : kSquare;
}

inline Piece squarePiece(const char16_t* square, unsigned row, unsigned column) {
  const size_t place = placeInSquare(row, column);
  return place < kSquare ? pieceOf(2, square[place]) : Piece();
}

// The EUC charsets keep the second set of control characters, 80 to 9F.
inline bool isC1Control(unsigned byte) { return byte >= 0x80 && byte < 0xA0; }

}  // namespace quintora
