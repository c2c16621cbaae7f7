#include "extras/TextEncoding.h"

#include <algorithm>
#include <cstring>
#include <utility>

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

// The UTF-8 bytes of a character up to U+FFFF, at most three.
struct ShortCharacter {
  char bytes[3] = {};
  uint8_t size = 0;
};

constexpr ShortCharacter shortCharacter(char32_t value) {
  const auto byte = [](char32_t bits) { return static_cast<char>(bits); };
  const char last = byte(0x80 | (value & 0x3F));
  if (value < 0x80)
    return {{byte(value)}, 1};
  if (value < 0x800)
    return {{byte(0xC0 | value >> 6), last}, 2};
  return {{byte(0xE0 | value >> 12), byte(0x80 | (value >> 6 & 0x3F)), last}, 3};
}

// A charset in which every byte is a character.
struct CharactersOfBytes {
  ShortCharacter ofByte[256];
  size_t longest = 1;  // character, in bytes

  // The upper half's characters; those of ISO 8859-1 for null.
  constexpr explicit CharactersOfBytes(const char16_t* upperHalf) {
    for (char32_t byte = 0; byte < 256; ++byte) {
      const char32_t value = byte < 0x80 || !upperHalf ? byte : upperHalf[byte - 0x80];
      ofByte[byte] = shortCharacter(value);
      longest = std::max<size_t>(longest, ofByte[byte].size);
    }
  }
};
constexpr CharactersOfBytes kISOLatin1Charset(nullptr);
constexpr CharactersOfBytes kMacOSRomanCharset(kMacOSRoman);

// Whether eight bytes are ASCII; `high` gets the highest bit of each byte. (Every supported
// processor is little-endian.)
bool isASCIIWord(const Byte* at, uint64_t& high) {
  std::memcpy(&high, at, sizeof high);
  high &= 0x8080808080808080;
  return high == 0;
}

// How many of the bytes are not ASCII.
size_t bytesBeyondASCII(std::string_view bytes) {
  const Byte* at = reinterpret_cast<const Byte*>(bytes.data());
  const Byte* const end = at + bytes.size();
  size_t count = 0;
  for (; end - at >= 8; at += 8) {
    uint64_t high;
    if (!isASCIIWord(at, high))
      count += (high >> 7) * 0x0101010101010101 >> 56;  // the sum of the word's bytes
  }
  for (; at != end; ++at)
    count += *at >> 7;
  return count;
}

// Writes the characters of the bytes, for the longest of which the caller has room.
char* putCharacters(char* to, std::string_view bytes, const CharactersOfBytes& charset) {
  const Byte* at = reinterpret_cast<const Byte*>(bytes.data());
  const Byte* const end = at + bytes.size();
  while (at != end) {
    uint64_t high;
    for (; end - at >= 8 && isASCIIWord(at, high); at += 8, to += 8)
      std::memcpy(to, at, 8);
    for (const Byte* const stop = at + std::min<ptrdiff_t>(end - at, 8); at != stop; ++at) {
      // All four bytes are written, which needs no branch; the highest one is the size.
      uint32_t character;
      std::memcpy(&character, &charset.ofByte[*at], sizeof character);
      std::memcpy(to, &character, sizeof character);
      to += character >> 24;
    }
  }
  return to;
}

// The text is written by way of a block that stays in the processor's cache: a string clears the
// room that it gives out, and clearing many megabytes takes as long as filling them.
std::string decodeSingleBytes(std::string_view bytes, const CharactersOfBytes& charset) {
  constexpr size_t kBytesAtOnce = 1024;
  char block[kBytesAtOnce * 3 + 1];
  std::string text;
  text.reserve(bytes.size() + bytesBeyondASCII(bytes) * (charset.longest - 1));
  for (; !bytes.empty(); bytes.remove_prefix(std::min(kBytesAtOnce, bytes.size())))
    text.append(block, putCharacters(block, bytes.substr(0, kBytesAtOnce), charset));
  return text;
}

// The first byte that is not ASCII, or the end.
const Byte* endOfASCII(const Byte* at, const Byte* end) {
  uint64_t high;
  for (; end - at >= 8; at += 8) {
    if (!isASCIIWord(at, high))
      return at + __builtin_ctzll(high) / 8;
  }
  return std::find_if(at, end, [](Byte byte) { return byte >= 0x80; });
}

bool isBetween(Byte byte, Byte low, Byte high) { return byte >= low && byte <= high; }

