// UTF-16 code units of texts that are kept in UTF-8. A character up to U+FFFF is one unit, a later
// one two: the halves of a surrogate pair.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace quintora {

// How many units a text has.
uint64_t unitCount(std::string_view text);

// A position between two units.
struct UnitPosition {
  size_t byte = 0;            // of the next character's first byte
  bool isWithinPair = false;  // between the halves of that character
};

// The position so many units after another one; the end when the text ends before.
UnitPosition positionAfter(std::string_view text, UnitPosition start, uint64_t units);

// The position so many units before the end, 0 is the end; the end, too, when there are not as
// many: counted modulo 2^64, such a position is larger than any.
UnitPosition positionBeforeEnd(std::string_view text, uint64_t units);

// The units between two positions; none when the second comes first.
std::string unitsBetween(std::string_view text, UnitPosition start, UnitPosition end);

// Appends a text. Halves that meet become the character that they make.
void appendUnits(std::string& text, std::string_view more);

// Calls with each piece between occurrences of a separator, which is not empty: always one more
// than there are occurrences, of which none overlap. Texts are compared unit by unit, so half of a
// pair is found within one.
template <typename Call>
void forEachPieceBetween(std::string_view text, std::string_view separator, Call call);

// The first occurrence of a needle, which is not empty, counted in units; kNoUnits without one.
inline constexpr uint64_t kNoUnits = UINT64_MAX;
uint64_t findUnits(std::string_view text, std::string_view needle);

// Whether the text begins with a low half or ends with a high one. Of such a text the bytes alone
// do not tell whether it occurs in another: the half may be part of a character there.
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
