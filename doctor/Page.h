// A page as a web server and a browser take it: by RFC 3875, and by what Apache does with it.
#pragma once

#include "bridge/FinishResponse.h"
#include "doctor/Report.h"

namespace quintora {

// What is wrong with what the bridge prints.
Findings findingsOfPage(const FinishedResponse& response);

// Whether a visitor sees nothing of it, and was not meant to go elsewhere.
bool isEmptyPage(const FinishedResponse& response);

}  // namespace quintora
