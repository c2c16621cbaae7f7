#include "extras/Uppercase.h"

#include <algorithm>

#include "extras/Characters.h"

namespace quintora {

char32_t simpleUppercase(char32_t character) {
  const UppercaseRun* const end = kUppercaseRuns + kUppercaseRunCount;
  const UppercaseRun* const run =
      std::lower_bound(kUppercaseRuns, end, character,
                       [](const UppercaseRun& r, char32_t value) { return r.last < value; });
  if (run == end || character < run->first || (character - run->first) % run->step != 0)
    return character;
  return static_cast<char32_t>(static_cast<int32_t>(character) + run->offset);
}

void appendUppercase(std::string& text, char32_t character) {
  const UppercaseSpecial* const end = kUppercaseSpecials + kUppercaseSpecialCount;
  const UppercaseSpecial* const special = std::lower_bound(
      kUppercaseSpecials, end, character,
      [](const UppercaseSpecial& s, char32_t value) { return s.character < value; });
  if (special == end || special->character != character) {
    appendUTF8(text, simpleUppercase(character));
    return;
  }
  for (const char16_t* upper = special->upper; *upper != 0; ++upper)
    appendUTF8(text, *upper);
}

}  // namespace quintora
