#include "platform/charsets/CharsetNames.h"

#include <algorithm>

#include "extras/Characters.h"

namespace quintora {

namespace {

struct CharsetName {
  std::string_view name;  // lower-case
  TextEncoding encoding;
};

// From the IANA character-set registry (names and aliases, MIBenum 3, 4, 106, 1013, 1014, 1015 and
// 2027), and three names that it does not have and servers use: utf8, ascii and x-mac-roman.
constexpr CharsetName kBuiltInNames[] = {
    {"utf-8", kUTF8TextEncoding},
    {"utf8", kUTF8TextEncoding},
    {"csutf8", kUTF8TextEncoding},
    {"iso-8859-1", kISOLatin1TextEncoding},
    {"iso_8859-1", kISOLatin1TextEncoding},
    {"iso_8859-1:1987", kISOLatin1TextEncoding},
    {"iso-ir-100", kISOLatin1TextEncoding},
    {"latin1", kISOLatin1TextEncoding},
    {"l1", kISOLatin1TextEncoding},
    {"ibm819", kISOLatin1TextEncoding},
    {"cp819", kISOLatin1TextEncoding},
    {"csisolatin1", kISOLatin1TextEncoding},
    {"us-ascii", kASCIITextEncoding},
    {"ascii", kASCIITextEncoding},
    {"iso-ir-6", kASCIITextEncoding},
    {"ansi_x3.4-1968", kASCIITextEncoding},
    {"ansi_x3.4-1986", kASCIITextEncoding},
    {"iso_646.irv:1991", kASCIITextEncoding},
    {"iso646-us", kASCIITextEncoding},
    {"us", kASCIITextEncoding},
    {"ibm367", kASCIITextEncoding},
    {"cp367", kASCIITextEncoding},
    {"csascii", kASCIITextEncoding},
    {"utf-16", kUTF16TextEncoding},
    {"csutf16", kUTF16TextEncoding},
    {"utf-16be", kUTF16BigEndianTextEncoding},
    {"csutf16be", kUTF16BigEndianTextEncoding},
    {"utf-16le", kUTF16LittleEndianTextEncoding},
    {"csutf16le", kUTF16LittleEndianTextEncoding},
    {"macintosh", kMacOSRomanTextEncoding},
    {"mac", kMacOSRomanTextEncoding},
    {"csmacintosh", kMacOSRomanTextEncoding},
    {"x-mac-roman", kMacOSRomanTextEncoding},
};

}  // namespace

TextEncoding builtInTextEncoding(std::string_view name) {
  for (const CharsetName& known : kBuiltInNames) {
    if (isEqualIgnoringASCIICase(name, known.name))
      return known.encoding;
  }
  return kNoTextEncoding;
}

// Of the characters in RFC 2978 and in older registered names those that every converter reads: the
// C library of GNU leaves the others out, and would take "utf{-8" for UTF-8.
bool isCharsetName(std::string_view name) {
  return !name.empty() && std::all_of(name.begin(), name.end(), [](char c) {
    return isASCIILetter(c) || isASCIIDigit(c) ||
           std::string_view("-_:.").find(c) != std::string_view::npos;
  });
}

}  // namespace quintora
