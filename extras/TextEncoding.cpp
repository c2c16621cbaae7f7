#include "extras/TextEncoding.h"

#include <algorithm>
#include <cstring>

#include "extras/BlockWriter.h"
#include "extras/Characters.h"

namespace quintora {

namespace {

using Byte = unsigned char;

// What bytes 0x80 to 0xFF mean in Mac OS Roman: Apple's published table (ROMAN.TXT) in the version
// that has the euro sign at 0xDB. All 128 have a character in the Basic Multilingual Plane.
constexpr char16_t kMacOSRoman[129] =
    u"\u00C4\u00C5\u00C7\u00C9\u00D1\u00D6\u00DC\u00E1\u00E0\u00E2\u00E4\u00E3\u00E5\u00E7\u00E9"
    u"\u00E8\u00EA\u00EB\u00ED\u00EC\u00EE\u00EF\u00F1\u00F3\u00F2\u00F4\u00F6\u00F5\u00FA\u00F9"
    u"\u00FB\u00FC\u2020\u00B0\u00A2\u00A3\u00A7\u2022\u00B6\u00DF\u00AE\u00A9\u2122\u00B4\u00A8"
    u"\u2260\u00C6\u00D8\u221E\u00B1\u2264\u2265\u00A5\u00B5\u2202\u2211\u220F\u03C0\u222B\u00AA"
    u"\u00BA\u03A9\u00E6\u00F8\u00BF\u00A1\u00AC\u221A\u0192\u2248\u2206\u00AB\u00BB\u2026\u00A0"
    u"\u00C0\u00C3\u00D5\u0152\u0153\u2013\u2014\u201C\u201D\u2018\u2019\u00F7\u25CA\u00FF\u0178"
    u"\u2044\u20AC\u2039\u203A\uFB01\uFB02\u2021\u00B7\u201A\u201E\u2030\u00C2\u00CA\u00C1\u00CB"
    u"\u00C8\u00CD\u00CE\u00CF\u00CC\u00D3\u00D4\uF8FF\u00D2\u00DA\u00DB\u00D9\u0131\u02C6\u02DC"
    u"\u00AF\u02D8\u02D9\u02DA\u00B8\u02DD\u02DB\u02C7";

// Most texts are ASCII for the most part, so they are read in blocks of this many units.
constexpr ptrdiff_t kBlock = 16;

// Between two blocks at most so many other characters, of up to four bytes, are read.
constexpr ptrdiff_t kOthersAtOnce = 8;
static_assert(kBlock + 4 * kOthersAtOnce <= BlockWriter<char>::kMostAtOnce);

// How many of a block's units, from its first, are ASCII. Looks at eight bytes at a time, of which
// the lowest comes first on every processor that is built for.
template <typename Unit>
ptrdiff_t asciiUnitsOfBlock(const Unit* at) {
  constexpr uint64_t kNotASCII = sizeof(Unit) == 1 ? 0x8080808080808080 : 0xFF80FF80FF80FF80;
  constexpr ptrdiff_t kUnits = sizeof(uint64_t) / sizeof(Unit);
  for (ptrdiff_t i = 0; i < kBlock; i += kUnits) {
    uint64_t units;
    std::memcpy(&units, at + i, sizeof units);
    if ((units & kNotASCII) != 0)
      return i + __builtin_ctzll(units & kNotASCII) / (64 / kUnits);
  }
  return kBlock;
}

// The first unit that is not ASCII, or the end.
template <typename Unit>
const Unit* endOfASCII(const Unit* at, const Unit* end) {
  while (end - at >= kBlock) {
    const ptrdiff_t units = asciiUnitsOfBlock(at);
    at += units;
    if (units < kBlock)
      return at;
  }
  return std::find_if(at, end, [](Unit unit) { return unit >= 0x80; });
}

// Writes ASCII from the front of [at, end), one block at most, and returns the place behind it. The
// block goes through variables of its own, so that nothing can overlap and vectors will do.
template <typename From, typename To>
To* putASCII(To* to, const From*& at, const From* end) {
  if (end - at < kBlock) {
    for (; at != end && *at < 0x80; ++at)
      *to++ = static_cast<To>(*at);
    return to;
  }
  From block[kBlock];
  std::memcpy(block, at, sizeof block);
  To converted[kBlock];
  std::copy_n(block, kBlock, converted);
  std::memcpy(to, converted, sizeof converted);  // more than is kept where not all is ASCII
  const ptrdiff_t units = asciiUnitsOfBlock(block);
  at += units;
  return to + units;
}

const Byte* firstByte(std::string_view bytes) {
  return reinterpret_cast<const Byte*>(bytes.data());
}

bool isContinuation(Byte byte) { return (byte & 0xC0) == 0x80; }

// The length of the well-formed sequence at the start of [at, end), which is not ASCII; 0 where
// there is none. Only the second byte's range depends on the first (Unicode 15.0, table 3-7).
size_t sequenceLength(const Byte* at, const Byte* end) {
  const Byte first = *at;
  const size_t length = first < 0xC2   ? 0
                        : first < 0xE0 ? 2
                        : first < 0xF0 ? 3
                        : first < 0xF5 ? 4
                                       : 0;
  if (length == 0 || static_cast<size_t>(end - at) < length)
    return 0;
  const Byte low = first == 0xE0 ? 0xA0 : first == 0xF0 ? 0x90 : 0x80;
  const Byte high = first == 0xED ? 0x9F : first == 0xF4 ? 0x8F : 0xBF;
  if (at[1] < low || at[1] > high)
    return 0;
  for (size_t i = 2; i < length; ++i) {
    if (!isContinuation(at[i]))
      return 0;
  }
  return length;
}

// The character of a well-formed sequence of 2 to 4 bytes.
char32_t character(const Byte* at, size_t length) {
  char32_t value = at[0] & (0xFFu >> (length + 1));
  for (size_t i = 1; i < length; ++i)
    value = value << 6 | (at[i] & 0x3Fu);
  return value;
}

char16_t* putCharacter(char16_t* to, char32_t value) {
  if (value < 0x10000) {
    *to++ = static_cast<char16_t>(value);
  } else {
    *to++ = highSurrogate(value);
    *to++ = lowSurrogate(value);
  }
  return to;
}

// An empty text with room for so many units. A long one, which a reply is, gets some to spare: what
// is put around it later would else move all of it elsewhere.
std::u16string textWithRoom(size_t units) {
  constexpr size_t kLong = 4096;
  constexpr size_t kSpare = 64;
  std::u16string text;
  text.reserve(units < kLong ? units : units + kSpare);
  return text;
}

// The text whose units are the bytes.
std::u16string widened(const Byte* at, const Byte* end) {
  std::u16string text = textWithRoom(static_cast<size_t>(end - at));
  BlockWriter<char16_t> writer(text);
  for (ptrdiff_t units; at != end; at += units) {
    units = std::min(end - at, BlockWriter<char16_t>::kMostAtOnce);
    writer.wroteUpTo(std::copy_n(at, units, writer.place()));
  }
  writer.flush();
  return text;
}

String decodeUTF8(std::string_view bytes) {
  const Byte* at = firstByte(bytes);
  const Byte* const end = at + bytes.size();
  if (endOfASCII(at, end) == end)
    return widened(at, end);
  std::u16string text = textWithRoom(bytes.size());  // never more units than bytes
  BlockWriter<char16_t> writer(text);
  while (at != end) {
    char16_t* to = putASCII(writer.place(), at, end);
    for (ptrdiff_t i = 0; i < kOthersAtOnce && at != end && *at >= 0x80; ++i) {
      const size_t length = sequenceLength(at, end);
      if (length == 0)
        return std::nullopt;
      to = putCharacter(to, character(at, length));
      at += length;
    }
    writer.wroteUpTo(to);
  }
  writer.flush();
  return text;
}

bool surrogatesArePaired(std::u16string_view text) {
  for (size_t at = 0; at < text.size();) {
    const Character character = characterAt(text, at);
    if (isSurrogate(character.value))
      return false;
    at += character.units;
  }
  return true;
}

// Units of two bytes, the high one at index `high` (0 or 1) of each.
String decodeUTF16(std::string_view bytes, size_t high) {
  if (bytes.size() % 2 != 0)
    return std::nullopt;
  std::u16string text(bytes.size() / 2, u'\0');
  for (size_t i = 0; i < text.size(); ++i) {
    const unsigned upper = static_cast<Byte>(bytes[2 * i + high]);
    const unsigned lower = static_cast<Byte>(bytes[2 * i + 1 - high]);
    text[i] = static_cast<char16_t>(upper << 8 | lower);
  }
  if (!surrogatesArePaired(text))
    return std::nullopt;
  return text;
}

String decodeMarkedUTF16(std::string_view bytes) {
  const std::string_view mark = bytes.substr(0, 2);
  if (mark == "\xFF\xFE")
    return decodeUTF16(bytes.substr(2), 1);
  return decodeUTF16(mark == "\xFE\xFF" ? bytes.substr(2) : bytes, 0);
}

String decodeASCII(std::string_view bytes) {
  const Byte* const at = firstByte(bytes);
  if (endOfASCII(at, at + bytes.size()) != at + bytes.size())
    return std::nullopt;
  return widened(at, at + bytes.size());
}

// The first 256 characters of Unicode are those of ISO 8859-1.
String decodeISOLatin1(std::string_view bytes) {
  const Byte* const at = firstByte(bytes);
  return widened(at, at + bytes.size());
}

String decodeMacOSRoman(std::string_view bytes) {
  std::u16string text(bytes.size(), u'\0');
  std::transform(firstByte(bytes), firstByte(bytes) + bytes.size(), text.begin(), [](Byte byte) {
    return byte < 0x80 ? static_cast<char16_t>(byte) : kMacOSRoman[byte - 0x80];
  });
  return text;
}

// An upper bound of the bytes that a text has in UTF-8; exact for one without surrogates.
size_t mostUTF8Bytes(std::u16string_view text) {
  size_t count = text.size();
  for (const char16_t unit : text)
    count += static_cast<size_t>(unit >= 0x80) + static_cast<size_t>(unit >= 0x800);
  return count;
}

}  // namespace

bool isBuiltInTextEncoding(TextEncoding encoding) {
  // Every one of them can decode the empty text, and no other identifier can.
  return initWithDataEncoding({}, encoding).has_value();
}

String initWithDataEncoding(std::string_view bytes, TextEncoding encoding) {
  switch (encoding) {
    case kASCIITextEncoding:
      return decodeASCII(bytes);
    case kUTF8TextEncoding:
      return decodeUTF8(bytes);
    case kISOLatin1TextEncoding:
      return decodeISOLatin1(bytes);
    case kUTF16TextEncoding:
      return decodeMarkedUTF16(bytes);
    case kMacOSRomanTextEncoding:
      return decodeMacOSRoman(bytes);
    case kUTF16BigEndianTextEncoding:
      return decodeUTF16(bytes, 0);
    case kUTF16LittleEndianTextEncoding:
      return decodeUTF16(bytes, 1);
    default:
      return std::nullopt;
  }
}

bool isValidUTF8(std::string_view bytes) {
  const Byte* at = firstByte(bytes);
  const Byte* const end = at + bytes.size();
  while ((at = endOfASCII(at, end)) != end) {
    const size_t length = sequenceLength(at, end);
    if (length == 0)
      return false;
    at += length;
  }
  return true;
}

std::optional<Data> UTF8Data(const String& receiver) {
  if (!receiver || !surrogatesArePaired(*receiver))
    return std::nullopt;
  return lossyUTF8Data(receiver);
}

Data lossyUTF8Data(const String& receiver) {
  if (!receiver)
    return {};
  const char16_t* at = receiver->data();
  const char16_t* const end = at + receiver->size();
  if (endOfASCII(at, end) == end)
    return Data(at, end);
  Data bytes;
  bytes.reserve(mostUTF8Bytes(*receiver));
  BlockWriter<char> writer(bytes);
  while (at != end) {
    char* to = putASCII(writer.place(), at, end);
    for (ptrdiff_t i = 0; i < kOthersAtOnce && at != end && *at >= 0x80; ++i) {
      const Character character = characterAt({at, static_cast<size_t>(end - at)}, 0);
      to = putUTF8(to, isSurrogate(character.value) ? 0xFFFD : character.value);
      at += character.units;
    }
    writer.wroteUpTo(to);
  }
  writer.flush();
  return bytes;
}

}  // namespace quintora
