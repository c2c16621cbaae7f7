// Tunnel mode: the exchange with the server application as one HTTP POST.
#pragma once

#include "platform/Charsets.h"
#include "platform/HTTPClient.h"

namespace quintora {

// Posts postParameters to the server's port on this machine, waits for the reply and leaves its
// text, or a message, in cgiResult, which is never absent afterwards. Never sends twice.
void SendLocalURL();

// The request that SendLocalURL sends; absent when no URL can be made of the port.
std::optional<HTTPRequest> localRequest();

// Whether a reply has come whose text can be told: one with a body and a declared charset.
bool isReadableReply(const HTTPResponse& response);

// What cgiResult becomes for the client's answer.
String resultOfResponse(const HTTPResponse& response);

// The text of a reply whose declared charset has this identifier: 0 leaves the encoding to be
// found out. What cannot be decoded gives the empty text.
String textOfReply(std::string_view body, TextEncoding encoding);

}  // namespace quintora
