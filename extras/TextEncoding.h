// Conversions of bytes to strings that are the same on every system. All are strict: a single
// invalid byte makes the whole result absent; nothing is replaced or skipped.
#pragma once

#include "extras/String.h"

namespace quintora {

// Text encoding identifiers, in the numbering of macOS (NSStringEncoding); 0 names no encoding.
using TextEncoding = uint64_t;
inline constexpr TextEncoding kNoTextEncoding = 0;
inline constexpr TextEncoding kASCIITextEncoding = 1;
inline constexpr TextEncoding kUTF8TextEncoding = 4;
inline constexpr TextEncoding kISOLatin1TextEncoding = 5;
inline constexpr TextEncoding kUTF16TextEncoding = 10;  // by its mark; big-endian without one
inline constexpr TextEncoding kMacOSRomanTextEncoding = 30;
inline constexpr TextEncoding kUTF16BigEndianTextEncoding = 0x90000100;
inline constexpr TextEncoding kUTF16LittleEndianTextEncoding = 0x94000100;

// Whether the identifier is one of the encodings above.
bool isBuiltInTextEncoding(TextEncoding encoding);

// Decodes bytes in one of the encodings above. Absent when they are not valid in it, or when the
// identifier is none of them. UTF-8 must be well-formed by table 3-7 of Unicode 15.0 (no overlong
// forms, no surrogates); a leading U+FEFF is kept, and the bytes are not copied. UTF-16 must have
// whole units and paired surrogates only.
String initWithDataEncoding(Data bytes, TextEncoding encoding);

// Whether the bytes are valid UTF-8 as above. For a String: whether it has no unpaired surrogate.
bool isValidUTF8(std::string_view bytes);

}  // namespace quintora
