// The bridge's own messages to the visitor; docs/messages.md explains them. Their wording must not
// change, odd as some of it is: servers and people rely on it.
#pragma once

#include "extras/Message.h"

namespace quintora {

inline constexpr const char* kOutOfMemory = "Quintora CGI error: Out of memory.";

// Never printed: the outcome of the exchange with the server replaces it.
inline constexpr const char* kNoMemoryForForm = "Quintora CGI Error: Out of memory (form data).";

// Tunnel mode.
inline constexpr const char* kMalformedURL = "CGI tunnel error: malformed URL.";
inline constexpr Message<1> kRequestError = {"CGI tunnel request error:", ""};
inline constexpr const char* kBinaryData = "Error: CGI tunnel returned binary data.";

// Apple-event mode. The values are status codes of the Apple Event Manager and, in
// kNoMemoryForReply, a size.
inline constexpr const char* kNotRunning = "Quintora CGI error: Quintora Server is not running.";
inline constexpr Message<1> kCreateDescError = {"Quintora CGI error ",
                                                " returned by AECreateDesc()"};
inline constexpr Message<1> kCreateAppleEventError = {"Quintora CGI error ",
                                                      " returned by AECreateAppleEvent()"};
inline constexpr Message<1> kPutParamPtrError = {"Quintora CGI error ",
                                                 " returned by AEPutParamPtr()"};
inline constexpr Message<1> kSendMessageError = {"Quintora CGI error ",
                                                 " returned by AESendMessage()"};
inline constexpr Message<1> kNoMemoryForReply = {"Quintora CGI error: Out of memory (reply needed ",
                                                 " bytes"};
inline constexpr Message<1> kGetParamPtrError = {"Quintora CGI error ",
                                                 " returned by AEGetParamPtr()"};

}  // namespace quintora
