// What to do about a server that does not reply.
#pragma once

#include "bridge/ChooseConnection.h"

namespace quintora {

// The effect of whatever the bridge has a text for.
inline constexpr const char* kInsteadOfPage =
    "Every visitor sees a text that says so, and no page.";

// For a sentence of the HTTP client, or the message on a port of which no URL can be made.
std::string fixOfFailure(std::string_view sentence, const ConnectionChoice& choice);

// How to learn which program listens on a port.
std::string findingListener(int64_t port);

}  // namespace quintora
