// Conversions between bytes and text that are the same on every system. All are strict: one byte
// that does not fit makes the whole result absent, nothing is replaced or skipped.
#pragma once

#include "extras/String.h"

namespace quintora {

// Text encoding identifiers, in the numbering of macOS (NSStringEncoding); 0 names no encoding.
using TextEncoding = uint64_t;
inline constexpr TextEncoding kNoTextEncoding = 0;
inline constexpr TextEncoding kASCIITextEncoding = 1;
inline constexpr TextEncoding kUTF8TextEncoding = 4;
inline constexpr TextEncoding kISOLatin1TextEncoding = 5;
inline constexpr TextEncoding kUTF16TextEncoding = 10;  // by its mark, without one big-endian
inline constexpr TextEncoding kMacOSRomanTextEncoding = 30;
inline constexpr TextEncoding kUTF16BigEndianTextEncoding = 0x90000100;
inline constexpr TextEncoding kUTF16LittleEndianTextEncoding = 0x94000100;

// Whether the identifier is one of the encodings above.
bool isBuiltInTextEncoding(TextEncoding encoding);

// Decodes bytes in one of the encodings above. Absent when they are not valid in it, or when the
// identifier is none of them. UTF-8 is as Unicode 15.0 table 3-7 has it (no overlong forms, no
// surrogates) and keeps a leading U+FEFF; its bytes become the text without being copied. UTF-16
// has whole units and paired surrogates only.
String initWithDataEncoding(Data bytes, TextEncoding encoding);

// Whether the bytes are UTF-8 as above. Of a text, whether UTF-8 can hold it: false when half of a
// surrogate pair stands alone in it.
bool isValidUTF8(std::string_view bytes);

}  // namespace quintora
