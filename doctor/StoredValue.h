// The values of the preferences: where they come from, and where a missing one belongs.
#pragma once

#include "doctor/Report.h"
#include "platform/Preferences.h"

namespace quintora {

// Reports a stored value and the source that it comes from. A source in the home directory is a
// finding: a web server usually starts its CGI programs without HOME.
void reportValue(Report& report, const char* key, const String& value, Preferences& preferences);

// The source in which a value of the key takes effect under a web server: the one that sets the key
// or, where that is in the home directory or there is none, the last one.
String sourceForKey(const char* key);

}  // namespace quintora
