// The charset names whose encodings are decoded by the program itself, the same on every system.
#pragma once

#include "extras/TextEncoding.h"

namespace quintora {

// The identifier of every name that nobody knows: none of an encoding, and not 0.
inline constexpr TextEncoding kUnknownTextEncoding = 0xFFFFFFFF;

// Whether a charset name is one of those, each of which has a blank behind it. As in ICU, neither
// the case of letters counts nor any mark, so latin-1 is latin1, and windows1252 windows-1252.
bool isAmongCharsetNames(std::string_view name, std::string_view names);

// The encoding that a charset name stands for; kNoTextEncoding when it is not built in.
TextEncoding builtInTextEncoding(std::string_view name);

// Whether the name is made of letters, digits and "-_:.", at least one of them, as all registered
// charset names are but for a few that no converter has.
bool isCharsetName(std::string_view name);

}  // namespace quintora
