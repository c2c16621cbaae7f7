// The names of the charsets that the bridge decodes itself, the same on every system.
#pragma once

#include "extras/TextEncoding.h"

namespace quintora {

// The identifier of every unknown name: not 0, and not that of an encoding.
inline constexpr TextEncoding kUnknownTextEncoding = 0xFFFFFFFF;

// Whether a charset name is one of `names`, each of which is followed by a blank. As in ICU, case
// and punctuation are ignored: latin-1 is latin1, and windows1252 is windows-1252.
bool isAmongCharsetNames(std::string_view name, std::string_view names);

// The encoding that a charset name stands for; kNoTextEncoding when it is not built in.
TextEncoding builtInTextEncoding(std::string_view name);

// Whether the name consists of letters, digits and "-_:.", at least one and at most 100 of them. So
// do all registered charset names except a few that no converter has. A server may send a longer
// one, which would be compared with each known name.
bool isCharsetName(std::string_view name);

}  // namespace quintora
