// Checks a page as a web server and a browser would: by RFC 3875, and by how Apache behaves.
#pragma once

#include "bridge/FinishResponse.h"
#include "doctor/Report.h"

namespace quintora {

// What is wrong with what the bridge prints.
Findings findingsOfPage(const FinishedResponse& response);

// Whether the visitor sees an empty page; a redirect and the status 204 are none.
bool isEmptyPage(const FinishedResponse& response);

}  // namespace quintora
