// Charsets by CoreFoundation, for all that is not built in.
#include "platform/Charsets.h"

#include "platform/charsets/BuiltInCharsets.h"
#include "platform/charsets/CharsetNames.h"
#include "platform/macos/CoreFoundation.h"

namespace quintora {

TextEncoding textEncodingFromIANACharSetName(const String& name) {
  if (!name || !isCharsetName(*name))
    return kUnknownTextEncoding;
  const TextEncoding builtIn = builtInTextEncoding(*name);
  if (builtIn != kNoTextEncoding)
    return builtIn;
  const Owned<CFStringRef> object(createCFString(name));
  // The system's identifiers are never 0, not even that of an invalid encoding.
  return CFStringConvertEncodingToNSStringEncoding(
      CFStringConvertIANACharSetNameToEncoding(object.get()));
}

String decodeData(Data bytes, TextEncoding encoding) {
  if (isBuiltInCharset(encoding))
    return decodedByOurselves(std::move(bytes), encoding);
  const CFStringEncoding systemEncoding = CFStringConvertNSStringEncodingToEncoding(encoding);
  if (!CFStringIsEncodingAvailable(systemEncoding))
    return std::nullopt;
  // The bytes come from outside, so a byte-order mark at their start is no part of the text.
  constexpr Boolean kIsExternal = true;
  const Owned<CFStringRef> object(
      CFStringCreateWithBytes(kCFAllocatorDefault, reinterpret_cast<const UInt8*>(bytes.data()),
                              static_cast<CFIndex>(bytes.size()), systemEncoding, kIsExternal));
  return stringFromCFString(object.get());
}

}  // namespace quintora
