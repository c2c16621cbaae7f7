// Upper-cases single characters by the Unicode Character Database, the same in every locale;
// UppercaseTable.cpp says which version.
#pragma once

#include <cstdint>
#include <string>

namespace quintora {

// The character's simple mapping (one character to one); itself where it has none.
char32_t simpleUppercase(char32_t character);

// Appends the character's full mapping, up to three characters: the unconditional one of
// SpecialCasing.txt, if there is one, else the simple one.
void appendUppercase(std::string& text, char32_t character);

// The tables for both, written by generate_uppercase_table.py and sorted by character.
struct UppercaseRun {
  uint32_t first, last, step;  // the characters first, first + step, ..., last
  int32_t offset;              // from each of them to its upper case
};
struct UppercaseSpecial {
  uint16_t character;  // all are in the Basic Multilingual Plane
  char16_t upper[4];   // ended by a zero unit
};
extern const UppercaseRun kUppercaseRuns[];
extern const size_t kUppercaseRunCount;
extern const UppercaseSpecial kUppercaseSpecials[];
extern const size_t kUppercaseSpecialCount;

}  // namespace quintora
