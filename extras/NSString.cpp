#include "extras/NSString.h"

#include <algorithm>
#include <cstdlib>
#include <utility>

#include "extras/Characters.h"
#include "extras/UTF16.h"
#include "extras/Uppercase.h"

namespace quintora {

namespace {

void (*uncaughtExceptionHandler)() = std::abort;

// Calls with each character's value.
template <typename Call>
void forEachCharacter(std::string_view text, Call call) {
  for (size_t at = 0; at < text.size();) {
    const Character character = characterAt(text, at);
    call(character.value);
    at += character.bytes;
  }
}

// The text in simple upper case. No simple mapping changes how many UTF-16 code units a character
// has, so positions in the result are positions in the text.
std::string folded(std::string_view text) {
  std::string result;
  forEachCharacter(text, [&](char32_t c) { appendUTF8(result, simpleUppercase(c)); });
  return result;
}

// The property White_Space of the Unicode Character Database, version 15.0 (PropList.txt).
bool isWhiteSpace(char32_t c) {
  return (c >= 0x09 && c <= 0x0D) || c == 0x20 || c == 0x85 || c == 0xA0 || c == 0x1680 ||
         (c >= 0x2000 && c <= 0x200A) || c == 0x2028 || c == 0x2029 || c == 0x202F || c == 0x205F ||
         c == 0x3000;
}

std::string_view withoutWhiteSpaceAtStart(std::string_view text) {
  while (!text.empty()) {
    const Character first = characterAt(text, 0);
    if (!isWhiteSpace(first.value))
      break;
    text.remove_prefix(first.bytes);
  }
  return text;
}

bool isEmptyOrAbsent(const String& text) { return !text || text->empty(); }

}  // namespace

void raiseException() {
  uncaughtExceptionHandler();
  std::abort();
}

void NSSetUncaughtExceptionHandler(void (*handler)()) { uncaughtExceptionHandler = handler; }

bool isEqualToString(const String& receiver, const String& other) {
  return receiver && other && *receiver == *other;
}

NSRange rangeOfString(const String& receiver, const String& needle) {
  return rangeOfStringOptions(receiver, needle, 0);
}

NSRange rangeOfStringOptions(const String& receiver, const String& needle, unsigned options) {
  if (!receiver)
    return {0, 0};
  if (isEmptyOrAbsent(needle))
    return {NSNotFound, 0};
  const uint64_t at = (options & NSCaseInsensitiveSearch) != 0
                          ? findUnits(folded(*receiver), folded(*needle))
                          : findUnits(*receiver, *needle);
  if (at == kNoUnits)
    return {NSNotFound, 0};
  return {static_cast<int64_t>(at), length(needle)};
}

bool containsString(const String& receiver, const String& needle) {
  return receiver && rangeOfString(receiver, needle).location != NSNotFound;
}

String uppercaseString(const String& receiver) {
  if (!receiver)
    return std::nullopt;
  std::string upper;
  forEachCharacter(*receiver, [&](char32_t c) { appendUppercase(upper, c); });
  return upper;
}

String stringByReplacingOccurrencesOfStringWithString(String receiver, const String& target,
                                                      const String& replacement) {
  if (!receiver || isEmptyOrAbsent(target) || findUnits(*receiver, *target) == kNoUnits)
    return receiver;
  std::string text;
  text.reserve(receiver->size());
  bool isFirst = true;
  forEachPieceBetween(*receiver, *target, [&](std::string_view piece) {
    if (!std::exchange(isFirst, false) && replacement)
      appendUnits(text, *replacement);
    appendUnits(text, piece);
  });
  return text;
}

Array componentsSeparatedByString(const String& receiver, const String& separator) {
  if (!receiver)
    return std::nullopt;
  if (isEmptyOrAbsent(separator))
    raiseException();
  Array pieces(std::in_place);
  forEachPieceBetween(*receiver, *separator,
                      [&pieces](std::string_view piece) { pieces->emplace_back(piece); });
  return pieces;
}

String componentsJoinedByString(const Array& receiver, const String& separator) {
  if (!receiver)
    return std::nullopt;
  std::string text;
  for (const String& element : *receiver) {
    if (&element != &receiver->front() && separator)
      appendUnits(text, *separator);
    appendUnits(text, element ? std::string_view(*element) : kAbsentText);
  }
  return text;
}

int64_t integerValue(const String& receiver) {
  if (!receiver)
    return 0;
  std::string_view text = withoutWhiteSpaceAtStart(*receiver);
  const bool isNegative = text.substr(0, 1) == "-";
  if (isNegative || text.substr(0, 1) == "+")
    text.remove_prefix(1);
  const uint64_t bound = static_cast<uint64_t>(INT64_MAX) + (isNegative ? 1 : 0);
  uint64_t magnitude = 0;
  for (; !text.empty() && isASCIIDigit(text.front()); text.remove_prefix(1)) {
    const uint64_t digit = static_cast<uint64_t>(text.front() - '0');
    magnitude = magnitude > (bound - digit) / 10 ? bound : magnitude * 10 + digit;
  }
  return static_cast<int64_t>(isNegative ? 0 - magnitude : magnitude);
}

String lastPathComponent(const String& receiver) {
  if (!receiver)
    return std::nullopt;
  const size_t end = receiver->find_last_not_of('/') + 1;  // 0 where there are only slashes
  const std::string_view path = std::string_view(*receiver).substr(0, end);
  return std::string(path.substr(path.find_last_of('/') + 1));
}

String stringWithFileSystemRepresentation(Data bytes) {
  const TextEncoding encoding = isValidUTF8(bytes) ? kUTF8TextEncoding : kMacOSRomanTextEncoding;
  return initWithDataEncoding(std::move(bytes), encoding);
}

String stringByAddingPercentEscapesUsingEncoding(const String& receiver, TextEncoding encoding) {
  if (!receiver || !isValidUTF8(*receiver) || encoding != kUTF8TextEncoding)
    return std::nullopt;
  std::string text;
  text.reserve(receiver->size());
  for (const char c : *receiver) {
    const unsigned char byte = static_cast<unsigned char>(c);
    if (isURLCharacter(byte)) {
      text += c;
    } else {
      text += '%';
      text += kHexadecimalDigits[byte >> 4];
      text += kHexadecimalDigits[byte & 0xF];
    }
  }
  return text;
}

String stringByRemovingPercentEncoding(const String& receiver) {
  if (!receiver || !isValidUTF8(*receiver))
    return std::nullopt;
  std::string bytes = *receiver;
  const std::optional<std::string_view> text =
      removePercentEncodingInPlace(bytes.data(), bytes.size());
  if (!text)
    return std::nullopt;
  return std::string(*text);
}

std::optional<std::string_view> removePercentEncodingInPlace(char* bytes, size_t count) {
  const std::string_view text(bytes, count);
  const size_t first = text.find('%');
  if (first == text.npos)
    return text;
  const char* const end = bytes + count;
  char* to = bytes + first;
  for (const char* at = to; at != end; ++at) {
    char byte = *at;
    if (byte == '%') {
      const int high = end - at > 2 ? hexadecimalDigit(at[1]) : -1;
      const int low = high >= 0 ? hexadecimalDigit(at[2]) : -1;
      if (low < 0)
        return std::nullopt;
      byte = static_cast<char>(high << 4 | low);
      at += 2;
    }
    *to++ = byte;
  }
  const std::string_view decoded(bytes, static_cast<size_t>(to - bytes));
  if (!isValidUTF8(decoded))
    return std::nullopt;
  return decoded;
}

}  // namespace quintora
