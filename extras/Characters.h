// Single characters: ASCII without a locale, and characters in UTF-16.
#pragma once

#include <algorithm>
#include <cstddef>
#include <string>
#include <string_view>

namespace quintora {

template <typename Unit>
constexpr bool isASCIIDigit(Unit unit) {
  return unit >= '0' && unit <= '9';
}

constexpr bool isASCIILetter(char c) { return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z'); }

constexpr char lowercaseASCII(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

// The second text has no capital letters.
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
  return isASCIIDigit(byte) || (byte < 0x80 && isASCIILetter(static_cast<char>(byte))) ||
         kOthers.find(static_cast<char>(byte)) != kOthers.npos;
}

constexpr bool isHighSurrogate(char16_t unit) { return (unit & 0xFC00) == 0xD800; }
constexpr bool isLowSurrogate(char16_t unit) { return (unit & 0xFC00) == 0xDC00; }
constexpr bool isSurrogate(char32_t value) { return (value & 0xFFFFF800) == 0xD800; }

// The halves of a character from U+10000 on.
constexpr char16_t highSurrogate(char32_t value) {
  return static_cast<char16_t>(0xD800 + ((value - 0x10000) >> 10));
}
constexpr char16_t lowSurrogate(char32_t value) {
  return static_cast<char16_t>(0xDC00 + (value & 0x3FF));
}

// The character at a position and how many units it has; an unpaired surrogate stands for itself.
struct Character {
  char32_t value;
  size_t units;
};

constexpr Character characterAt(std::u16string_view text, size_t at) {
  const char16_t first = text[at];
  if (isHighSurrogate(first) && at + 1 < text.size() && isLowSurrogate(text[at + 1]))
    return {0x10000u + ((first & 0x3FFu) << 10) + (text[at + 1] & 0x3FFu), 2};
  return {first, 1};
}

// Writes the UTF-8 bytes of a character, 1 to 4, and returns the place behind them.
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

}  // namespace quintora
