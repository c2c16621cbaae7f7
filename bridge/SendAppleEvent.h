// Apple-event mode: the exchange with the server application as one Apple event.
#pragma once

#include "extras/String.h"

namespace quintora {

// Sends the statement to the application with the signature 'QUIZ', waits for the reply and leaves
// its text, or a message, in cgiResult, which is absent afterwards when the text is not UTF-8.
//
// The server gets as many bytes of the statement's UTF-8 form as it has UTF-16 units, so with
// characters beyond ASCII the end is missing. Servers are used to it, and it stays so.
void SendAppleEvent(const String& statement);

// The same; returns whether a reply has come, so that cgiResult is no message.
bool exchangeAppleEvent(const String& statement);

}  // namespace quintora
