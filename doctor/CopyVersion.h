// The version of an installed copy of the bridge.
#pragma once

#include "doctor/Report.h"

namespace quintora {

// Reports the version of the copy at this path, or why this user cannot read it. A copy that is
// older than this program is a finding. The copy is not run: an older one would not know the
// question.
void reportVersion(Report& report, const char* path);

}  // namespace quintora
