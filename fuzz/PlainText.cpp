#include "fuzz/PlainText.h"

namespace quintora {

namespace plain {

namespace {

// How many bytes a character has, by the range that it lies in.
int bytesOf(unsigned long character) {
  return character < 0x80 ? 1 : character < 0x800 ? 2 : character < 0x10000 ? 3 : 4;
}

// Halves of surrogate pairs.
bool isHigh(unsigned long character) { return character >= 0xD800 && character <= 0xDBFF; }
bool isLow(unsigned long character) { return character >= 0xDC00 && character <= 0xDFFF; }

}  // namespace

std::optional<std::u16string> unitsOf(std::string_view bytes) {
  std::u16string text;
  for (size_t i = 0; i < bytes.size();) {
    const unsigned long first = static_cast<unsigned char>(bytes[i]);
    int count;
    unsigned long character;
    if (first / 128 == 0) {  // 0xxxxxxx
      count = 1;
      character = first;
    } else if (first / 32 == 6) {  // 110xxxxx
      count = 2;
      character = first % 32;
    } else if (first / 16 == 14) {  // 1110xxxx
      count = 3;
      character = first % 16;
    } else if (first / 8 == 30) {  // 11110xxx
      count = 4;
      character = first % 8;
    } else {
      return std::nullopt;
    }
    for (int k = 1; k < count; ++k) {
      if (i + static_cast<size_t>(k) >= bytes.size())
        return std::nullopt;
      const unsigned long next = static_cast<unsigned char>(bytes[i + static_cast<size_t>(k)]);
      if (next / 64 != 2)  // 10xxxxxx
        return std::nullopt;
      character = character * 64 + next % 64;
    }
    if (count != bytesOf(character) || character > 0x10FFFF)
      return std::nullopt;
    // Two halves that make a pair are one character of four bytes.
    if (!text.empty() && isHigh(text.back()) && isLow(character))
      return std::nullopt;
    if (character >= 0x10000) {
      text += static_cast<char16_t>(0xD800 + (character - 0x10000) / 1024);
      text += static_cast<char16_t>(0xDC00 + (character - 0x10000) % 1024);
    } else {
      text += static_cast<char16_t>(character);
    }
    i += static_cast<size_t>(count);
  }
  return text;
}

std::optional<std::u16string> fromUTF8(std::string_view bytes) {
  const std::optional<std::u16string> text = unitsOf(bytes);
  for (size_t i = 0; text && i < text->size(); ++i) {
    if (isHigh((*text)[i]) && i + 1 < text->size() && isLow((*text)[i + 1]))
      ++i;
    else if (isHigh((*text)[i]) || isLow((*text)[i]))
      return std::nullopt;
  }
  return text;
}

bool isUTF8(std::string_view bytes) { return fromUTF8(bytes).has_value(); }

std::string toUTF8(std::u16string_view text) {
  std::string bytes;
  for (size_t i = 0; i < text.size(); ++i) {
    unsigned long character = text[i];
    if (isHigh(character) && i + 1 < text.size() && isLow(text[i + 1])) {
      character = 0x10000 + (character - 0xD800) * 1024 + (text[i + 1] - 0xDC00ul);
      ++i;
    }
    const int count = bytesOf(character);
    std::string reversed;
    for (int k = 1; k < count; ++k) {
      reversed += static_cast<char>(0x80 + character % 64);
      character /= 64;
    }
    const unsigned long marks[] = {0, 0, 0xC0, 0xE0, 0xF0};
    bytes += static_cast<char>(marks[count] + character);
    bytes.append(reversed.rbegin(), reversed.rend());
  }
  return bytes;
}

std::u16string fromLatin1(std::string_view bytes) {
  std::u16string text;
  for (const char byte : bytes)
    text += static_cast<unsigned char>(byte);
  return text;
}

}  // namespace plain

}  // namespace quintora
