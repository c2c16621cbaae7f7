// Single characters: ASCII without a locale, and characters in UTF-8 and UTF-16.
#pragma once

#include <algorithm>
#include <cstddef>
#include <string>
#include <string_view>

namespace quintora {

constexpr bool isASCIIDigit(char c) { return c >= '0' && c <= '9'; }

constexpr bool isASCIILetter(char c) { return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z'); }

constexpr char lowercaseASCII(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

// lowercaseText must not contain capital ASCII letters.
inline bool isEqualIgnoringASCIICase(std::string_view text, std::string_view lowercaseText) {
  return std::equal(text.begin(), text.end(), lowercaseText.begin(), lowercaseText.end(),
                    [](char a, char b) { return lowercaseASCII(a) == b; });
}

// The value of a hexadecimal digit of either case; -1 for any other character.
constexpr int hexadecimalDigit(char c) {
  if (isASCIIDigit(c))
    return c - '0';
  const char lower = lowercaseASCII(c);
  return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

inline constexpr char kHexadecimalDigits[] = "0123456789ABCDEF";

// RFC 2396, sections 2.2 (reserved) and 2.3 (unreserved).
constexpr bool isURLCharacter(unsigned char byte) {
  constexpr std::string_view kOthers = "-_.!~*'();/?:@&=+$,";
  const char c = static_cast<char>(byte);
  return isASCIIDigit(c) || isASCIILetter(c) || kOthers.find(c) != kOthers.npos;
}

constexpr bool isHighSurrogate(char32_t value) { return (value & 0xFFFFFC00) == 0xD800; }
constexpr bool isLowSurrogate(char32_t value) { return (value & 0xFFFFFC00) == 0xDC00; }
constexpr bool isSurrogate(char32_t value) { return (value & 0xFFFFF800) == 0xD800; }

// The two surrogates of a character from U+10000 on, and the character of two surrogates.
constexpr char16_t highSurrogate(char32_t value) {
  return static_cast<char16_t>(0xD800 + ((value - 0x10000) >> 10));
}
constexpr char16_t lowSurrogate(char32_t value) {
  return static_cast<char16_t>(0xDC00 + (value & 0x3FF));
}
constexpr char32_t pairedSurrogates(char32_t high, char32_t low) {
  return 0x10000 + ((high & 0x3FF) << 10) + (low & 0x3FF);
}

// Whether a byte of UTF-8 is a continuation byte: not the first of its character.
constexpr bool isContinuation(char byte) { return (byte & 0xC0) == 0x80; }

// The length in bytes of the UTF-8 character that begins with this byte.
constexpr size_t bytesOfCharacter(char first) {
  const unsigned char byte = static_cast<unsigned char>(first);
  return byte < 0x80 ? 1 : byte < 0xE0 ? 2 : byte < 0xF0 ? 3 : 4;
}

// A character and its length in bytes.
struct Character {
  char32_t value;
  size_t bytes;
};

// The character that begins at this byte of a string in UTF-8.
constexpr Character characterAt(std::string_view text, size_t at) {
  const auto byte = [&](size_t i) { return static_cast<unsigned char>(text[at + i]); };
  const size_t bytes = bytesOfCharacter(text[at]);
  if (bytes == 1)
    return {byte(0), 1};
  char32_t value = byte(0) & (0xFFu >> (bytes + 1));
  for (size_t i = 1; i < bytes; ++i)
    value = value << 6 | (byte(i) & 0x3Fu);
  return {value, bytes};
}

// Writes a character as 1 to 4 bytes of UTF-8 and returns the end of what it wrote.
inline char* putUTF8(char* to, char32_t character) {
  const auto put = [&to](char32_t byte) { *to++ = static_cast<char>(byte); };
  if (character < 0x80) {
    put(character);
    return to;
  }
  if (character < 0x800) {
    put(0xC0 | character >> 6);
  } else {
    if (character < 0x10000) {
      put(0xE0 | character >> 12);
    } else {
      put(0xF0 | character >> 18);
      put(0x80 | (character >> 12 & 0x3F));
    }
    put(0x80 | (character >> 6 & 0x3F));
  }
  put(0x80 | (character & 0x3F));
  return to;
}

inline void appendUTF8(std::string& text, char32_t character) {
  char bytes[4];
  text.append(bytes, putUTF8(bytes, character));
}

}  // namespace quintora
