// The sentences of the HTTP client, which a visitor sees after kRequestError; docs/messages.md
// explains them. Their first value is the peer, as in "127.0.0.1 port 8080".
#pragma once

#include "extras/Message.h"

namespace quintora {

inline constexpr Message<1> kNoSuchPort = {"Port ",
                                           " does not exist: TCP ports go from 1 to 65535."};
inline constexpr Message<1> kRefused = {"", " refused the connection."};
inline constexpr Message<2> kIdle = {"", " neither sent nor took a byte for ", " seconds."};
inline constexpr Message<1> kClosedWithoutReply = {"", " closed the connection without a reply."};
inline constexpr Message<1> kClosedTooSoon = {
    "", " closed the connection before its reply was complete."};

// System calls that failed; the second value is the system's sentence for the error.
inline constexpr Message<2> kSocketFailed = {"Making a socket for ", " failed: ", "."};
inline constexpr Message<2> kConnectionFailed = {"The connection to ", " failed: ", "."};
inline constexpr Message<2> kWaitingFailed = {"Waiting for ", " failed: ", "."};
inline constexpr Message<2> kExchangeFailed = {"The exchange with ", " failed: ", "."};

// A reply that is not HTTP; the second value is one of the faults below.
inline constexpr Message<2> kInvalidReply = {"The reply of ", " is not valid HTTP: ", "."};
inline constexpr const char* kMalformedStatusLine = "its status line is malformed";
inline constexpr const char* kLonelyContinuation = "its first header line is a continuation";
inline constexpr const char* kMalformedHeaderLine = "a header line has no name or no colon";
inline constexpr const char* kMalformedLine = "one of its lines holds a NUL or a lone CR";
inline constexpr const char* kLongLines =
    "its head or the lines between its chunks are longer than 256 KiB";
inline constexpr const char* kInvalidContentLength = "its Content-Length is not one number";
inline constexpr const char* kUnknownCoding = "its Transfer-Encoding is not chunked";
inline constexpr const char* kInvalidChunkSize = "a chunk has no valid size";
inline constexpr const char* kLongChunk = "a chunk is longer than it says";
inline constexpr const char* kMalformedChunkLine = "a line around a chunk does not end with CR LF";

}  // namespace quintora
