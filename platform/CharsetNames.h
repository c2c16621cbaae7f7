// The charset names whose encodings extras/TextEncoding.h decodes, the same on every system.
#pragma once

#include "extras/TextEncoding.h"

// The identifier of every name that nobody knows: none of an encoding, and not 0.
inline constexpr TextEncoding kUnknownTextEncoding = 0xFFFFFFFF;

// The encoding that a charset name in any case stands for; kNoTextEncoding when it is not built in.
TextEncoding builtInTextEncoding(std::string_view name);

// Whether the name has the characters of a registered charset name, at least one.
bool isCharsetName(std::string_view name);
