#include "extras/NSString.h"

#include <algorithm>
#include <cstdlib>

#include "extras/Characters.h"
#include "extras/Uppercase.h"

namespace quintora {

namespace {

void (*uncaughtExceptionHandler)() = std::abort;

constexpr size_t kNowhere = std::u16string_view::npos;

// The text with simple upper-case mappings that keep a character's number of units, so that
// positions in it are positions in the text.
std::u16string foldedInPlace(std::u16string_view text) {
  std::u16string folded(text);
  for (size_t at = 0; at < text.size();) {
    const Character character = characterAt(text, at);
    const char32_t upper = simpleUppercase(character.value);
    if (character.units == 1 && upper < 0x10000) {
      folded[at] = static_cast<char16_t>(upper);
    } else if (character.units == 2 && upper >= 0x10000) {
      folded[at] = highSurrogate(upper);
      folded[at + 1] = lowSurrogate(upper);
    }
    at += character.units;
  }
  return folded;
}

// The property White_Space of the Unicode Character Database, version 15.0 (PropList.txt).
bool isWhiteSpace(char16_t unit) {
  return (unit >= 0x09 && unit <= 0x0D) || unit == 0x20 || unit == 0x85 || unit == 0xA0 ||
         unit == 0x1680 || (unit >= 0x2000 && unit <= 0x200A) || unit == 0x2028 || unit == 0x2029 ||
         unit == 0x202F || unit == 0x205F || unit == 0x3000;
}

void appendDecimal(std::u16string& text, uint64_t magnitude, bool negative) {
  char16_t digits[20];  // 2^64 - 1 has 20
  size_t count = 0;
  do {
    digits[count++] = static_cast<char16_t>(u'0' + magnitude % 10);
    magnitude /= 10;
  } while (magnitude != 0);
  if (negative)
    text += u'-';
  text.append(std::make_reverse_iterator(digits + count), std::make_reverse_iterator(digits));
}

void appendSigned(std::u16string& text, int64_t number) {
  const uint64_t bits = static_cast<uint64_t>(number);
  appendDecimal(text, number < 0 ? 0 - bits : bits, number < 0);
}

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
  if (length(needle) == 0)
    return {NSNotFound, 0};
  const size_t at = (options & NSCaseInsensitiveSearch) != 0
                        ? foldedInPlace(*receiver).find(foldedInPlace(*needle))
                        : receiver->find(*needle);
  if (at == kNowhere)
    return {NSNotFound, 0};
  return {static_cast<int64_t>(at), needle->size()};
}

bool containsString(const String& receiver, const String& needle) {
  return receiver && rangeOfString(receiver, needle).location != NSNotFound;
}

String uppercaseString(const String& receiver) {
  if (!receiver)
    return std::nullopt;
  std::u16string upper;
  upper.reserve(receiver->size());
  for (size_t at = 0; at < receiver->size();) {
    const Character character = characterAt(*receiver, at);
    appendUppercase(upper, character.value);
    at += character.units;
  }
  return upper;
}

String stringByReplacingOccurrencesOfStringWithString(String receiver, const String& target,
                                                      const String& replacement) {
  if (!receiver || length(target) == 0 || receiver->find(*target) == kNowhere)
    return receiver;
  std::u16string text;
  text.reserve(receiver->size());
  size_t from = 0;
  for (size_t at; (at = receiver->find(*target, from)) != kNowhere; from = at + target->size()) {
    text.append(*receiver, from, at - from);
    if (replacement)
      text += *replacement;
  }
  return text.append(*receiver, from);
}

Array componentsSeparatedByString(const String& receiver, const String& separator) {
  if (!receiver)
    return std::nullopt;
  if (length(separator) == 0)
    raiseException();
  Array pieces(std::in_place);
  size_t from = 0;
  for (size_t at; (at = receiver->find(*separator, from)) != kNowhere;
       from = at + separator->size())
    pieces->emplace_back(receiver->substr(from, at - from));
  pieces->emplace_back(receiver->substr(from));
  return pieces;
}

String componentsJoinedByString(const Array& receiver, const String& separator) {
  if (!receiver)
    return std::nullopt;
  std::u16string text;
  for (const String& element : *receiver) {
    if (&element != &receiver->front() && separator)
      text += *separator;
    text += element ? *element : u"(null)";
  }
  return text;
}

int64_t integerValue(const String& receiver) {
  if (!receiver)
    return 0;
  auto at = std::find_if_not(receiver->begin(), receiver->end(), isWhiteSpace);
  const bool negative = at != receiver->end() && *at == u'-';
  if (negative || (at != receiver->end() && *at == u'+'))
    ++at;
  const uint64_t bound = static_cast<uint64_t>(INT64_MAX) + (negative ? 1 : 0);
  uint64_t magnitude = 0;
  for (; at != receiver->end() && isASCIIDigit(*at); ++at) {
    const uint64_t digit = static_cast<uint64_t>(*at - u'0');
    magnitude = magnitude > (bound - digit) / 10 ? bound : magnitude * 10 + digit;
  }
  return static_cast<int64_t>(negative ? 0 - magnitude : magnitude);
}

String lastPathComponent(const String& receiver) {
  if (!receiver)
    return std::nullopt;
  const size_t end = receiver->find_last_not_of(u'/') + 1;  // 0 where there are only slashes
  const std::u16string_view path = std::u16string_view(*receiver).substr(0, end);
  return std::u16string(path.substr(path.find_last_of(u'/') + 1));
}

String stringByAddingPercentEscapesUsingEncoding(const String& receiver, TextEncoding encoding) {
  const std::optional<Data> bytes = UTF8Data(receiver);
  if (!bytes || encoding != kUTF8TextEncoding)
    return std::nullopt;
  std::u16string text;
  text.reserve(bytes->size());
  for (const char signedByte : *bytes) {
    const unsigned char byte = static_cast<unsigned char>(signedByte);
    if (isURLCharacter(byte)) {
      text += byte;
    } else {
      text += u'%';
      text += static_cast<char16_t>(kHexadecimalDigits[byte >> 4]);
      text += static_cast<char16_t>(kHexadecimalDigits[byte & 0xF]);
    }
  }
  return text;
}

String stringByRemovingPercentEncoding(std::optional<Data> receiver) {
  if (!receiver)
    return std::nullopt;
  const size_t count = receiver->size();
  return stringByRemovingPercentEncoding(receiver->data(), count);
}

String stringByRemovingPercentEncoding(char* bytes, size_t count) {
  const char* const end = bytes + count;
  char* to = bytes + std::min(std::string_view(bytes, count).find('%'), count);
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
  return initWithDataEncoding({bytes, static_cast<size_t>(to - bytes)}, kUTF8TextEncoding);
}

String stringWithFormat(std::u16string_view format,
                        std::initializer_list<FormatArgument> arguments) {
  size_t units = format.size();
  for (const FormatArgument& argument : arguments)
    units += argument.text_ ? length(*argument.text_) : 0;
  std::u16string text;
  text.reserve(units);  // a guess; numbers and "(null)" may need more
  const FormatArgument* argument = arguments.begin();
  const auto unitAt = [format](size_t at) { return at < format.size() ? format[at] : u'\0'; };
  for (size_t at = 0; at < format.size(); ++at) {
    if (format[at] != u'%' || unitAt(++at) == u'%') {
      text += format[at];
      continue;
    }
    if (argument == arguments.end())
      raiseException();
    const char16_t kind = unitAt(at) == u'l' ? unitAt(++at) : unitAt(at);
    const bool isLong = format[at - 1] == u'l';
    if (kind == u'@' && !isLong)
      text += *argument->text_ ? std::u16string_view(**argument->text_) : u"(null)";
    else if (kind == u'd')
      appendSigned(text, isLong ? static_cast<int64_t>(argument->number_)
                                : static_cast<int32_t>(static_cast<uint32_t>(argument->number_)));
    else if (kind == u'u' && isLong)
      appendDecimal(text, argument->number_, false);
    else
      raiseException();
    ++argument;
  }
  return text;
}

String stringWithFileSystemRepresentation(std::string_view bytes) {
  const String text = initWithDataEncoding(bytes, kUTF8TextEncoding);
  return text ? text : initWithDataEncoding(bytes, kMacOSRomanTextEncoding);
}

}  // namespace quintora
