// Texts are kept in UTF-8 while positions count UTF-16 code units. Here every operation on texts
// and positions is compared with the simplest one there is, on the units themselves, for random
// texts with all kinds of characters, halves of surrogate pairs included.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <random>

#include "extras/NSDictionary+NSDictionary_Extras.h"
#include "extras/NSString+Extras.h"
#include "extras/NSString.h"

namespace quintora {

namespace {

using Units = std::u16string;
using Text = std::optional<Units>;
using List = std::optional<std::vector<Text>>;

constexpr auto kAbsent = std::nullopt;
constexpr size_t kNowhere = Units::npos;

constexpr bool isHigh(char16_t unit) { return unit >= 0xD800 && unit <= 0xDBFF; }
constexpr bool isLow(char16_t unit) { return unit >= 0xDC00 && unit <= 0xDFFF; }

bool isPairAt(const Units& text, size_t at) {
  return at + 1 < text.size() && isHigh(text[at]) && isLow(text[at + 1]);
}

// The bytes of a character, and of half of a pair as of a character with that number.
std::string bytesOf(unsigned c) {
  const auto byte = [](unsigned value) { return static_cast<char>(value); };
  const char last = byte(0x80 + c % 0x40);
  if (c < 0x80)
    return {byte(c)};
  if (c < 0x800)
    return {byte(0xC0 + c / 0x40), last};
  const char third = byte(0x80 + c / 0x40 % 0x40);
  if (c < 0x10000)
    return {byte(0xE0 + c / 0x1000), third, last};
  return {byte(0xF0 + c / 0x40000), byte(0x80 + c / 0x1000 % 0x40), third, last};
}

std::string encoded(const Units& text) {
  std::string bytes;
  for (size_t at = 0; at < text.size(); ++at) {
    if (isPairAt(text, at)) {
      bytes += bytesOf(0x10000 + (text[at] - 0xD800u) * 0x400 + (text[at + 1] - 0xDC00u));
      ++at;
    } else {
      bytes += bytesOf(text[at]);
    }
  }
  return bytes;
}

String encoded(const Text& text) { return text ? String(encoded(*text)) : kAbsent; }

Array encoded(const List& list) {
  if (!list)
    return kAbsent;
  Array result(std::in_place);
  for (const Text& text : *list)
    result->push_back(encoded(text));
  return result;
}

bool hasLoneHalf(const Units& text) {
  for (size_t at = 0; at < text.size(); ++at) {
    if (isPairAt(text, at))
      ++at;
    else if (isHigh(text[at]) || isLow(text[at]))
      return true;
  }
  return false;
}

// The text of bytes in UTF-8: it is the one whose bytes they are.
Text decoded(const std::string& bytes) {
  Units text;
  for (size_t at = 0; at < bytes.size();) {
    const auto byte = [&](size_t i) {
      return at + i < bytes.size() ? static_cast<unsigned char>(bytes[at + i]) : 0u;
    };
    const unsigned first = byte(0);
    unsigned c = first;
    if (first >= 0xF0)
      c = (first - 0xF0) * 0x40000 + byte(1) % 0x40 * 0x1000 + byte(2) % 0x40 * 0x40 +
          byte(3) % 0x40;
    else if (first >= 0xE0)
      c = (first - 0xE0) * 0x1000 + byte(1) % 0x40 * 0x40 + byte(2) % 0x40;
    else if (first >= 0xC0)
      c = (first - 0xC0) * 0x40 + byte(1) % 0x40;
    if (c >= 0x110000)
      return kAbsent;
    if (c >= 0x10000)
      text += static_cast<char16_t>(0xD800 + (c - 0x10000) / 0x400);
    text += static_cast<char16_t>(c >= 0x10000 ? 0xDC00 + c % 0x400 : c);
    at += bytesOf(c).size();
  }
  if (hasLoneHalf(text) || encoded(text) != bytes)
    return kAbsent;
  return text;
}

// The operations on units.

Units substring(const Units& text, uint64_t start, uint64_t end) {
  const uint64_t first = std::min<uint64_t>(start, text.size());
  const uint64_t last = std::min<uint64_t>(end, text.size());
  return last < first ? Units() : text.substr(first, last - first);
}

// Where a position is that counts from the start or, negative, from the end, the sum modulo 2^64.
uint64_t startAt(const Units& text, int64_t from) {
  return static_cast<uint64_t>(from) + (from < 0 ? text.size() : 0);
}
uint64_t endAt(const Units& text, int64_t to) {
  return static_cast<uint64_t>(to) + (to < 0 ? text.size() + 1 : 0);
}

Units substringFromTo(const Units& text, int64_t from, int64_t to) {
  return substring(text, startAt(text, from), endAt(text, to));
}

Units substringFromLength(const Units& text, int64_t from, int64_t length) {
  const uint64_t start = std::min<uint64_t>(startAt(text, from), text.size());
  return substring(text, start, start + static_cast<uint64_t>(length));
}

// A count at or past the length leaves nothing of the start. One at the end is, by its complement,
// the end of a substring: past the length it takes nothing off, and the largest takes everything.
Units trimmed(const Units& text, uint64_t fromStart, uint64_t fromEnd) {
  return substring(text, fromStart, endAt(text, static_cast<int64_t>(~fromEnd)));
}

struct Mapping {
  const char16_t* lower;
  const char16_t* simple;
  const char16_t* full;
};

// Of the characters below, those that have a capital; of some it has more or fewer bytes.
constexpr Mapping kMappings[] = {
    {u"a", u"A", u"A"},
    {u"b", u"B", u"B"},
    {u"c", u"C", u"C"},
    {u"e", u"E", u"E"},
    {u"s", u"S", u"S"},
    {u"\u00B5", u"\u039C", u"\u039C"},
    {u"\u00E9", u"\u00C9", u"\u00C9"},
    {u"\u00DF", u"\u00DF", u"SS"},
    {u"\u0131", u"I", u"I"},
    {u"\u0149", u"\u0149", u"\u02BCN"},
    {u"\u0250", u"\u2C6F", u"\u2C6F"},
    {u"\u2C65", u"\u023A", u"\u023A"},
    {u"\uFB03", u"\uFB03", u"FFI"},
    {u"\U00010428", u"\U00010400", u"\U00010400"},
};

Units uppercased(const Units& text, const char16_t* Mapping::*which) {
  Units upper;
  for (size_t at = 0; at < text.size(); ++at) {
    const Units character = text.substr(at, isPairAt(text, at) ? 2 : 1);
    const auto mapping = std::find_if(std::begin(kMappings), std::end(kMappings),
                                      [&](const Mapping& row) { return row.lower == character; });
    upper += mapping == std::end(kMappings) ? character : Units((*mapping).*which);
    at += character.size() - 1;
  }
  return upper;
}

Units uppercased(const Units& text) { return uppercased(text, &Mapping::full); }

size_t found(const Units& text, const Text& needle) {
  return needle && !needle->empty() ? text.find(*needle) : kNowhere;
}

size_t foundIgnoringCase(const Units& text, const Text& needle) {
  if (!needle)
    return kNowhere;
  return found(uppercased(text, &Mapping::simple), uppercased(*needle, &Mapping::simple));
}

std::vector<Units> split(const Units& text, const Units& separator) {
  std::vector<Units> pieces;
  size_t from = 0;
  for (size_t at; (at = text.find(separator, from)) != kNowhere; from = at + separator.size())
    pieces.push_back(text.substr(from, at - from));
  pieces.push_back(text.substr(from));
  return pieces;
}

Units joined(const std::vector<Units>& pieces, const Units& separator) {
  Units text;
  for (size_t i = 0; i < pieces.size(); ++i)
    text += (i > 0 ? separator : u"") + pieces[i];
  return text;
}

Units replaced(const Units& text, const Text& target, const Text& replacement) {
  if (!target || target->empty())
    return text;
  return joined(split(text, *target), replacement.value_or(u""));
}

// Only for as many digits as one unit's code has.
Units percentEscape(unsigned code) {
  char digits[8];
  std::snprintf(digits, sizeof digits, "%%%02X", code);
  return Units(digits, digits + std::strlen(digits));
}

Units listEscaped(Units text, const Units& list) {
  for (const char16_t entry : list)
    text = replaced(text, Units{entry}, percentEscape(entry));
  return text;
}

Text bytesEscaped(const Units& text) {
  constexpr std::string_view kept =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_.!~*'();/?:@&=+$,";
  if (hasLoneHalf(text))
    return kAbsent;
  Units escaped;
  for (const char byte : encoded(text))
    escaped += kept.find(byte) != kept.npos ? Units{static_cast<char16_t>(byte)}
                                            : percentEscape(static_cast<unsigned char>(byte));
  return escaped;
}

Text bytesUnescaped(const Units& text) {
  constexpr std::string_view digits = "0123456789ABCDEFabcdef";
  const std::string bytes = encoded(text);
  std::string result;
  for (size_t at = 0; at < bytes.size(); ++at) {
    if (bytes[at] != '%') {
      result += bytes[at];
      continue;
    }
    if (at + 2 >= bytes.size() || digits.find(bytes[at + 1]) == digits.npos ||
        digits.find(bytes[at + 2]) == digits.npos)
      return kAbsent;
    result += static_cast<char>(std::stoi(bytes.substr(at + 1, 2), nullptr, 16));
    at += 2;
  }
  return hasLoneHalf(text) ? kAbsent : decoded(result);
}

int64_t number(const Units& text) {
  const Units whiteSpace = u" \t\n\u00A0\u2003\u3000";  // all that the texts below have
  const size_t first = text.find_first_not_of(whiteSpace);
  Units rest = first == kNowhere ? u"" : text.substr(first);
  const bool isNegative = rest.substr(0, 1) == u"-";
  if (isNegative || rest.substr(0, 1) == u"+")
    rest.erase(0, 1);
  rest = rest.substr(0, rest.find_first_not_of(u"0123456789"));
  rest.erase(0, rest.find_first_not_of(u'0'));
  if (rest.empty())
    return 0;
  if (rest.size() > 19)
    return isNegative ? INT64_MIN : INT64_MAX;
  const uint64_t magnitude = std::stoull(std::string(rest.begin(), rest.end()));
  if (isNegative)
    return magnitude > INT64_MAX ? INT64_MIN : -static_cast<int64_t>(magnitude);
  return magnitude > INT64_MAX ? INT64_MAX : static_cast<int64_t>(magnitude);
}

Units lastComponent(Units path) {
  while (!path.empty() && path.back() == u'/')
    path.pop_back();
  return path.substr(path.rfind(u'/') + 1);
}

// Random texts and positions.

// What texts are made of: characters of one to four bytes and halves of pairs, few of each kind, so
// that what is searched for is found. Two halves that come to stand side by side are a pair.
const std::vector<Units> kPieces = {
    // clang-format off
    u"a", u"b", u"A", u"B", u"s", u"S", u"I", u"aa", u"ab", u"0", u"7", u"2", u"-", u"+", u" ",
    u"\n", u"/", u"&", u"%", u"\"", u"=", Units(1, u'\0'), u"9223372036854775807",
    u"%2B", u"%C3%A9", u"%e2%82%ac", u"%F0%9F%98%80", u"%C3", u"%ED%A0%BD",
    u"\u00A0", u"\u00B5", u"\u00C9", u"\u00DF", u"\u00E9", u"\u0131", u"\u0149", u"\u023A",
    u"\u0250", u"\u039C", u"\u2003", u"\u20AC", u"\u2C65", u"\u2C6F", u"\u3000", u"\uD7FF",
    u"\uE000", u"\uFB03",
    u"\U0001F600", u"\U0001F601", u"\U00010428", u"\U00010400", u"\U0010FFFF",
    u"\xD83D", u"\xD801", u"\xDBFF", u"\xDE00", u"\xDC28", u"\xDC00",
    // clang-format on
};
constexpr size_t kPairsAndHalves = 11;  // at the end of them

class Source {
 public:
  // One of so many numbers, from 0.
  size_t below(size_t count) { return random_() % count; }

