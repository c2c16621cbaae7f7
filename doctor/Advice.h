// What to do about a server that does not reply.
#pragma once

#include "bridge/ChooseConnection.h"

namespace quintora {

// The effect of every failure for which the bridge has a message.
inline constexpr const char* kInsteadOfPage =
    "Every visitor sees a message that says so, and no page.";

// What to do about a sentence of the HTTP client, or about kMalformedURL.
std::string fixOfFailure(std::string_view sentence, const ConnectionChoice& choice);

// How to find out which program listens on a port.
std::string findingListener(int64_t port);

}  // namespace quintora
