// Whether a copy's server can be reached, and what it replies.
#pragma once

#include "bridge/ChooseConnection.h"
#include "doctor/Report.h"

namespace quintora {

struct Examination {
  Report& report;
  const ConnectionChoice& choice;
  bool isProbing;
  bool hasLikelyCause;  // earlier findings say what may keep the copy from its server
};

// Reports whether the server can be reached in the mode that the request state records. When
// probing, also sends one request and shows what the bridge would print.
void reportServer(const Examination& examination);

}  // namespace quintora
