#include "extras/NSString+Extras.h"

#include <algorithm>
#include <utility>

#include "extras/Characters.h"
#include "extras/Message.h"
#include "extras/NSString.h"
#include "extras/UTF16.h"

namespace quintora {

namespace {

// A position counted from the start or, when the index is negative, backwards from the end; `atEnd`
// is the negative index of the end itself, or 0. Positions are clamped as unsigned 64-bit numbers:
// one before the start is larger than any other, so it becomes the end, like one after the end.
UnitPosition position(std::string_view text, int64_t index, int64_t atEnd) {
  if (index >= 0)
    return positionAfter(text, {}, static_cast<uint64_t>(index));
  return positionBeforeEnd(text, static_cast<uint64_t>(atEnd) - static_cast<uint64_t>(index));
}

// The end of a substring of a negative length. If start + length is 0 or more, the end comes before
// the start, and the substring is empty. If the sum is negative, it becomes the end, as above.
UnitPosition endOfNegativeLength(std::string_view text, UnitPosition start, int64_t length) {
  const uint64_t units =
      unitCount(text.substr(0, start.byte)) + static_cast<uint64_t>(start.isWithinPair);
  return units <= static_cast<uint64_t>(-(length + 1)) ? UnitPosition{text.size(), false} : start;
}

// The position after a count trimmed off the start; the largest counts must not become negative.
int64_t startAfter(uint64_t count) {
  return static_cast<int64_t>(std::min<uint64_t>(count, INT64_MAX));
}

// The end of the substring from which a count is trimmed off the end: -(count + 1).
int64_t endBefore(uint64_t count) { return static_cast<int64_t>(~count); }

bool isFound(const NSRange& range) { return range.location != NSNotFound; }

TextEncoding firstTrial(std::string_view data) {
  if (data.size() > 2) {
    const std::string_view start = data.substr(0, 2);
    if (start == "\xFE\xFF" || start == "\xFF\xFE" || start[0] == '\0')
      return kUTF16TextEncoding;
  }
  return kUTF8TextEncoding;
}

}  // namespace

String substringFunnelFromTo(const String& receiver, int64_t from, int64_t to) {
  if (!receiver)
    return std::nullopt;
  return unitsBetween(*receiver, position(*receiver, from, 0), position(*receiver, to, -1));
}

String substringFunnelFromLength(const String& receiver, int64_t from, int64_t length) {
  if (!receiver)
    return std::nullopt;
  const UnitPosition start = position(*receiver, from, 0);
  const UnitPosition end = length < 0
                               ? endOfNegativeLength(*receiver, start, length)
                               : positionAfter(*receiver, start, static_cast<uint64_t>(length));
  return unitsBetween(*receiver, start, end);
}

String trimFromStartFromEnd(const String& receiver, uint64_t n, uint64_t m) {
  return substringFunnelFromTo(receiver, startAfter(n), endBefore(m));
}

String trimFromStart(const String& receiver, uint64_t n) {
  return substringFunnelFromTo(receiver, startAfter(n), -1);
}

String trimFromEnd(const String& receiver, uint64_t n) {
  return substringFunnelFromTo(receiver, 0, endBefore(n));
}

bool isEmpty(const String& receiver) { return receiver && receiver->empty(); }

bool isNotEmpty(const String& receiver) { return receiver && !receiver->empty(); }

bool beginsWith(const String& receiver, const String& s) {
  const int64_t units = static_cast<int64_t>(length(s));
  return isEqualToString(substringFunnelFromLength(receiver, 0, units), s);
}

bool endsWith(const String& receiver, const String& s) {
  const int64_t units = static_cast<int64_t>(length(s));
  return isEqualToString(substringFunnelFromTo(receiver, -units, -1), s);
}

bool beginsWithEndsWith(const String& receiver, const String& a, const String& b) {
  return beginsWith(receiver, a) && endsWith(receiver, b);
}

bool caseInsensitiveBeginsWith(const String& receiver, const String& s) {
  return beginsWith(uppercaseString(receiver), uppercaseString(s));
}

bool isNotEqualToString(const String& receiver, const String& s) {
  return receiver && !isEqualToString(receiver, s);
}

bool caseInsensitiveMatch(const String& receiver, const String& s) {
  return isEqualToString(uppercaseString(receiver), uppercaseString(s));
}

bool caseInsensitiveContainsString(const String& receiver, const String& s) {
  return receiver && !isEmpty(s) && !isEmpty(receiver) &&
         isFound(rangeOfStringOptions(receiver, s, NSCaseInsensitiveSearch));
}

bool containsExactString(const String& receiver, const String& s) {
  return receiver && !isEmpty(s) && !isEmpty(receiver) && isFound(rangeOfString(receiver, s));
}

bool notContainsString(const String& receiver, const String& s) {
  return receiver && !caseInsensitiveContainsString(receiver, s);
}

bool notContainsExactString(const String& receiver, const String& s) {
  return receiver && !containsExactString(receiver, s);
}

bool containsAnyString(const String& receiver, const Array& list) {
  if (!receiver || !list)
    return false;
  for (const String& element : *list) {
    if (containsString(receiver, element))
      return true;
  }
  return false;
}

String percentEscapeList(String receiver, const String& list) {
  const uint64_t count = length(list);
  for (int32_t i = 0; static_cast<uint64_t>(i) < count; ++i) {
    const String entry = substringFunnelFromLength(list, i, 1);
    const String digits = radixstrValueBytes(16, characterAt(*entry, 0).value, 1);
    receiver = stringByReplacingOccurrencesOfStringWithString(std::move(receiver), entry,
                                                              composed({"%", digits}));
  }
  return receiver;
}

String radixstrValueBytes(uint64_t radix, uint64_t value, uint64_t bytes) {
  static constexpr std::string_view kDigits = "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ";
  constexpr uint64_t kLongestFill = 64;
  std::string digits;
  for (uint64_t v = value; v != 0; v /= radix) {
    if (radix < 2 || v % radix >= kDigits.size())
      raiseException();
    digits.insert(0, 1, kDigits[v % radix]);
  }
  const uint64_t width = radix == 2 ? bytes * 8 : radix == 16 ? bytes * 2 : 0;
  if (width > digits.size()) {
    const uint64_t fill = width - digits.size();
    if (fill > kLongestFill)
      raiseException();
    digits.insert(0, fill, '0');
  }
  if (width == 0 && digits.empty())
    digits += '0';
  return digits;
}

String stringWithUnknownEncodingData(Data data) {
  if (data.empty())
    return "";
  String text = initWithDataEncoding(data, firstTrial(data));
  if (!text)
    text = initWithDataEncoding(std::move(data), kMacOSRomanTextEncoding);
  if (!text)
    text = "ERROR: Unknown text encoding";
  return text;
}

String quiQuoted(const String& receiver) {
  if (!receiver)
    return std::nullopt;
  return composed(
      {"\"", stringByReplacingOccurrencesOfStringWithString(receiver, "\"", "\"\""), "\""});
}

}  // namespace quintora
