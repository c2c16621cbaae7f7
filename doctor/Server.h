// What comes back from the server of a copy.
#pragma once

#include "bridge/ChooseConnection.h"
#include "doctor/Report.h"

namespace quintora {

// Looks whether the server can be reached, in the mode that the request state holds; when probing,
// also sends one request and shows what the bridge would print.
void reportServer(Report& report, const ConnectionChoice& choice, bool isProbing);

}  // namespace quintora