// The length of the well-formed sequence at the start of [at, end), which is not ASCII; 0 when it
// is ill-formed. Only the range of the second byte depends on the first (Unicode 15.0, table 3-7).
size_t sequenceLength(const Byte* at, const Byte* end) {
  const Byte first = *at;
  const ptrdiff_t left = end - at;
  if (first < 0xE0)
    return first >= 0xC2 && left >= 2 && isContinuation(static_cast<char>(at[1])) ? 2 : 0;
  if (first < 0xF0) {
    const bool isWhole =
        left >= 3 && isBetween(at[1], first == 0xE0 ? 0xA0 : 0x80, first == 0xED ? 0x9F : 0xBF) &&
        isContinuation(static_cast<char>(at[2]));
    return isWhole ? 3 : 0;
  }
  const bool isWhole = first < 0xF5 && left >= 4 &&
                       isBetween(at[1], first == 0xF0 ? 0x90 : 0x80, first == 0xF4 ? 0x8F : 0xBF) &&
                       isContinuation(static_cast<char>(at[2])) &&
                       isContinuation(static_cast<char>(at[3]));
  return isWhole ? 4 : 0;
}

// Appends code units of two bytes each; the more significant byte is at index `high` (0 or 1).
// False when a unit is incomplete or a surrogate unpaired.
bool decodeUTF16(std::string_view bytes, size_t high, std::string& text) {
  const auto unitAt = [&](size_t at) {
    return static_cast<char32_t>(static_cast<Byte>(bytes[at + high]) << 8 |
                                 static_cast<Byte>(bytes[at + 1 - high]));
  };
  if (bytes.size() % 2 != 0)
    return false;
  text.reserve(bytes.size() / 2 * 3);  // the most that they can be; unused room costs nothing
  for (size_t at = 0; at < bytes.size(); at += 2) {
    char32_t value = unitAt(at);
    if (isSurrogate(value)) {
      at += 2;
      if (!isHighSurrogate(value) || at == bytes.size() || !isLowSurrogate(unitAt(at)))
        return false;
      value = pairedSurrogates(value, unitAt(at));
    }
    appendUTF8(text, value);
  }
  return true;
}

String decodedUTF16(std::string_view bytes, size_t high) {
  std::string text;
  if (!decodeUTF16(bytes, high, text))
    return std::nullopt;
  return text;
}

String decodedMarkedUTF16(std::string_view bytes) {
  const std::string_view mark = bytes.substr(0, 2);
  if (mark == "\xFF\xFE")
    return decodedUTF16(bytes.substr(2), 1);
  return decodedUTF16(mark == "\xFE\xFF" ? bytes.substr(2) : bytes, 0);
}

// The bytes themselves, if they are a text in UTF-8.
String textIf(bool isText, Data&& bytes) {
  if (!isText)
    return std::nullopt;
  return std::move(bytes);
}

bool isASCII(std::string_view bytes) {
  const Byte* const at = reinterpret_cast<const Byte*>(bytes.data());
  return endOfASCII(at, at + bytes.size()) == at + bytes.size();
}

}  // namespace

bool isBuiltInTextEncoding(TextEncoding encoding) {
  // Each of them decodes the empty string, and no other identifier does.
  return initWithDataEncoding({}, encoding).has_value();
}

String initWithDataEncoding(Data bytes, TextEncoding encoding) {
  switch (encoding) {
    case kASCIITextEncoding:
      return textIf(isASCII(bytes), std::move(bytes));
    case kUTF8TextEncoding:
      return textIf(isValidUTF8(bytes), std::move(bytes));
    case kISOLatin1TextEncoding:
      return decodeSingleBytes(bytes, kISOLatin1Charset);
    case kUTF16TextEncoding:
      return decodedMarkedUTF16(bytes);
    case kMacOSRomanTextEncoding:
      return decodeSingleBytes(bytes, kMacOSRomanCharset);
    case kUTF16BigEndianTextEncoding:
      return decodedUTF16(bytes, 0);
    case kUTF16LittleEndianTextEncoding:
      return decodedUTF16(bytes, 1);
    default:
      return std::nullopt;
  }
}

bool isValidUTF8(std::string_view bytes) {
  const Byte* at = reinterpret_cast<const Byte*>(bytes.data());
  const Byte* const end = at + bytes.size();
  while ((at = endOfASCII(at, end)) != end) {
    do {  // a character beyond ASCII is often followed by another
      const size_t length = sequenceLength(at, end);
      if (length == 0)
        return false;
      at += length;
    } while (at != end && *at >= 0x80);
  }
  return true;
}

}  // namespace quintora
