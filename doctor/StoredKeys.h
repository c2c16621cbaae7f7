// Looks for lines of the preferences that were meant for the bridge but are ignored.
#pragma once

#include "doctor/Report.h"

namespace quintora {

// What is wrong with a line of the source: it misspells one of the bridge's keys, writes one in
// another case, or has no "=" after one.
Findings findingsOfLine(const String& source, std::string_view line);

}  // namespace quintora
