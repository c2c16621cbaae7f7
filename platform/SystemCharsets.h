// The charsets that only the system's converter has: CoreFoundation on macOS, iconv elsewhere. What
// uses charsets includes Charsets.h, which knows the others, too.
#pragma once

#include "extras/TextEncoding.h"

namespace quintora {

// The identifier of a charset, in any case, by a name that is no built-in charset's. A name that
// the system does not know has an identifier, too, which is not 0 and in which nothing can be
// decoded.
TextEncoding systemTextEncoding(const std::string& name);

// Decodes the bytes of a reply in the encoding of such an identifier; absent when one byte is not
// valid in it, or when the identifier is none.
String decodedBySystem(std::string_view bytes, TextEncoding encoding);

}  // namespace quintora
