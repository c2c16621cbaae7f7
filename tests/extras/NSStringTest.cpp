#include "extras/NSString.h"

#include <gmock/gmock.h>

#include <cstdio>

#include "tests/support/Units.h"

namespace quintora {

namespace {

constexpr auto kAbsent = std::nullopt;

std::string shown(std::initializer_list<String> texts) { return testing::PrintToString(texts); }

TEST(IsEqualToString, ComparesUnitByUnit) {
  EXPECT_TRUE(isEqualToString("abc", "abc"));
  EXPECT_TRUE(isEqualToString("", ""));
  EXPECT_FALSE(isEqualToString("abc", "abC"));
  EXPECT_FALSE(isEqualToString("abc", "ab"));
  EXPECT_FALSE(isEqualToString("", "a"));
  EXPECT_FALSE(isEqualToString("\u00E9", "e\u0301"));
  EXPECT_FALSE(isEqualToString(std::string(1, '\0'), ""));
}

TEST(IsEqualToString, IsFalseForAnythingAbsent) {
  EXPECT_FALSE(isEqualToString("abc", kAbsent));
  EXPECT_FALSE(isEqualToString(kAbsent, ""));
  EXPECT_FALSE(isEqualToString(kAbsent, kAbsent));
}

// Locations of the exact search and of the one that ignores case.
TEST(RangeOfString, ReportsTheFirstPlace) {
  const struct {
    String receiver, needle;
    int64_t exact, ignoringCase;
  } rows[] = {
      {"abcabc", "a", 0, 0},
      {"abcabc", "bc", 1, 1},
      {"abcabc", "abcabc", 0, 0},
      {"abc", "c", 2, 2},
      {"aab", "ab", 1, 1},
      {"ABCabc", "bc", 4, 1},
      {"abc", "ABC", NSNotFound, 0},
      {"abc", "d", NSNotFound, NSNotFound},
      {"abc", "abcd", NSNotFound, NSNotFound},
      {"abc", "", NSNotFound, NSNotFound},
      {"", "a", NSNotFound, NSNotFound},
      {"", "", NSNotFound, NSNotFound},
      {"abc", kAbsent, NSNotFound, NSNotFound},
      {"x\u00E9", "\u00C9", NSNotFound, 1},
      {"\u00E9\u20AC\U0001F600x", "X", NSNotFound, 4},
      {"\u00E9\u20AC\U0001F600x", "x", 4, 4},
      {"\u00E9\u20AC\U0001F600x", units(u"\xDE00x"), 3, 3},
      {"x\U00010428", "\U00010400", NSNotFound, 1},
      {"\u00DFx", "X", NSNotFound, 1},  // positions are those of the text as it stands
      {"[]", "{}", NSNotFound, NSNotFound},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(shown({row.receiver, row.needle}));
    const NSRange exact = rangeOfString(row.receiver, row.needle);
    EXPECT_EQ(exact.location, row.exact);
    EXPECT_EQ(exact.length, row.exact == NSNotFound ? 0 : length(row.needle));
    EXPECT_EQ(rangeOfStringOptions(row.receiver, row.needle, 0).location, row.exact);
    const NSRange ignoringCase =
        rangeOfStringOptions(row.receiver, row.needle, NSCaseInsensitiveSearch);
    EXPECT_EQ(ignoringCase.location, row.ignoringCase);
    EXPECT_EQ(ignoringCase.length, row.ignoringCase == NSNotFound ? 0 : length(row.needle));
    EXPECT_EQ(containsString(row.receiver, row.needle), row.exact != NSNotFound);
  }
}

TEST(RangeOfString, HasTheNumbersOfThePlatform) {
  EXPECT_EQ(NSNotFound, 0x7FFFFFFFFFFFFFFF);
  EXPECT_EQ(NSCaseInsensitiveSearch, 1u);
}

TEST(RangeOfString, OfAnAbsentTextIsZero) {
  for (const unsigned options : {0u, NSCaseInsensitiveSearch}) {
    EXPECT_EQ(rangeOfStringOptions(kAbsent, "a", options).location, 0);
    EXPECT_EQ(rangeOfStringOptions(kAbsent, "a", options).length, 0u);
  }
  EXPECT_FALSE(containsString(kAbsent, "a"));
}

TEST(Replacing, TakesEveryOccurrenceLeftToRightWithoutOverlap) {
  const struct {
    String receiver, target, replacement, expected;
  } rows[] = {
      {"", "a", "b", ""},
      {"a", "a", "b", "b"},
      {"abcabc", "a", "xy", "xybcxybc"},
      {"abc", "c", "", "ab"},
      {"...", ".", "_", "___"},
      {"aaa", "aa", "b", "ba"},
      {"a", "a", "aa", "aa"},
      {"\r\r\n", "\r", "\r\n", "\r\n\r\n\n"},
      {"aA", "A", "b", "ab"},
      {"abc", "abcd", "x", "abc"},
      {"abc", "", "x", "abc"},
      {"abc", kAbsent, "x", "abc"},
      {"abc", "b", kAbsent, "ac"},
      {units(u"\xD83D|\xDE00"), "|", "", "\U0001F600"},  // halves that meet
      {units(u"\xD83D|"), "|", units(u"\xDE00"), "\U0001F600"},
      {units(u"|\xDE00"), "|", units(u"\xD83D"), "\U0001F600"},
      {"\U0001F600", units(u"\xDE00"), units(u"\xDE01"), "\U0001F601"},  // half of a pair
      {"a\u00E9\u20AC\u00E9", "\u00E9", "\U0001F600", "a\U0001F600\u20AC\U0001F600"},
      {kAbsent, "a", "b", kAbsent},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(shown({row.receiver, row.target, row.replacement}));
    EXPECT_EQ(
        stringByReplacingOccurrencesOfStringWithString(row.receiver, row.target, row.replacement),
        row.expected);
  }
}

TEST(Splitting, KeepsEmptyPieces) {
  const struct {
    String receiver, separator;
    Array expected;
  } rows[] = {
      {"", "&", {{""}}},
      {"a", "&", {{"a"}}},
      {"&", "&", {{"", ""}}},
      {"&&", "&", {{"", "", ""}}},
      {"a&b", "&", {{"a", "b"}}},
      {"a&&b", "&", {{"a", "", "b"}}},
      {"&a&", "&", {{"", "a", ""}}},
      {"aaa", "aa", {{"", "a"}}},
      {"a,\nb", ",\n", {{"a", "b"}}},
      {"a", "abc", {{"a"}}},
      {"\U0001F600", units(u"\xD83D"), {{"", units(u"\xDE00")}}},
      {kAbsent, "&", kAbsent},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(shown({row.receiver, row.separator}));
    EXPECT_EQ(componentsSeparatedByString(row.receiver, row.separator), row.expected);
  }
}

TEST(Joining, PutsTheSeparatorBetweenElementsOnly) {
  const struct {
    Array receiver;
    String separator, expected;
  } rows[] = {
      {Array(std::in_place), ",\n", ""},
      {{{"a"}}, ",\n", "a"},
      {{{"a", "b", "c"}}, ",\n", "a,\nb,\nc"},
      {{{"", ""}}, ",", ","},
      {{{"a", "b"}}, "", "ab"},
      {{{"a", "b"}}, kAbsent, "ab"},
      {{{"a", kAbsent}}, ",", "a,(null)"},
      {{{units(u"\xD83D"), units(u"\xDE00")}}, kAbsent, "\U0001F600"},
      {{{units(u"\xD83D"), units(u"\xD83D"), ""}}, units(u"\xDE00"), "\U0001F600\U0001F600"},
      {Array(kAbsent), ",", kAbsent},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(testing::PrintToString(row.receiver));
    EXPECT_EQ(componentsJoinedByString(row.receiver, row.separator), row.expected);
  }
}

TEST(IntegerValue, TakesTheNumberAtTheStart) {
  const struct {
    String receiver;
    int64_t expected;
  } rows[] = {
      {"8080", 8080},
      {"0", 0},
      {"007", 7},
      {"+5", 5},
      {"-1", -1},
      {" 12abc", 12},
      {" \t\r\n-7", -7},
      {"8081abc", 8081},
      {"1 2", 1},
      {"1.5", 1},
      {"5-", 5},
      {"", 0},
      {" ", 0},
      {"-", 0},
      {"+", 0},
      {"abc", 0},
      {"a1", 0},
      {"- 5", 0},
      {"+-5", 0},
      {"--5", 0},
      {"0x10", 0},
      {"\uFF15", 0},   // a full-width digit
      {"1\u0662", 1},  // an Arabic-Indic one
      {"9223372036854775806", INT64_MAX - 1},
      {"9223372036854775807", INT64_MAX},
      {"9223372036854775808", INT64_MAX},
      {"9223372036854775810", INT64_MAX},
      {"18446744073709551617", INT64_MAX},
      {"99999999999999999999999999999999999999999", INT64_MAX},
      {"-9223372036854775807", -INT64_MAX},
      {"-9223372036854775808", INT64_MIN},
      {"-9223372036854775809", INT64_MIN},
      {"-18446744073709551617", INT64_MIN},
      {"000000000000000000000000000000042", 42},
      {kAbsent, 0},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(shown({row.receiver}));
    EXPECT_EQ(integerValue(row.receiver), row.expected);
  }
}

TEST(IntegerValue, SkipsWhiteSpaceAndNothingElse) {
  const std::u16string whiteSpace =
      u"\t\n\v\f\r \u0085\u00A0\u1680\u2000\u2001\u2002\u2003\u2004\u2005\u2006\u2007\u2008\u2009"
      u"\u200A\u2028\u2029\u202F\u205F\u3000";
  std::vector<unsigned> wrong;
  for (unsigned unit = 0; unit <= 0xFFFF; ++unit) {
    const char16_t first = static_cast<char16_t>(unit);
    if ((first >= u'0' && first <= u'9') || first == u'+' || first == u'-')
      continue;
    const int64_t expected = whiteSpace.find(first) == std::u16string::npos ? 0 : 7;
    if (integerValue(units(std::u16string{first, first, u'7'})) != expected)
      wrong.push_back(unit);
  }
  EXPECT_THAT(wrong, testing::IsEmpty());
}

TEST(LastPathComponent, IsWhatFollowsTheLastSlash) {
  const struct {
    String receiver, expected;
  } rows[] = {
      {"/usr/lib/cgi-bin/Gateway_8081.cgi", "Gateway_8081.cgi"},
      {"Gateway.cgi", "Gateway.cgi"},
      {"/Gateway.cgi", "Gateway.cgi"},
      {"cgi//Gateway.cgi", "Gateway.cgi"},
      {"cgi/Gateway.cgi/", "Gateway.cgi"},
      {"Gateway.cgi/", "Gateway.cgi"},
      {"a", "a"},
      {"/", ""},
      {"///", ""},
      {"", ""},
      {kAbsent, kAbsent},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(shown({row.receiver}));
    EXPECT_EQ(lastPathComponent(row.receiver), row.expected);
  }
}

TEST(FileSystemRepresentation, IsUTF8OrMacOSRomanAndNothingElse) {
  EXPECT_EQ(stringWithFileSystemRepresentation(""), "");
  EXPECT_EQ(stringWithFileSystemRepresentation("/caf\xC3\xA9"), "/caf\u00E9");
  EXPECT_EQ(stringWithFileSystemRepresentation("/caf\xE9"), "/caf\u00C8");
  EXPECT_EQ(stringWithFileSystemRepresentation("\xFE\xFF/a"), "\u02DB\u02C7/a");
}

TEST(AddingPercentEscapes, LeavesTheLegalCharactersOfASCII) {
  const std::string legal =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_.!~*'();/?:@&=+$,";
  const std::string digits = "0123456789ABCDEF";
  for (unsigned code = 0; code < 0x80; ++code) {
    SCOPED_TRACE("character " + std::to_string(code));
    const std::string escape{'%', digits[code / 16], digits[code % 16]};
    const std::string text(1, static_cast<char>(code));
    EXPECT_EQ(stringByAddingPercentEscapesUsingEncoding(text, kUTF8TextEncoding),
              legal.find(text) == std::string::npos ? escape : text);
  }
}

TEST(AddingPercentEscapes, WritesTheBytesOfUTF8) {
  const struct {
    String receiver, expected;
  } rows[] = {
      {"", ""},
      {"Jo Smith+Co", "Jo%20Smith+Co"},
      {"caf\u00E9", "caf%C3%A9"},
      {"\u0080\u07FF\u0800\uFFFF", "%C2%80%DF%BF%E0%A0%80%EF%BF%BF"},
      {"\U0001F600", "%F0%9F%98%80"},
      {units(u"a\xD83D"), kAbsent},
      {units(u"\xDE00z"), kAbsent},
      {kAbsent, kAbsent},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(shown({row.receiver}));
    EXPECT_EQ(stringByAddingPercentEscapesUsingEncoding(row.receiver, kUTF8TextEncoding),
              row.expected);
  }
}

TEST(AddingPercentEscapes, KnowsNoOtherEncoding) {
  EXPECT_EQ(stringByAddingPercentEscapesUsingEncoding("a", kNoTextEncoding), kAbsent);
  EXPECT_EQ(stringByAddingPercentEscapesUsingEncoding("a", kUTF16TextEncoding), kAbsent);
}

TEST(RemovingPercentEncoding, ReadsTheBytesAsUTF8) {
  const struct {
    String receiver, expected;
  } rows[] = {
      {"", ""},
      {"abc", "abc"},
      {"a+b", "a+b"},
      {"%41", "A"},
      {"x%2By%21", "x+y!"},
      {"%25", "%"},
      {"%2541", "%41"},  // what was decoded is not decoded again
      {"%00", std::string(1, '\0')},
      {"%c3%a9", "\u00E9"},
      {"%C3%A9%cf%80", "\u00E9\u03C0"},
      {"\u00E9%41", "\u00E9A"},
      {"%F0%9F%98%80", "\U0001F600"},
      {"%", kAbsent},
      {"%4", kAbsent},
      {"abc%", kAbsent},
      {"abc%4", kAbsent},
      {"%zz", kAbsent},
      {"%4g", kAbsent},
      {"%g4", kAbsent},
      {"%%41", kAbsent},
      {"% 1", kAbsent},
      {"%+1", kAbsent},
      {"%0x41", kAbsent},
      {"%\uFF14\uFF11", kAbsent},  // full-width digits
      {"%C3", kAbsent},
      {"%C3A9", kAbsent},
      {"%A9", kAbsent},
      {"%C0%80", kAbsent},
      {"%ED%A0%80", kAbsent},
      {"%F4%90%80%80", kAbsent},
      {units(u"a\xD83D"), kAbsent},
      {kAbsent, kAbsent},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(shown({row.receiver}));
    EXPECT_EQ(stringByRemovingPercentEncoding(row.receiver), row.expected);
    if (!row.receiver || !isValidUTF8(*row.receiver))
      continue;
    std::string bytes = *row.receiver;
    const auto inPlace = removePercentEncodingInPlace(bytes.data(), bytes.size());
    EXPECT_EQ(inPlace, row.expected);
    EXPECT_TRUE(!inPlace || inPlace->data() == bytes.data());
  }
}

TEST(RemovingPercentEncoding, TakesDigitsOfEitherCase) {
  for (unsigned code = 0; code < 0x80; ++code) {
    char lower[4], upper[4];
    std::snprintf(lower, sizeof lower, "%%%02x", code);
    std::snprintf(upper, sizeof upper, "%%%02X", code);
    const String expected = std::string(1, static_cast<char>(code));
    EXPECT_EQ(stringByRemovingPercentEncoding(Data(lower, lower + 3)), expected) << lower;
    EXPECT_EQ(stringByRemovingPercentEncoding(Data(upper, upper + 3)), expected) << upper;
  }
}

TEST(SplittingDeathTest, RefusesASeparatorThatIsNone) {
  EXPECT_EXIT(componentsSeparatedByString("a", ""), testing::KilledBySignal(SIGABRT), "");
  EXPECT_EXIT(componentsSeparatedByString("a", kAbsent), testing::KilledBySignal(SIGABRT), "");
}

}  // namespace

}  // namespace quintora
