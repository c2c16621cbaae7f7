// Looks for mistakes in QZQuintoraCloudServerPorts.
#pragma once

#include "doctor/Report.h"

namespace quintora {

// What is wrong with the entries of a port table, including those that this copy does not use.
Findings findingsOfTable(std::string_view table);

// The keys of a port table as a list for a sentence; empty when it has none.
std::string keysOfTable(std::string_view table);

// What follows the number in the text of a port, without blanks; empty when nothing does.
std::string_view leftoverOf(std::string_view portText);

}  // namespace quintora
