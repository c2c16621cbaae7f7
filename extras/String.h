// The values that everything here works on. This header includes the standard library only, and
// nothing in extras/ includes anything from platform/ or bridge/.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "extras/StringMap.h"

namespace quintora {

// Unicode text in UTF-8. Lengths, positions and ranges of the operations count UTF-16 code units
// all the same (UTF16.h), so a position may fall between the halves of a surrogate pair; a half
// that stands alone is kept as the three bytes that UTF-8's rule gives its number. Every value may
// be absent (nullopt): an operation on an absent receiver yields false, zero or absent, the
// negative tests included.
using String = std::optional<std::string>;

// What stands for an absent text where one has to stand.
inline constexpr const char* kAbsentText = "(null)";

// Strings in the order in which they were added.
using Array = std::optional<std::vector<String>>;

// A map from text to text. The order of its entries has no meaning.
using Dictionary = std::optional<StringMap>;

// Bytes.
using Data = std::string;

// The length in UTF-16 code units; 0 for an absent text.
uint64_t length(const String& receiver);

// Ends the run at once, as an exception that nobody catches does: nothing has been or will be
// written to standard output, and the exit status is not 0. For what a container or an operation
// refuses outright: an absent key or value, an index beyond the end.
[[noreturn]] void raiseException();

// How raiseException ends the run. The handler must not return; until one is set it is std::abort.
void NSSetUncaughtExceptionHandler(void (*handler)());

}  // namespace quintora