  Units units(size_t mostPieces) {
    Units text;
    // Of few kinds of pieces in each text, of which one at least is a pair or half of one.
    const size_t kinds[] = {below(kPieces.size()), below(kPieces.size()), below(kPieces.size()),
                            kPieces.size() - 1 - below(kPairsAndHalves)};
    for (size_t count = below(mostPieces + 1); count > 0; --count)
      text += kPieces[kinds[below(4)]];
    return text;
  }

  Units text() { return units(10); }

  // A text that the other one is likely to have: a piece of it, or one that looks alike.
  Text partOf(const Units& whole) {
    const size_t kind = below(50);
    if (kind == 0)
      return kAbsent;
    if (kind < 10 || whole.empty())
      return units(2);
    if (kind < 13)
      return whole;
    const size_t from = below(whole.size()), length = 1 + below(kind < 40 ? 2 : whole.size());
    const Units part = kind % 3 == 0   ? whole.substr(0, length)
                       : kind % 3 == 1 ? whole.substr(whole.size() - 1 - from % length)
                                       : whole.substr(from, length);
    return kind % 4 == 0 ? uppercased(part, &Mapping::simple) : part;
  }

  List list(const Units& whole) {
    if (below(20) == 0)
      return kAbsent;
    List result(std::in_place);
    for (size_t count = below(4); count > 0; --count)
      result->push_back(partOf(whole));
    return result;
  }

