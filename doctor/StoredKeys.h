// Lines of the preferences that were meant for the bridge and do not reach it.
#pragma once

#include "doctor/Report.h"

namespace quintora {

// What is wrong with a line of the source: a key that is nearly one of those that are read, in
// another case or a few letters off, or one without its "=".
Findings findingsOfLine(const String& source, std::string_view line);

}  // namespace quintora
