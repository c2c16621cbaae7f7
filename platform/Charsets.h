// Text encodings by the names that the Internet knows them by.
#pragma once

#include "extras/TextEncoding.h"

namespace quintora {

// The identifier of the encoding that an IANA charset name stands for, in any case. An unknown name
// has an identifier, too, which is not 0 and in which nothing can be decoded; so has a text that is
// not a charset name, such as one with the options that converters take after a slash.
TextEncoding textEncodingFromIANACharSetName(const String& name);

// Decodes the bytes of a reply in the encoding that an identifier from above or from TextEncoding.h
// stands for; absent when one byte is not valid in it. Without any bytes: absent only for a name
// that nobody knows. A UTF-8 byte-order mark at the start is no part of the text.
String decodeData(Data bytes, TextEncoding encoding);

// How many of the bytes, from the first on, decodeData can decode: all, or those before the
// sequence that does not fit. For a person who looks for it: takes as long as dozens of decodings.
size_t fittingBytes(std::string_view bytes, TextEncoding encoding);

}  // namespace quintora
