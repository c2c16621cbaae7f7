#include "extras/NSString+Extras.h"

#include <algorithm>
#include <utility>

#include "extras/NSString.h"

namespace quintora {

namespace {

// The substring of the units start up to end; positions outside the text, which as unsigned
// numbers include all that were negative, become its length.
String clampedSubstring(const std::u16string& text, uint64_t start, uint64_t end) {
  const uint64_t size = text.size();
  if (start > size)
    start = size;
  if (end > size)
    end = size;
  if (end < start)
    end = start;
  return text.substr(start, end - start);
}

// A position that counts from the start, or, when it is negative, from `origin` backwards. The
// sum is formed modulo 2^64, so one that falls before the start becomes very large.
uint64_t position(int64_t index, uint64_t origin) {
  return index < 0 ? origin + static_cast<uint64_t>(index) : static_cast<uint64_t>(index);
}

// A count trimmed off the start as a position; the largest counts must not become negative ones.
int64_t startAfter(uint64_t count) {
  return static_cast<int64_t>(std::min<uint64_t>(count, INT64_MAX));
}

// What a count trimmed off the end is as the end of a substring: -(count + 1).
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
  const uint64_t size = receiver->size();
  return clampedSubstring(*receiver, position(from, size), position(to, size + 1));
}

String substringFunnelFromLength(const String& receiver, int64_t from, int64_t length) {
  if (!receiver)
    return std::nullopt;
  const uint64_t size = receiver->size();
  const uint64_t start = std::min(position(from, size), size);
  return clampedSubstring(*receiver, start, start + static_cast<uint64_t>(length));
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
  for (int32_t i = 0; static_cast<uint64_t>(i) < length(list); ++i) {
    const String entry = substringFunnelFromLength(list, i, 1);
    const String digits = radixstrValueBytes(16, entry->front(), 1);
    receiver = stringByReplacingOccurrencesOfStringWithString(std::move(receiver), entry,
                                                              stringWithFormat(u"%%%@", {digits}));
  }
  return receiver;
}

String radixstrValueBytes(uint64_t radix, uint64_t value, uint64_t bytes) {
  static constexpr std::u16string_view kDigits = u"0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ";
  constexpr uint64_t kLongestFill = 64;
  std::u16string digits;
  for (uint64_t v = value; v != 0; v /= radix) {
    if (radix < 2 || v % radix >= kDigits.size())
      raiseException();
    digits.insert(digits.begin(), kDigits[v % radix]);
  }
  const uint64_t width = radix == 2 ? bytes * 8 : radix == 16 ? bytes * 2 : 0;
  if (width > digits.size()) {
    const uint64_t fill = width - digits.size();
    if (fill > kLongestFill)
      raiseException();
    digits = std::u16string(fill, u'0') + digits;
  }
  if (width == 0 && digits.empty())
    digits += u'0';
  return digits;
}

String stringWithUnknownEncodingData(std::string_view data) {
  if (data.empty())
    return u"";
  String text = initWithDataEncoding(data, firstTrial(data));
  if (!text)
    text = initWithDataEncoding(data, kMacOSRomanTextEncoding);
  if (!text)
    text = u"ERROR: Unknown text encoding";
  return text;
}

String quiQuoted(const String& receiver) {
  if (!receiver)
    return std::nullopt;
  return stringWithFormat(
      u"\"%@\"", {stringByReplacingOccurrencesOfStringWithString(receiver, u"\"", u"\"\"")});
}

}  // namespace quintora
