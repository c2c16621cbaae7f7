// Text encodings by their charset names on the Internet.
#pragma once

#include "extras/TextEncoding.h"

namespace quintora {

// The identifier of the encoding with this IANA charset name, ignoring case and marks such as
// hyphens (CharsetNames.h). An unknown name has an identifier, too, which is not 0 and in which
// nothing can be decoded. So has a string that is no charset name, such as one with the options
// that converters accept after a slash.
TextEncoding textEncodingFromIANACharSetName(const String& name);

// Decodes the bytes of a reply; the identifier is one from above or from TextEncoding.h. Absent
// when a byte is not valid in the encoding. Without any bytes: absent only for an unknown name. A
// UTF-8 byte-order mark at the start is removed.
String decodeData(Data bytes, TextEncoding encoding);

// How many of the bytes, from the first on, decodeData can decode: all, or those before the first
// invalid sequence. For diagnosis only: it takes as long as dozens of decodings.
size_t fittingBytes(std::string_view bytes, TextEncoding encoding);

}  // namespace quintora
