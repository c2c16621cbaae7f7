// Apple-event mode: the exchange with the server as one Apple event.
#pragma once

#include "extras/String.h"

namespace quintora {

// Sends the statement to the application with the signature 'QUIZ' and waits for the reply. Puts
// the reply's text, or a message, into cgiResult; a text that is not UTF-8 makes it absent.
//
// Of the statement in UTF-8, only as many bytes are sent as it has UTF-16 code units: with
// characters beyond ASCII, its end is missing. Servers expect that, so it must stay.
void SendAppleEvent(const String& statement);

// The same. Returns whether a reply has come; otherwise cgiResult is a message.
bool exchangeAppleEvent(const String& statement);

}  // namespace quintora
