// Charsets by CoreFoundation, for all that is not built in.
#include "platform/SystemCharsets.h"

#include "platform/macos/CoreFoundation.h"

namespace quintora {

TextEncoding systemTextEncoding(const std::string& name) {
  const Owned<CFStringRef> object(createCFString(name));
  // An invalid encoding has an identifier, too, which is not 0.
  return CFStringConvertEncodingToNSStringEncoding(
      CFStringConvertIANACharSetNameToEncoding(object.get()));
}

String decodedBySystem(std::string_view bytes, TextEncoding encoding) {
  const CFStringEncoding systemEncoding = CFStringConvertNSStringEncodingToEncoding(encoding);
  if (!CFStringIsEncodingAvailable(systemEncoding))
    return std::nullopt;
  // "External" makes CoreFoundation remove a byte-order mark at the start.
  constexpr Boolean kIsExternal = true;
  const Owned<CFStringRef> object(
      CFStringCreateWithBytes(kCFAllocatorDefault, reinterpret_cast<const UInt8*>(bytes.data()),
                              static_cast<CFIndex>(bytes.size()), systemEncoding, kIsExternal));
  return stringFromCFString(object.get());
}

}  // namespace quintora
