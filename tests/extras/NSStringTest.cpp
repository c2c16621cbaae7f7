#include "extras/NSString.h"

#include <gmock/gmock.h>

#include <cstdio>

namespace quintora {

namespace {

constexpr auto kAbsent = std::nullopt;

std::string shown(std::initializer_list<String> texts) { return testing::PrintToString(texts); }

TEST(IsEqualToString, ComparesUnitByUnit) {
  EXPECT_TRUE(isEqualToString(u"abc", u"abc"));
  EXPECT_TRUE(isEqualToString(u"", u""));
  EXPECT_FALSE(isEqualToString(u"abc", u"abC"));
  EXPECT_FALSE(isEqualToString(u"abc", u"ab"));
  EXPECT_FALSE(isEqualToString(u"", u"a"));
  EXPECT_FALSE(isEqualToString(u"\u00E9", u"e\u0301"));
  EXPECT_FALSE(isEqualToString(std::u16string(1, u'\0'), u""));
}

TEST(IsEqualToString, IsFalseForAnythingAbsent) {
  EXPECT_FALSE(isEqualToString(u"abc", kAbsent));
  EXPECT_FALSE(isEqualToString(kAbsent, u""));
  EXPECT_FALSE(isEqualToString(kAbsent, kAbsent));
}

// Locations of the exact search and of the one that ignores case.
TEST(RangeOfString, ReportsTheFirstPlace) {
  const struct {
    String receiver, needle;
    int64_t exact, ignoringCase;
  } rows[] = {
      {u"abcabc", u"a", 0, 0},
      {u"abcabc", u"bc", 1, 1},
      {u"abcabc", u"abcabc", 0, 0},
      {u"abc", u"c", 2, 2},
      {u"aab", u"ab", 1, 1},
      {u"ABCabc", u"bc", 4, 1},
      {u"abc", u"ABC", NSNotFound, 0},
      {u"abc", u"d", NSNotFound, NSNotFound},
      {u"abc", u"abcd", NSNotFound, NSNotFound},
      {u"abc", u"", NSNotFound, NSNotFound},
      {u"", u"a", NSNotFound, NSNotFound},
      {u"", u"", NSNotFound, NSNotFound},
      {u"abc", kAbsent, NSNotFound, NSNotFound},
      {u"x\u00E9", u"\u00C9", NSNotFound, 1},
      {u"x\U00010428", u"\U00010400", NSNotFound, 1},
      {u"\u00DFx", u"X", NSNotFound, 1},  // positions are those of the text as it stands
      {u"[]", u"{}", NSNotFound, NSNotFound},
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
    EXPECT_EQ(rangeOfStringOptions(kAbsent, u"a", options).location, 0);
    EXPECT_EQ(rangeOfStringOptions(kAbsent, u"a", options).length, 0u);
  }
  EXPECT_FALSE(containsString(kAbsent, u"a"));
}

TEST(Replacing, TakesEveryOccurrenceLeftToRightWithoutOverlap) {
  const struct {
    String receiver, target, replacement, expected;
  } rows[] = {
      {u"", u"a", u"b", u""},
      {u"a", u"a", u"b", u"b"},
      {u"abcabc", u"a", u"xy", u"xybcxybc"},
      {u"abc", u"c", u"", u"ab"},
      {u"...", u".", u"_", u"___"},
      {u"aaa", u"aa", u"b", u"ba"},
      {u"a", u"a", u"aa", u"aa"},
      {u"\r\r\n", u"\r", u"\r\n", u"\r\n\r\n\n"},
      {u"aA", u"A", u"b", u"ab"},
      {u"abc", u"abcd", u"x", u"abc"},
      {u"abc", u"", u"x", u"abc"},
      {u"abc", kAbsent, u"x", u"abc"},
      {u"abc", u"b", kAbsent, u"ac"},
      {kAbsent, u"a", u"b", kAbsent},
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
      {u"", u"&", {{u""}}},
      {u"a", u"&", {{u"a"}}},
      {u"&", u"&", {{u"", u""}}},
      {u"&&", u"&", {{u"", u"", u""}}},
      {u"a&b", u"&", {{u"a", u"b"}}},
      {u"a&&b", u"&", {{u"a", u"", u"b"}}},
      {u"&a&", u"&", {{u"", u"a", u""}}},
      {u"aaa", u"aa", {{u"", u"a"}}},
      {u"a,\nb", u",\n", {{u"a", u"b"}}},
      {u"a", u"abc", {{u"a"}}},
      {kAbsent, u"&", kAbsent},
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
      {Array(std::in_place), u",\n", u""},
      {{{u"a"}}, u",\n", u"a"},
      {{{u"a", u"b", u"c"}}, u",\n", u"a,\nb,\nc"},
      {{{u"", u""}}, u",", u","},
      {{{u"a", u"b"}}, u"", u"ab"},
      {{{u"a", u"b"}}, kAbsent, u"ab"},
      {{{u"a", kAbsent}}, u",", u"a,(null)"},
      {Array(kAbsent), u",", kAbsent},
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
      {u"8080", 8080},
      {u"0", 0},
      {u"007", 7},
      {u"+5", 5},
      {u"-1", -1},
      {u" 12abc", 12},
      {u" \t\r\n-7", -7},
      {u"8081abc", 8081},
      {u"1 2", 1},
      {u"1.5", 1},
      {u"5-", 5},
      {u"", 0},
      {u" ", 0},
      {u"-", 0},
      {u"+", 0},
      {u"abc", 0},
      {u"a1", 0},
      {u"- 5", 0},
      {u"+-5", 0},
      {u"--5", 0},
      {u"0x10", 0},
      {u"\uFF15", 0},   // a full-width digit
      {u"1\u0662", 1},  // an Arabic-Indic one
      {u"9223372036854775806", INT64_MAX - 1},
      {u"9223372036854775807", INT64_MAX},
      {u"9223372036854775808", INT64_MAX},
      {u"9223372036854775810", INT64_MAX},
      {u"18446744073709551617", INT64_MAX},
      {u"99999999999999999999999999999999999999999", INT64_MAX},
      {u"-9223372036854775807", -INT64_MAX},
      {u"-9223372036854775808", INT64_MIN},
      {u"-9223372036854775809", INT64_MIN},
      {u"-18446744073709551617", INT64_MIN},
      {u"000000000000000000000000000000042", 42},
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
    if (integerValue(std::u16string{first, first, u'7'}) != expected)
      wrong.push_back(unit);
  }
  EXPECT_THAT(wrong, testing::IsEmpty());
}

TEST(LastPathComponent, IsWhatFollowsTheLastSlash) {
  const struct {
    String receiver, expected;
  } rows[] = {
      {u"/usr/lib/cgi-bin/Gateway_8081.cgi", u"Gateway_8081.cgi"},
      {u"Gateway.cgi", u"Gateway.cgi"},
      {u"/Gateway.cgi", u"Gateway.cgi"},
      {u"cgi//Gateway.cgi", u"Gateway.cgi"},
      {u"cgi/Gateway.cgi/", u"Gateway.cgi"},
      {u"Gateway.cgi/", u"Gateway.cgi"},
      {u"a", u"a"},
      {u"/", u""},
      {u"///", u""},
      {u"", u""},
      {kAbsent, kAbsent},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(shown({row.receiver}));
    EXPECT_EQ(lastPathComponent(row.receiver), row.expected);
  }
}

TEST(FileSystemRepresentation, IsUTF8OrMacOSRomanAndNothingElse) {
  EXPECT_EQ(stringWithFileSystemRepresentation(""), u"");
  EXPECT_EQ(stringWithFileSystemRepresentation("/caf\xC3\xA9"), u"/caf\u00E9");
  EXPECT_EQ(stringWithFileSystemRepresentation("/caf\xE9"), u"/caf\u00C8");
  EXPECT_EQ(stringWithFileSystemRepresentation("\xFE\xFF/a"), u"\u02DB\u02C7/a");
}

TEST(AddingPercentEscapes, LeavesTheLegalCharactersOfASCII) {
  const std::u16string legal =
      u"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_.!~*'();/?:@&=+$,";
  const std::u16string digits = u"0123456789ABCDEF";
  for (char16_t c = 0; c < 0x80; ++c) {
    SCOPED_TRACE("character " + std::to_string(c));
    const std::u16string escape{u'%', digits[c / 16], digits[c % 16]};
    const std::u16string text(1, c);
    EXPECT_EQ(stringByAddingPercentEscapesUsingEncoding(text, kUTF8TextEncoding),
              legal.find(c) == std::u16string::npos ? escape : text);
  }
}

TEST(AddingPercentEscapes, WritesTheBytesOfUTF8) {
  const struct {
    String receiver, expected;
  } rows[] = {
      {u"", u""},
      {u"Jo Smith+Co", u"Jo%20Smith+Co"},
      {u"caf\u00E9", u"caf%C3%A9"},
      {u"\u0080\u07FF\u0800\uFFFF", u"%C2%80%DF%BF%E0%A0%80%EF%BF%BF"},
      {u"\U0001F600", u"%F0%9F%98%80"},
      {u"a\xD83D", kAbsent},
      {u"\xDE00z", kAbsent},
      {kAbsent, kAbsent},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(shown({row.receiver}));
    EXPECT_EQ(stringByAddingPercentEscapesUsingEncoding(row.receiver, kUTF8TextEncoding),
              row.expected);
  }
}

TEST(AddingPercentEscapes, KnowsNoOtherEncoding) {
  EXPECT_EQ(stringByAddingPercentEscapesUsingEncoding(u"a", kNoTextEncoding), kAbsent);
  EXPECT_EQ(stringByAddingPercentEscapesUsingEncoding(u"a", kUTF16TextEncoding), kAbsent);
}

TEST(RemovingPercentEncoding, ReadsTheBytesAsUTF8) {
  const struct {
    String receiver, expected;
  } rows[] = {
      {u"", u""},
      {u"abc", u"abc"},
      {u"a+b", u"a+b"},
      {u"%41", u"A"},
      {u"x%2By%21", u"x+y!"},
      {u"%25", u"%"},
      {u"%2541", u"%41"},  // what was decoded is not decoded again
      {u"%00", std::u16string(1, u'\0')},
      {u"%c3%a9", u"\u00E9"},
      {u"%C3%A9%cf%80", u"\u00E9\u03C0"},
      {u"\u00E9%41", u"\u00E9A"},
      {u"%F0%9F%98%80", u"\U0001F600"},
      {u"%", kAbsent},
      {u"%4", kAbsent},
      {u"abc%", kAbsent},
      {u"abc%4", kAbsent},
      {u"%zz", kAbsent},
      {u"%4g", kAbsent},
      {u"%g4", kAbsent},
      {u"%%41", kAbsent},
      {u"% 1", kAbsent},
      {u"%+1", kAbsent},
      {u"%0x41", kAbsent},
      {u"%\uFF14\uFF11", kAbsent},  // full-width digits
      {u"%C3", kAbsent},
      {u"%C3A9", kAbsent},
      {u"%A9", kAbsent},
      {u"%C0%80", kAbsent},
      {u"%ED%A0%80", kAbsent},
      {u"%F4%90%80%80", kAbsent},
      {u"a\xD83D", kAbsent},
      {kAbsent, kAbsent},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(shown({row.receiver}));
    EXPECT_EQ(stringByRemovingPercentEncoding(UTF8Data(row.receiver)), row.expected);
  }
}

TEST(RemovingPercentEncoding, TakesDigitsOfEitherCase) {
  for (unsigned code = 0; code < 0x80; ++code) {
    char lower[4], upper[4];
    std::snprintf(lower, sizeof lower, "%%%02x", code);
    std::snprintf(upper, sizeof upper, "%%%02X", code);
    const String expected = std::u16string(1, static_cast<char16_t>(code));
    EXPECT_EQ(stringByRemovingPercentEncoding(Data(lower, lower + 3)), expected) << lower;
    EXPECT_EQ(stringByRemovingPercentEncoding(Data(upper, upper + 3)), expected) << upper;
  }
}

TEST(StringWithFormat, PutsArgumentsInPlaceOfPlaceholders) {
  const String text = u"text", absent = kAbsent, percents = u"%@%d%s%%";
  const int64_t beyond32Bits = 0x1FFFFFFFF;
  EXPECT_EQ(stringWithFormat(u"", {}), u"");
  EXPECT_EQ(stringWithFormat(u"plain", {}), u"plain");
  EXPECT_EQ(stringWithFormat(u"%@", {text}), u"text");
  EXPECT_EQ(stringWithFormat(u"<%@>", {absent}), u"<(null)>");
  EXPECT_EQ(stringWithFormat(u"%@=%@", {text, absent}), u"text=(null)");
  EXPECT_EQ(stringWithFormat(u"%%%@", {text}), u"%text");
  EXPECT_EQ(stringWithFormat(u"%@!", {percents}), u"%@%d%s%%!");
  EXPECT_EQ(stringWithFormat(u"%d", {-12}), u"-12");
  EXPECT_EQ(stringWithFormat(u"%d", {beyond32Bits}), u"-1");
  EXPECT_EQ(stringWithFormat(u"%d", {INT32_MIN}), u"-2147483648");
  EXPECT_EQ(stringWithFormat(u"%ld,%ld,%ld", {0, INT64_MAX, INT64_MIN}),
            u"0,9223372036854775807,-9223372036854775808");
  EXPECT_EQ(stringWithFormat(u"%lu,%lu", {0, UINT64_MAX}), u"0,18446744073709551615");
}

TEST(StringWithFormatDeathTest, RefusesWhatItDoesNotKnow) {
  const String text = u"text";
  EXPECT_EXIT(stringWithFormat(u"%@", {}), testing::KilledBySignal(SIGABRT), "");
  EXPECT_EXIT(stringWithFormat(u"%@%@", {text}), testing::KilledBySignal(SIGABRT), "");
  EXPECT_EXIT(stringWithFormat(u"%x", {1}), testing::KilledBySignal(SIGABRT), "");
  EXPECT_EXIT(stringWithFormat(u"%", {1}), testing::KilledBySignal(SIGABRT), "");
}

TEST(SplittingDeathTest, RefusesASeparatorThatIsNone) {
  EXPECT_EXIT(componentsSeparatedByString(u"a", u""), testing::KilledBySignal(SIGABRT), "");
  EXPECT_EXIT(componentsSeparatedByString(u"a", kAbsent), testing::KilledBySignal(SIGABRT), "");
}

}  // namespace

}  // namespace quintora
