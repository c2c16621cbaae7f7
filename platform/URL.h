// The parts of an http URL.
#pragma once

#include "extras/String.h"

namespace quintora {

struct URL {
  std::string host;
  std::string port;  // decimal digits, however many
  std::string path;  // with its "/", and with what follows it
};

// Reads "http://host:port/path" by RFC 3986. The port must be there and is made of digits only, so
// that a negative one is refused; the host is a name or an IPv4 address; the path has no escapes.
// Absent when the text is no such URL.
std::optional<URL> URLWithString(const String& text);

}  // namespace quintora
