// The mistakes that can be made in QZQuintoraCloudServerPorts.
#pragma once

#include "doctor/Report.h"

namespace quintora {

// What is wrong with entries of a port table, those included that this copy does not use.
Findings findingsOfTable(std::string_view table);

// The keys of a port table as a list for a sentence; empty when it has none.
std::string keysOfTable(std::string_view table);

// What follows a port's number in its text, without blanks; empty when that is all there is.
std::string_view leftoverOf(std::string_view portText);

}  // namespace quintora
