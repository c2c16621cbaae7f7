// Reads the CGI request into whichever container of the request state exists.
#pragma once

#include "extras/String.h"

namespace quintora {

// The CGI variables to forward, in this order.
inline constexpr const char* kCGIVariables[] = {
    "SERVER_SOFTWARE",      "QUERY_STRING",     "REMOTE_ADDR",  "REMOTE_PORT",
    "REQUEST_METHOD",       "SERVER_ADDR",      "SERVER_ADMIN", "SERVER_NAME",
    "SERVER_PORT",          "SERVER_SIGNATURE", "HTTP_ACCEPT",  "HTTP_ACCEPT_ENCODING",
    "HTTP_ACCEPT_LANGUAGE", "HTTP_CONNECTION",  "HTTP_HOST",    "HTTP_REFERER",
    "HTTP_USER_AGENT",      "HTTP_COOKIE",
};

// The environment variable's value: empty when it is not set, absent when its bytes are not valid
// UTF-8.
String getCGIVariable(const char* name);

// Forwards one CGI variable, an unset one as the empty string. In tunnel mode a value that is not
// valid UTF-8 ends the run (setObjectForKey).
void AddEnvironmentVariable(const char* name);

// Forwards the CGI variables, in tunnel mode the bridge's own path and file name, and the form.
void CaptureRequest(const String& bridgePath, const String& commandName);

// Reads the form body, CONTENT_LENGTH bytes of standard input, and forwards its fields. Sets
// postDataCode in any case. When there is no memory for the body, puts a message into cgiResult and
// reads nothing. A body that is not valid UTF-8 has no fields; in tunnel mode a field that cannot
// be decoded ends the run (setObjectForKey).
void AddPostData();

}  // namespace quintora
