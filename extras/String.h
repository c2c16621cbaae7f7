// The types of the values that all the code works on. Nothing in extras/ includes anything from
// platform/ or bridge/.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "extras/StringMap.h"

namespace quintora {

// A Unicode string, stored in UTF-8. All the same, the operations count lengths, positions and
// ranges in UTF-16 code units (UTF16.h), so a position may fall between the halves of a surrogate
// pair. An unpaired surrogate is stored as the three bytes into which UTF-8's scheme would encode
// its number. Every value may be absent (nullopt): an operation on an absent receiver yields false,
// zero or absent, negative tests included.
using String = std::optional<std::string>;

// Replaces an absent string in output.
inline constexpr const char* kAbsentText = "(null)";

// Strings in the order in which they were added.
using Array = std::optional<std::vector<String>>;

// A map from string to string. The order of its entries has no meaning.
using Dictionary = std::optional<StringMap>;

// Bytes.
using Data = std::string;

// The length in UTF-16 code units; 0 for an absent string.
uint64_t length(const String& receiver);

// Ends the run at once, as an uncaught exception does: nothing has been or will be written to
// standard output, and the exit status is not 0. For arguments that a container or an operation
// does not accept: an absent key or value, an index beyond the end.
[[noreturn]] void raiseException();

// How raiseException ends the run. The handler must not return; until one is set it is std::abort.
void NSSetUncaughtExceptionHandler(void (*handler)());

}  // namespace quintora
