// Looks for lines of the preferences that were meant for the bridge but are ignored.
#pragma once

#include "doctor/Report.h"

namespace quintora {

// What is wrong with a line of the source: it misspells one of the bridge's keys, writes one in
// another case, or has no "=" after one.
Findings findingsOfLine(const String& source, std::string_view line);

// The key that the line sets if the bridge does not read it but its name speaks of a port or a
// protocol, so that it may have been meant for the bridge; absent otherwise.
String similarKeyOfLine(std::string_view line);

}  // namespace quintora
