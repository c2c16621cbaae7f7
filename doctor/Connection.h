// Mode and port of a copy, step by step, and what in the preferences may not have been meant so.
#pragma once

#include "bridge/ChooseConnection.h"
#include "doctor/Report.h"

namespace quintora {

// To be called after the choice has been made: what was not needed for it has not been read.
void reportPreferences(Report& report, const Preferences& preferences);

void reportMode(Report& report, const ConnectionChoice& choice, Preferences& preferences);

void reportPort(Report& report, const ConnectionChoice& choice, const String& commandName,
                Preferences& preferences);

}  // namespace quintora
