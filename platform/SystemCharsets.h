// The charsets that only the system's converter has: CoreFoundation on macOS, iconv elsewhere. For
// Charsets.cpp; all other code includes Charsets.h, which covers all charsets.
#pragma once

#include "extras/TextEncoding.h"

namespace quintora {

// The identifier of a charset that is not built in, by its name, ignoring case. A name that the
// system does not know has an identifier, too, which is not 0 and in which nothing can be decoded.
TextEncoding systemTextEncoding(const std::string& name);

// Decodes the bytes of a reply in the encoding of such an identifier. Absent when a byte is not
// valid in it, or when the identifier is not one of these.
String decodedBySystem(std::string_view bytes, TextEncoding encoding);

}  // namespace quintora
