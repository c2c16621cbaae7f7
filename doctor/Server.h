// Whether a copy's server can be reached, and what it replies.
#pragma once

#include "bridge/ChooseConnection.h"
#include "doctor/Report.h"

namespace quintora {

// Reports whether the server can be reached in the mode that the request state records. When
// probing, also sends one request and shows what the bridge would print.
void reportServer(Report& report, const ConnectionChoice& choice, bool isProbing);

}  // namespace quintora