  // Mostly around the ends of the text, sometimes far beyond them.
  int64_t position(const Units& text) {
    constexpr int64_t kFar[] = {INT64_MIN,     INT64_MIN + 1, INT64_MAX,  INT64_MAX - 1,
                                INT64_MIN / 2, INT64_MAX / 2, INT32_MIN,  INT32_MAX,
                                -(1LL << 32),  1LL << 32,     UINT32_MAX, -1};
    if (below(6) == 0)
      return kFar[below(std::size(kFar))];
    const size_t reach = text.size() + 3;
    return static_cast<int64_t>(below(2 * reach + 1)) - static_cast<int64_t>(reach);
  }

  uint64_t count(const Units& text) {
    const int64_t number = position(text);
    return number < 0 && below(2) == 0 ? 0 - static_cast<uint64_t>(number)
                                       : static_cast<uint64_t>(number);
  }

 private:
  std::mt19937_64 random_{20261129};
};

std::string shown(const Units& text) {
  std::string result = "\"";
  for (const char16_t unit : text) {
    char escape[8];
    std::snprintf(escape, sizeof escape, "\\u%04X", static_cast<unsigned>(unit));
    result += unit > 0x20 && unit < 0x7F && unit != u'\\' && unit != u'"'
                  ? std::string(1, static_cast<char>(unit))
                  : escape;
  }
  return result + "\"";
}
std::string shown(const Text& text) { return text ? shown(*text) : "absent"; }
std::string shown(const List& list) {
  if (!list)
    return "absent";
  std::string result = "[";
  for (const Text& text : *list)
    result += shown(text) + ", ";
  return result + "]";
}
template <typename Number>
std::string shown(Number number) {
  return std::to_string(number);
}

// Fails with all that went in when two results differ.
template <typename Result, typename Expected, typename... Input>
void expectSame(const char* operation, const Result& actual, const Expected& expected,
                const Input&... inputs) {
  if (actual == expected)
    return;
  std::string input;
  (..., (input.append(" ").append(shown(inputs))));
  ADD_FAILURE() << operation << " of" << input << "\n  expected "
                << testing::PrintToString(expected) << "\n  actual   "
                << testing::PrintToString(actual);
}

// Calls with random texts, until a test fails.
template <typename Call>
void withTexts(Call call) {
  constexpr size_t kTexts = 5000;  // for each test, about a second for all
  Source source;
  for (size_t i = 0; i < kTexts && !testing::Test::HasFailure(); ++i)
    call(source, source.text());
}

TEST(Reference, CutsTheSameSubstrings) {
  withTexts([](Source& source, const Units& text) {
    const String receiver = encoded(text);
    const int64_t from = source.position(text), to = source.position(text);
    const uint64_t n = source.count(text), m = source.count(text);
    expectSame("length", length(receiver), text.size(), text);
    expectSame("substringFunnelFromTo", substringFunnelFromTo(receiver, from, to),
               encoded(substringFromTo(text, from, to)), text, from, to);
    expectSame("substringFunnelFromLength", substringFunnelFromLength(receiver, from, to),
               encoded(substringFromLength(text, from, to)), text, from, to);
    expectSame("trimFromStartFromEnd", trimFromStartFromEnd(receiver, n, m),
               encoded(trimmed(text, n, m)), text, n, m);
    expectSame("trimFromStart", trimFromStart(receiver, n), encoded(trimmed(text, n, 0)), text, n);
    expectSame("trimFromEnd", trimFromEnd(receiver, m), encoded(trimmed(text, 0, m)), text, m);
  });
}

bool begins(const Units& text, const Text& s) {
  return s && substringFromLength(text, 0, static_cast<int64_t>(s->size())) == *s;
}
bool ends(const Units& text, const Text& s) {
  return s && substringFromTo(text, -static_cast<int64_t>(s->size()), -1) == *s;
}

TEST(Reference, ComparesTheSame) {
  withTexts([](Source& source, const Units& text) {
    const Text s = source.partOf(text), t = source.partOf(text);
    const String receiver = encoded(text), a = encoded(s), b = encoded(t);
    const Units upper = uppercased(text);
    const Text upperS = s ? Text(uppercased(*s)) : kAbsent;
    const bool isEqual = s && text == *s;
    expectSame("isEmpty", isEmpty(receiver), text.empty(), text);
    expectSame("isNotEmpty", isNotEmpty(receiver), !text.empty(), text);
    expectSame("isEqualToString", isEqualToString(receiver, a), isEqual, text, s);
    expectSame("isNotEqualToString", isNotEqualToString(receiver, a), !isEqual, text, s);
    expectSame("uppercaseString", uppercaseString(receiver), encoded(upper), text);
    expectSame("caseInsensitiveMatch", caseInsensitiveMatch(receiver, a), s && upper == *upperS,
               text, s);
    expectSame("beginsWith", beginsWith(receiver, a), begins(text, s), text, s);
    expectSame("endsWith", endsWith(receiver, a), ends(text, s), text, s);
    expectSame("beginsWithEndsWith", beginsWithEndsWith(receiver, a, b),
               begins(text, s) && ends(text, t), text, s, t);
    expectSame("caseInsensitiveBeginsWith", caseInsensitiveBeginsWith(receiver, a),
               begins(upper, upperS), text, s);
  });
}

void expectRange(const char* operation, const NSRange& actual, size_t at, const Units& text,
                 const Text& needle) {
  const bool isFound = at != kNowhere;
  expectSame(operation, actual.location, isFound ? static_cast<int64_t>(at) : NSNotFound, text,
             needle);
  expectSame(operation, actual.length, isFound ? needle->size() : 0, text, needle);
}

TEST(Reference, FindsTheSame) {
  withTexts([](Source& source, const Units& text) {
    const Text s = source.partOf(text);
    const List list = source.list(text);
    const String receiver = encoded(text), needle = encoded(s);
    const size_t at = found(text, s), atIgnoringCase = foundIgnoringCase(text, s);
    const bool exact = at != kNowhere, ignoringCase = atIgnoringCase != kNowhere;
    const bool any = list && std::any_of(list->begin(), list->end(), [&](const Text& element) {
                       return found(text, element) != kNowhere;
                     });
    expectRange("rangeOfString", rangeOfString(receiver, needle), at, text, s);
    expectRange("rangeOfStringOptions 0", rangeOfStringOptions(receiver, needle, 0), at, text, s);
    expectRange("rangeOfStringOptions 1", rangeOfStringOptions(receiver, needle, 1), atIgnoringCase,
                text, s);
    expectSame("containsString", containsString(receiver, needle), exact, text, s);
    expectSame("containsExactString", containsExactString(receiver, needle), exact, text, s);
    expectSame("notContainsExactString", notContainsExactString(receiver, needle), !exact, text, s);
    expectSame("caseInsensitiveContainsString", caseInsensitiveContainsString(receiver, needle),
               ignoringCase, text, s);
    expectSame("notContainsString", notContainsString(receiver, needle), !ignoringCase, text, s);
    expectSame("containsAnyString", containsAnyString(receiver, encoded(list)), any, text, list);
  });
}

List listOf(const std::vector<Units>& texts) {
  return List(std::in_place, texts.begin(), texts.end());
}

// Texts for what is absent.
std::vector<Units> shownElements(const List& list) {
  std::vector<Units> texts;
  for (const Text& text : *list)
    texts.push_back(text.value_or(u"(null)"));
  return texts;
}

TEST(Reference, ReplacesSplitsAndJoinsTheSame) {
  withTexts([](Source& source, const Units& text) {
    const Text s = source.partOf(text), t = source.partOf(text);
    const List list = source.list(text);
    const Units escapes = s.value_or(u"").substr(0, 4);  // a long list escapes its own escapes
    const String receiver = encoded(text), a = encoded(s), b = encoded(t);
    expectSame("stringByReplacingOccurrencesOfStringWithString",
               stringByReplacingOccurrencesOfStringWithString(receiver, a, b),
               encoded(replaced(text, s, t)), text, s, t);
    if (s && !s->empty())
      expectSame("componentsSeparatedByString", componentsSeparatedByString(receiver, a),
                 encoded(listOf(split(text, *s))), text, s);
    const Text all = list ? Text(joined(shownElements(list), s.value_or(u""))) : kAbsent;
    expectSame("componentsJoinedByString", componentsJoinedByString(encoded(list), a), encoded(all),
               list, s);
    expectSame("percentEscapeList", percentEscapeList(receiver, encoded(escapes)),
               encoded(listEscaped(text, escapes)), text, escapes);
    expectSame("quiQuoted", quiQuoted(receiver),
               encoded(u"\"" + replaced(text, u"\"", u"\"\"") + u"\""), text);
  });
}

Units bodyField(const Units& text) {
  return listEscaped(bytesEscaped(text).value_or(u"(null)"), u"+&");
}

TEST(Reference, EscapesTheSame) {
  withTexts([](Source& source, const Units& text) {
    const String receiver = encoded(text);
    const Text unescaped = bytesUnescaped(text);
    const Units value = source.text();
    expectSame("stringByAddingPercentEscapesUsingEncoding",
               stringByAddingPercentEscapesUsingEncoding(receiver, kUTF8TextEncoding),
               encoded(bytesEscaped(text)), text);
    expectSame("stringByRemovingPercentEncoding", stringByRemovingPercentEncoding(receiver),
               encoded(unescaped), text);
    std::string bytes = *receiver;
    if (!hasLoneHalf(text))
      expectSame("removePercentEncodingInPlace",
                 removePercentEncodingInPlace(bytes.data(), bytes.size()), encoded(unescaped),
                 text);
    expectSame("encodePostData", encodePostData(Dictionary{{{*receiver, encoded(value)}}}),
               encoded(bodyField(text) + u"=" + bodyField(value)), text, value);
  });
}

TEST(Reference, ReadsTheSameNumbersAndNames) {
  withTexts([](Source&, const Units& text) {
    const String receiver = encoded(text);
    expectSame("integerValue", integerValue(receiver), number(text), text);
    expectSame("lastPathComponent", lastPathComponent(receiver), encoded(lastComponent(text)),
               text);
  });
}

}  // namespace

}  // namespace quintora
