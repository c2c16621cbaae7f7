// Apple-event mode: the exchange with the server application as one Apple event.
#pragma once

#include "extras/String.h"

// Sends the statement and leaves the reply's text, or a message, in cgiResult.
void SendAppleEvent(const String& statement);
