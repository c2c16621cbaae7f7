// The characters of the charsets; generate_charset_tables.py writes the tables. A run that does not
// need them does not touch their memory.
#pragma once

#include "platform/charsets/BuiltInCharsets.h"

namespace quintora {

// Marks a code without a character.
inline constexpr char16_t kNoCharacter = 0xFFFD;

// The characters of the bytes 80 to FF; those below are ASCII.
struct SingleByteCharset {
  TextEncoding encoding;
  char16_t characters[128 + 1];
};
inline constexpr size_t kSingleByteCharsetCount = 28;
extern const SingleByteCharset kSingleByteCharsets[kSingleByteCharsetCount];

// Squares of 94 rows with 94 characters each, those of the bytes A1 to FE in the EUC charsets.
inline constexpr size_t kRow = 94;
inline constexpr size_t kSquare = kRow * kRow;

// After the square's 94 rows come Microsoft's, 115 to 120; those between are for private use and
// left out.
inline constexpr size_t kJISX0208Size = kSquare + 6 * kRow;
extern const char16_t kJISX0208[kJISX0208Size + 1];

// Rows 2 to 77 only.
inline constexpr size_t kJISX0212Size = 76 * kRow;
extern const char16_t kJISX0212[kJISX0212Size + 1];

inline constexpr size_t kKSX1001Size = kSquare;
extern const char16_t kKSX1001[kKSX1001Size + 1];

// The codes of two bytes, from 8140 on.
inline constexpr size_t kGB18030Row = 190;
inline constexpr size_t kGB18030Size = 126 * kGB18030Row;
extern const char16_t kGB18030[kGB18030Size + 1];

// The codes of four bytes stand, in order, for all characters below U+10000 that have no shorter
// code. Each range of consecutive characters is given by the number of its first code.
struct GB18030Range {
  uint16_t number;
  char16_t character;
};
inline constexpr size_t kGB18030RangeCount = 208;
inline constexpr uint32_t kGB18030FourByteCodes = 39420;
extern const GB18030Range kGB18030Ranges[kGB18030RangeCount];

// The codes from 8740 on. Of a character beyond U+FFFF the table has the lower 16 bits, and its bit
// is set in a second table, whose bytes begin with their lowest bit.
inline constexpr size_t kBig5Row = 157;
inline constexpr size_t kBig5Size = 120 * kBig5Row;
extern const char16_t kBig5[kBig5Size + 1];
extern const unsigned char kBig5IsPlane2[kBig5Size / 8];

}  // namespace quintora
