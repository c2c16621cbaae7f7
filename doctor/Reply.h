// The server's reply, before the bridge makes a page of it.
#pragma once

#include "doctor/Report.h"
#include "platform/HTTPClient.h"

namespace quintora {

// Reports on a reply that has come: status, length, charset. Returns whether its body can be
// decoded; if not, a finding says why.
bool reportReply(Report& report, const HTTPResponse& response);

}  // namespace quintora
