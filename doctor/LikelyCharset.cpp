#include "doctor/LikelyCharset.h"

#include <algorithm>

#include "doctor/Report.h"

namespace quintora {

namespace {

bool isGzip(std::string_view body) { return body.substr(0, 2) == "\x1F\x8B"; }

// Whether a body without a byte-order mark begins with an ASCII character in little-endian UTF-16.
bool isLittleEndian(std::string_view body) {
  return body.size() > 1 && isASCII(body.substr(0, 1)) && body[0] != '\0' && body[1] == '\0';
}

}  // namespace

std::optional<LikelyMistake> likelyMistake(std::string_view body, TextEncoding declared) {
  if (isGzip(body))
    return LikelyMistake{"The body is compressed with gzip.",
                         "Let the server send no Content-Encoding: the bridge decodes none."};
  if (declared == kUTF16TextEncoding && isLittleEndian(body))
    return LikelyMistake{
        "The body is probably little-endian, but without a byte-order mark UTF-16 "
        "is read as big-endian.",
        "Let the server declare \"charset=utf-16le\", or send UTF-8."};
  if (declared != kUTF8TextEncoding && !isASCII(body) && isValidUTF8(body))
    return LikelyMistake{
        "The body is probably UTF-8: its bytes that are not ASCII are valid UTF-8.",
        "Let the server declare \"charset=utf-8\" in its HTTP header."};
  return std::nullopt;
}

}  // namespace quintora
