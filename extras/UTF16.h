// UTF-16 code units of texts that are stored in UTF-8. A character up to U+FFFF is one unit; any
// other is two, the halves of a surrogate pair.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace quintora {

// How many units a text has.
uint64_t unitCount(std::string_view text);

// A position between two units.
struct UnitPosition {
  size_t byte = 0;            // the index of the next character's first byte
  bool isWithinPair = false;  // between the halves of that character
};

// The position this many units after `start`; the end when the text has fewer.
UnitPosition positionAfter(std::string_view text, UnitPosition start, uint64_t units);

// The position this many units before the end; the end itself when the text has fewer: modulo 2^64
// such a position is larger than any other.
UnitPosition positionBeforeEnd(std::string_view text, uint64_t units);

// The units between two positions; none when the second comes before the first.
std::string unitsBetween(std::string_view text, UnitPosition start, UnitPosition end);

// Appends a text. Two halves that meet form a character.
void appendUnits(std::string& text, std::string_view more);

// Calls with each piece between occurrences of a separator, which must not be empty: always one
// piece more than there are occurrences, which do not overlap. The comparison is unit by unit, so
// one half is found within a pair.
template <typename Call>
void forEachPieceBetween(std::string_view text, std::string_view separator, Call call);

// The position of the first occurrence of a needle, which must not be empty, in units; kNoUnits
// when there is none.
inline constexpr uint64_t kNoUnits = UINT64_MAX;
uint64_t findUnits(std::string_view text, std::string_view needle);

// Whether the text begins with a low half or ends with a high one. Comparing bytes does not find
// such a text in another, where the half may be part of a character.
bool hasLooseHalf(std::string_view text);

// The units themselves, for the rare texts that have a loose half.
std::u16string unitsOf(std::string_view text);
std::string textOfUnits(std::u16string_view units);

template <typename Call>
void forEachPieceBetween(std::string_view text, std::string_view separator, Call call) {
  if (!hasLooseHalf(separator)) {
    size_t from = 0;
    for (size_t at; (at = text.find(separator, from)) != text.npos; from = at + separator.size())
      call(text.substr(from, at - from));
    call(text.substr(from));
    return;
  }
  const std::u16string units = unitsOf(text);
  const std::u16string wanted = unitsOf(separator);
  size_t from = 0;
  for (size_t at; (at = units.find(wanted, from)) != units.npos; from = at + wanted.size())
    call(std::string_view(textOfUnits({units.data() + from, at - from})));
  call(std::string_view(textOfUnits(std::u16string_view(units).substr(from))));
}

}  // namespace quintora
