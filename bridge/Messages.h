// Every text of the bridge's own that a visitor may see; docs/messages.md explains them. They are
// kept as they are, odd ones too: servers and people rely on them.
#pragma once

#include "extras/Message.h"

namespace quintora {

inline constexpr const char* kOutOfMemory = "Quintora CGI error: Out of memory.";

// What becomes of the request replaces this one before anything is printed.
inline constexpr const char* kNoMemoryForForm = "Quintora CGI Error: Out of memory (form data).";

// Tunnel mode.
inline constexpr const char* kMalformedURL = "CGI tunnel error: malformed URL.";
inline constexpr Message<1> kRequestError = {"CGI tunnel request error:", ""};
inline constexpr const char* kBinaryData = "Error: CGI tunnel returned binary data.";

// Apple-event mode; the values are statuses of the Apple Event Manager, and a size in bytes.
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
