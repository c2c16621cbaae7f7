#include "extras/UTF16.h"

#include <algorithm>

#include "extras/Characters.h"
#include "extras/String.h"

namespace quintora {

namespace {

constexpr size_t kHalfBytes = 3;  // of an unpaired surrogate
constexpr size_t kPairBytes = 4;

// The unpaired surrogate at the start or at the end of a text; 0 when there is none.
char32_t halfAtStart(std::string_view text) {
  if (text.empty() || text.front() != '\xED')  // the first byte of every surrogate
    return 0;
  const char32_t first = characterAt(text, 0).value;
  return isSurrogate(first) ? first : 0;
}
char32_t halfAtEnd(std::string_view text) {
  if (text.size() < kHalfBytes || bytesOfCharacter(text[text.size() - kHalfBytes]) != kHalfBytes)
    return 0;
  return halfAtStart(text.substr(text.size() - kHalfBytes));
}

}  // namespace

// Counts the first byte of a character as one unit, that of four bytes as two, and no other byte.
uint64_t unitCount(std::string_view text) {
  uint64_t count = 0;
  for (const char c : text) {
    const unsigned char byte = static_cast<unsigned char>(c);
    count += static_cast<uint64_t>((byte & 0xC0) != 0x80) + static_cast<uint64_t>(byte >= 0xF0);
  }
  return count;
}

uint64_t length(const String& receiver) { return receiver ? unitCount(*receiver) : 0; }

UnitPosition positionAfter(std::string_view text, UnitPosition start, uint64_t units) {
  UnitPosition at = start;
  for (; units > 0 && at.byte < text.size(); --units) {
    const size_t bytes = bytesOfCharacter(text[at.byte]);
    const bool isFirstHalf = bytes == kPairBytes && !at.isWithinPair;
    at = {isFirstHalf ? at.byte : at.byte + bytes, isFirstHalf};
  }
  return at;
}

UnitPosition positionBeforeEnd(std::string_view text, uint64_t units) {
  const UnitPosition end = {text.size(), false};
  UnitPosition at = end;
  for (; units > 0; --units) {
    if (at.isWithinPair) {
      at.isWithinPair = false;
      continue;
    }
    if (at.byte == 0)
      return end;
    do {
      --at.byte;
    } while (isContinuation(text[at.byte]));
    at.isWithinPair = bytesOfCharacter(text[at.byte]) == kPairBytes;
  }
  return at;
}

std::string unitsBetween(std::string_view text, UnitPosition start, UnitPosition end) {
  std::string result;
  if (end.byte < start.byte || (end.byte == start.byte && end.isWithinPair <= start.isWithinPair))
    return result;
  if (start.isWithinPair) {
    appendUTF8(result, lowSurrogate(characterAt(text, start.byte).value));
    start.byte += kPairBytes;
  }
  result.append(text, start.byte, end.byte - start.byte);
  if (end.isWithinPair)
    appendUTF8(result, highSurrogate(characterAt(text, end.byte).value));
  return result;
}

void appendUnits(std::string& text, std::string_view more) {
  const char32_t low = halfAtStart(more);
  const char32_t high = isLowSurrogate(low) ? halfAtEnd(text) : 0;
  if (isHighSurrogate(high)) {
    text.resize(text.size() - kHalfBytes);
    appendUTF8(text, pairedSurrogates(high, low));
    more.remove_prefix(kHalfBytes);
  }
  text += more;
}

bool hasLooseHalf(std::string_view text) {
  return isLowSurrogate(halfAtStart(text)) || isHighSurrogate(halfAtEnd(text));
}

uint64_t findUnits(std::string_view text, std::string_view needle) {
  if (!hasLooseHalf(needle)) {
    const size_t at = text.find(needle);
    return at == text.npos ? kNoUnits : unitCount(text.substr(0, at));
  }
  const size_t at = unitsOf(text).find(unitsOf(needle));
  return at == std::u16string::npos ? kNoUnits : at;
}

std::u16string unitsOf(std::string_view text) {
  std::u16string units;
  units.reserve(text.size());
  for (size_t at = 0; at < text.size();) {
    const Character character = characterAt(text, at);
    if (character.bytes == kPairBytes) {
      units += highSurrogate(character.value);
      units += lowSurrogate(character.value);
    } else {
      units += static_cast<char16_t>(character.value);
    }
    at += character.bytes;
  }
  return units;
}

std::string textOfUnits(std::u16string_view units) {
  std::string text;
  for (size_t at = 0; at < units.size(); ++at) {
    const bool isPair =
        isHighSurrogate(units[at]) && at + 1 < units.size() && isLowSurrogate(units[at + 1]);
    appendUTF8(text, isPair ? pairedSurrogates(units[at], units[at + 1]) : units[at]);
    at += isPair ? 1 : 0;
  }
  return text;
}

}  // namespace quintora
