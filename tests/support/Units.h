// Texts by their UTF-16 code units, for those that no literal in UTF-8 can hold.
#pragma once

#include <string>
#include <string_view>

#include "extras/UTF16.h"

namespace quintora {

// units(u"\xD83D") is the text of half of a surrogate pair.
inline std::string units(std::u16string_view codeUnits) { return textOfUnits(codeUnits); }

}  // namespace quintora
