// The raw contents of the sources of preferences, for diagnosis.
#pragma once

#include "platform/Preferences.h"

namespace quintora {

// The lines of a source that has been read, comments included. Where preferences are not a text
// file: "KEY =" for each key of the domain. None when the source can no longer be read.
std::vector<std::string> storedLines(const String& domain, const Preferences::Source& source);

}  // namespace quintora
