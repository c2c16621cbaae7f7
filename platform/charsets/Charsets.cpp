#include "platform/Charsets.h"

#include <algorithm>
#include <utility>

#include "platform/SystemCharsets.h"
#include "platform/charsets/BuiltInCharsets.h"
#include "platform/charsets/CharsetNames.h"

namespace quintora {

namespace {

// The longest sequence of any charset, in bytes.
constexpr size_t kLongestSequence = 8;

// Whether the bytes are valid, except for an incomplete sequence at their end.
bool fitNearly(std::string_view bytes, TextEncoding encoding) {
  for (size_t cut = 0; cut <= std::min(bytes.size(), kLongestSequence); ++cut) {
    if (decodeData(Data(bytes.substr(0, bytes.size() - cut)), encoding))
      return true;
  }
  return false;
}

}  // namespace

TextEncoding textEncodingFromIANACharSetName(const String& name) {
  if (!name || !isCharsetName(*name))
    return kUnknownTextEncoding;
  const TextEncoding builtIn = builtInTextEncoding(*name);
  return builtIn != kNoTextEncoding ? builtIn : systemTextEncoding(*name);
}

String decodeData(Data bytes, TextEncoding encoding) {
  return isBuiltInCharset(encoding) ? decodedByOurselves(std::move(bytes), encoding)
                                    : decodedBySystem(bytes, encoding);
}

// By trial, because not every system's converter reports where it stopped.
size_t fittingBytes(std::string_view bytes, TextEncoding encoding) {
  size_t most = bytes.size();
  for (size_t fitting = 0; fitting < most;) {
    const size_t middle = most - (most - fitting) / 2;
    if (fitNearly(bytes.substr(0, middle), encoding))
      fitting = middle;
    else
      most = middle - 1;
  }
  while (most > 0 && !decodeData(Data(bytes.substr(0, most)), encoding))
    --most;
  return most;
}

}  // namespace quintora
