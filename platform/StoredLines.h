// What is stored where preferences are read from, for a person who looks for a mistake in it.
#pragma once

#include "platform/Preferences.h"

namespace quintora {

// The lines of a source of the domain's preferences that has been read, as they are written there,
// comments included. Where preferences are no text: "KEY =" for each key of the domain. None when
// the source cannot be read any more.
std::vector<std::string> storedLines(const String& domain, const Preferences::Source& source);

}  // namespace quintora
