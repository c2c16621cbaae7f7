// The CGI request, taken into whichever container of the request state exists.
#pragma once

#include "extras/String.h"

namespace quintora {

// The CGI variables that are forwarded, in their order.
inline constexpr const char16_t* kCGIVariables[] = {
    u"SERVER_SOFTWARE",      u"QUERY_STRING",     u"REMOTE_ADDR",  u"REMOTE_PORT",
    u"REQUEST_METHOD",       u"SERVER_ADDR",      u"SERVER_ADMIN", u"SERVER_NAME",
    u"SERVER_PORT",          u"SERVER_SIGNATURE", u"HTTP_ACCEPT",  u"HTTP_ACCEPT_ENCODING",
    u"HTTP_ACCEPT_LANGUAGE", u"HTTP_CONNECTION",  u"HTTP_HOST",    u"HTTP_REFERER",
    u"HTTP_USER_AGENT",      u"HTTP_COOKIE",
};

// The environment variable's value; the empty text when it is not set, absent when its bytes are
// not valid UTF-8.
String getCGIVariable(const String& name);

// Forwards one CGI variable, an unset one as the empty text. In tunnel mode a value that is absent
// ends the run (setObjectForKey).
void AddEnvironmentVariable(const String& name);

// Forwards the CGI variables, in tunnel mode the bridge's own path and file name, and the form.
void CaptureRequest(const String& bridgePath, const String& commandName);

// Reads the form body, CONTENT_LENGTH bytes of standard input, and forwards its fields. Sets
// postDataCode in any case. Without a buffer for the body it puts a message into cgiResult and
// reads nothing. A body that is not valid UTF-8 has no fields; in tunnel mode a field that cannot
// be decoded ends the run (setObjectForKey).
void AddPostData();

}  // namespace quintora
