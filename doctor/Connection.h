// How a copy gets its mode and its port, step by step, and likely mistakes in the preferences.
#pragma once

#include "bridge/ChooseConnection.h"
#include "doctor/Report.h"

namespace quintora {

// To be called after the choice has been made, which reads only the sources that it needs.
void reportPreferences(Report& report, const Preferences& preferences);

void reportMode(Report& report, const ConnectionChoice& choice, Preferences& preferences);

void reportPort(Report& report, const ConnectionChoice& choice, const String& commandName,
                Preferences& preferences);

}  // namespace quintora
