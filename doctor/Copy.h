// The file that a web server would start.
#pragma once

#include "doctor/Report.h"

namespace quintora {

void reportCopy(Report& report, const char* path);

}  // namespace quintora
