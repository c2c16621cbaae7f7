#include "extras/NSString+Extras.h"

#include <gmock/gmock.h>

#include <csignal>

namespace quintora {

namespace {

using namespace std::string_view_literals;

constexpr auto kAbsent = std::nullopt;
constexpr int64_t kLeast = INT64_MIN, kMost = INT64_MAX;
const String kNoUnits = u"";

std::string shown(std::initializer_list<String> texts) { return testing::PrintToString(texts); }

TEST(SubstringFunnel, ClampsFromAndToIntoTheText) {
  const struct {
    String receiver;
    int64_t from, to;
    String expected;
  } rows[] = {
      {u"abcdef", 2, 4, u"cd"},
      {u"abcdef", -2, -1, u"ef"},
      {u"abcdef", -3, -2, u"de"},
      {u"abcdef", 0, -1, u"abcdef"},
      {u"abcdef", 0, 6, u"abcdef"},
      {u"abcdef", 0, 1, u"a"},
      {u"abcdef", 5, 6, u"f"},
      {u"abcdef", -6, -1, u"abcdef"},
      {u"abcdef", 4, 2, u""},
      {u"abcdef", 3, 3, u""},
      {u"abcdef", 3, 100, u"def"},
      {u"abcdef", 6, -1, u""},
      {u"abcdef", 7, -1, u""},
      {u"abcdef", kMost, kMost, u""},
      {u"abcdef", 0, kMost, u"abcdef"},
      {u"a", 0, -1, u"a"},
      {u"a", -1, -1, u"a"},
      {u"a", 0, -2, u""},
      {u"", 0, 0, u""},
      {u"", 0, -1, u""},
      {u"", -1, -1, u""},
      {u"\U0001F600", 0, 1, u"\xD83D"},  // a half of a pair is a unit like any other
      {kAbsent, 0, -1, kAbsent},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(shown({row.receiver}) + " from " + std::to_string(row.from) + " to " +
                 std::to_string(row.to));
    EXPECT_EQ(substringFunnelFromTo(row.receiver, row.from, row.to), row.expected);
  }
}

TEST(SubstringFunnel, AStartBeforeTheBeginningYieldsTheEmptyText) {
  EXPECT_EQ(substringFunnelFromTo(u"abcdef", -7, -1), u"");
  EXPECT_EQ(substringFunnelFromTo(u"abcdef", kLeast, -1), u"");
  EXPECT_EQ(substringFunnelFromLength(u"abcdef", -7, 3), u"");
  EXPECT_EQ(substringFunnelFromLength(u"abcdef", kLeast, kMost), u"");
}

TEST(SubstringFunnel, OnlyTheEndRightAtTheBeginningIsTheBeginning) {
  EXPECT_EQ(substringFunnelFromTo(u"abcdef", 0, -6), u"a");
  EXPECT_EQ(substringFunnelFromTo(u"abcdef", 0, -7), u"");
}

TEST(SubstringFunnel, AnEndBeforeTheBeginningYieldsEverythingFromTheStart) {
  EXPECT_EQ(substringFunnelFromTo(u"abcdef", 0, -8), u"abcdef");
  EXPECT_EQ(substringFunnelFromTo(u"abcdef", 4, -8), u"ef");
  EXPECT_EQ(substringFunnelFromTo(u"abcdef", 0, kLeast), u"abcdef");
}

TEST(SubstringFunnel, CountsTheLengthFromTheClampedStart) {
  const struct {
    String receiver;
    int64_t from, length;
    String expected;
  } rows[] = {
      {u"abcdef", 1, 3, u"bcd"},
      {u"abcdef", -3, 2, u"de"},
      {u"abcdef", 2, -1, u""},
      {u"abcdef", 2, -2, u""},
      {u"abcdef", 2, -3, u"cdef"},
      {u"abcdef", 4, 10, u"ef"},
      {u"abcdef", 4, kMost, u"ef"},
      {u"abcdef", 2, kLeast, u"cdef"},
      {u"abcdef", 0, 0, u""},
      {u"abcdef", 0, 6, u"abcdef"},
      {u"abcdef", -1, 1, u"f"},
      {u"abcdef", 6, 1, u""},
      {u"abcdef", 100, 1, u""},
      {u"abcdef", 100, -1, u""},
      {u"abcdef", 100, -7, u""},
      {u"a", 0, 1, u"a"},
      {u"", 0, 1, u""},
      {u"", -1, 1, u""},
      {kAbsent, 0, 1, kAbsent},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(shown({row.receiver}) + " from " + std::to_string(row.from) + " length " +
                 std::to_string(row.length));
    EXPECT_EQ(substringFunnelFromLength(row.receiver, row.from, row.length), row.expected);
  }
}

TEST(Trim, LeavesOffUnitsAtBothEnds) {
  const struct {
    uint64_t fromStart, fromEnd;
    String expected;
  } rows[] = {
      // clang-format off
      {2, 2, u"cd"},
      {4, 4, u""},
      {2, 10, u"cdef"},
      {0, 6, u""},
      {0, 7, u"abcdef"},
      {0, 0, u"abcdef"},
      {6, 0, u""},
      {10, 0, u""},
      {1, 0, u"bcdef"},
      {0, 1, u"abcde"},
      {10, 10, u""},
      // clang-format on
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(std::to_string(row.fromStart) + " and " + std::to_string(row.fromEnd));
    EXPECT_EQ(trimFromStartFromEnd(u"abcdef", row.fromStart, row.fromEnd), row.expected);
  }
}

TEST(Trim, AtOrPastTheLengthLeavesNothingOfTheStart) {
  EXPECT_EQ(trimFromStart(u"abcdef", 0), u"abcdef");
  EXPECT_EQ(trimFromStart(u"abcdef", 5), u"f");
  EXPECT_EQ(trimFromStart(u"abcdef", 6), u"");
  EXPECT_EQ(trimFromStart(u"abcdef", 10), u"");
  EXPECT_EQ(trimFromStart(u"abcdef", uint64_t{1} << 63), u"");
  EXPECT_EQ(trimFromStart(u"abcdef", UINT64_MAX), u"");
  EXPECT_EQ(trimFromStartFromEnd(u"abcdef", UINT64_MAX, 0), u"");
  EXPECT_EQ(trimFromStart(u"", 0), u"");
}

TEST(Trim, MoreThanTheLengthLeavesOffNothingAtTheEnd) {
  EXPECT_EQ(trimFromEnd(u"abcdef", 0), u"abcdef");
  EXPECT_EQ(trimFromEnd(u"abcdef", 1), u"abcde");
  EXPECT_EQ(trimFromEnd(u"abcdef", 6), u"");
  EXPECT_EQ(trimFromEnd(u"abcdef", 7), u"abcdef");
  EXPECT_EQ(trimFromEnd(u"", 0), u"");
}

TEST(Trim, OfAnAbsentTextIsAbsent) {
  EXPECT_EQ(trimFromStartFromEnd(kAbsent, 0, 0), kAbsent);
  EXPECT_EQ(trimFromStart(kAbsent, 0), kAbsent);
  EXPECT_EQ(trimFromEnd(kAbsent, 0), kAbsent);
}

TEST(Emptiness, IsALengthOfZero) {
  EXPECT_TRUE(isEmpty(kNoUnits));
  EXPECT_FALSE(isNotEmpty(kNoUnits));
  for (const String text : {u"a", u" ", u"\n"}) {
    SCOPED_TRACE(shown({text}));
    EXPECT_FALSE(isEmpty(text));
    EXPECT_TRUE(isNotEmpty(text));
  }
  EXPECT_FALSE(isEmpty(std::u16string(1, u'\0')));
}

TEST(PrefixAndSuffix, AreComparedExactly) {
  const struct {
    String receiver, s;
    bool begins, ends;
  } rows[] = {
      {u"abc", u"abc", true, true},
      {u"abc", u"a", true, false},
      {u"abc", u"ab", true, false},
      {u"abc", u"c", false, true},
      {u"abc", u"bc", false, true},
      {u"abc", u"b", false, false},
      {u"abc", u"", true, false},
      {u"", u"", true, true},
      {u"", u"a", false, false},
      {u"bc", u"abc", false, false},
      {u"ab", u"abc", false, false},
      {u"abc", u"A", false, false},
      {u"abc", u"C", false, false},
      {u"\r\n", u"\r\n", true, true},
      {u"\r\n", u"\n", false, true},
      {u"Content-type: text/plain", u"Content-type:", true, false},
      {u"Content-type: text/plain", u"content-type:", false, false},
      {u"abc", kAbsent, false, false},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(shown({row.receiver, row.s}));
    EXPECT_EQ(beginsWith(row.receiver, row.s), row.begins);
    EXPECT_EQ(endsWith(row.receiver, row.s), row.ends);
  }
}

TEST(PrefixAndSuffix, TogetherNeedBoth) {
  EXPECT_TRUE(beginsWithEndsWith(u"abc", u"a", u"bc"));
  EXPECT_TRUE(beginsWithEndsWith(u"abc", u"ab", u"bc"));
  EXPECT_FALSE(beginsWithEndsWith(u"abc", u"a", u"b"));
  EXPECT_FALSE(beginsWithEndsWith(u"abc", u"b", u"c"));
  EXPECT_FALSE(beginsWithEndsWith(u"abc", u"a", u""));
  EXPECT_TRUE(beginsWithEndsWith(u"", u"", u""));
}

TEST(PrefixAndSuffix, IgnoringCaseUpperCasesBothSides) {
  const String header = u"Content-type: text/plain";
  EXPECT_TRUE(caseInsensitiveBeginsWith(header, u"content-TYPE:"));
  EXPECT_FALSE(caseInsensitiveBeginsWith(header, u"content-length:"));
  EXPECT_FALSE(caseInsensitiveBeginsWith(header, u"text/plain"));
  EXPECT_TRUE(caseInsensitiveBeginsWith(header, u""));
  EXPECT_TRUE(caseInsensitiveBeginsWith(u"\u00DFa", u"ss"));  // one unit becomes two
}

TEST(Equality, IsOfUnits) {
  const struct {
    String receiver, s;
    bool differs, matchesIgnoringCase;
  } rows[] = {
      {u"abc", u"abc", false, true},
      {u"abc", u"ABC", true, true},
      {u"abc", u"abd", true, false},
      {u"abc", u"ab", true, false},
      {u"", u"", false, true},
      {u"", u"a", true, false},
      {u"\u00E9", u"e\u0301", true, false},
      {u"stra\u00DFe", u"STRASSE", true, true},
      {u"abc", kAbsent, true, false},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(shown({row.receiver, row.s}));
    EXPECT_EQ(isNotEqualToString(row.receiver, row.s), row.differs);
    EXPECT_EQ(caseInsensitiveMatch(row.receiver, row.s), row.matchesIgnoringCase);
  }
}

// Exact in a name means that case counts; each not-contains test negates the one beside it.
TEST(Containment, NeedsANeedleAndSomethingToSearch) {
  const struct {
    String receiver, s;
    bool ignoringCase, exact;
  } rows[] = {
      {u"abc", u"abc", true, true},
      {u"abc", u"a", true, true},
      {u"abc", u"c", true, true},
      {u"abc", u"B", true, false},
      {u"abc", u"ac", false, false},
      {u"abc", u"abcd", false, false},
      {u"abc", u"", false, false},
      {u"", u"x", false, false},
      {u"", u"", false, false},
      {u"aab", u"ab", true, true},
      {u"Apple Events", u"APPLE", true, false},
      {u"APPLE EVENTS", u"APPLE", true, true},
      {u"one\ntwo", u"\n", true, true},
      {u"one\rtwo", u"\n", false, false},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(shown({row.receiver, row.s}));
    EXPECT_EQ(caseInsensitiveContainsString(row.receiver, row.s), row.ignoringCase);
    EXPECT_EQ(notContainsString(row.receiver, row.s), !row.ignoringCase);
    EXPECT_EQ(containsExactString(row.receiver, row.s), row.exact);
    EXPECT_EQ(notContainsExactString(row.receiver, row.s), !row.exact);
  }
}

TEST(Containment, OfAnyElementIsExact) {
  const struct {
    String receiver;
    Array list;
    bool expected;
  } rows[] = {
      {u"abc", {{u"x", u"bc", u"a"}}, true},
      {u"abc", {{u"x", u"y", u"c"}}, true},
      {u"abc", {{u"x", u"y"}}, false},
      {u"abc", {{u"BC"}}, false},
      {u"abc", {{u""}}, false},
      {u"abc", {{u"", u"b"}}, true},
      {u"", {{u""}}, false},
      {u"abc", Array(std::in_place), false},
      {u"abc", kAbsent, false},
      {kAbsent, {{u"a"}}, false},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(shown({row.receiver}) + " and " + testing::PrintToString(row.list));
    EXPECT_EQ(containsAnyString(row.receiver, row.list), row.expected);
  }
}

TEST(AbsentReceiver, FailsEveryTestTheNegativeOnesToo) {
  EXPECT_FALSE(isEmpty(kAbsent));
  EXPECT_FALSE(isNotEmpty(kAbsent));
  const struct {
    const char* name;
    bool (*test)(const String&, const String&);
  } tests[] = {
      {"beginsWith", beginsWith},
      {"endsWith", endsWith},
      {"caseInsensitiveBeginsWith", caseInsensitiveBeginsWith},
      {"isNotEqualToString", isNotEqualToString},
      {"caseInsensitiveMatch", caseInsensitiveMatch},
      {"caseInsensitiveContainsString", caseInsensitiveContainsString},
      {"containsExactString", containsExactString},
      {"notContainsString", notContainsString},
      {"notContainsExactString", notContainsExactString},
  };
  for (const auto& [name, test] : tests) {
    SCOPED_TRACE(name);
    EXPECT_FALSE(test(kAbsent, u""));
    EXPECT_FALSE(test(kAbsent, u"x"));
    EXPECT_FALSE(test(kAbsent, kAbsent));
  }
  EXPECT_FALSE(beginsWithEndsWith(kAbsent, u"", u""));
}

TEST(PercentEscapeList, EscapesEachUnitOfTheListInItsOrder) {
  const String nul = std::u16string(1, u'\0');
  const struct {
    String receiver, list, expected;
  } rows[] = {
      {u"", u"+&", u""},
      {u"abc", u"+&", u"abc"},
      {u"a+b", u"", u"a+b"},
      {u"+", u"+&", u"%2B"},
      {u"&a+b&+", u"+&", u"%26a%2Bb%26%2B"},
      {u"++++", u"+&", u"%2B%2B%2B%2B"},
      {u"50%+", u"+&", u"50%%2B"},
      {u"+", u"+%", u"%252B"},
      {u"+", u"%+", u"%2B"},
      {u"+", u"+2", u"%%32B"},
      {u"++", u"++", u"%2B%2B"},
      {u"%", u"%%", u"%2525"},
      {u"4", u"44", u"%3%34"},
      {u"aA", u"A", u"a%41"},
      {u"\n", u"\n", u"%0A"},
      {nul, nul, u"%00"},
      {u"\u00E9", u"\u00E9", u"%E9"},
      {u"\u0100", u"\u0100", u"%100"},
      {u"\u20AC", u"\u20AC", u"%20AC"},
      {u"\U0001F600", u"\U0001F600", u"%D83D%DE00"},
      {u"\U0001F601", u"\U0001F600", u"%D83D\xDE01"},  // only the first half is in the list
      {kAbsent, u"+&", kAbsent},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(shown({row.receiver, row.list}));
    EXPECT_EQ(percentEscapeList(row.receiver, row.list), row.expected);
  }
}

TEST(Radixstr, WritesDigitsAndFillsOnlyRadix2And16) {
  const struct {
    uint64_t radix, value, bytes;
    String expected;
  } rows[] = {
      {16, 43, 1, u"2B"},
      {16, 10, 1, u"0A"},
      {16, 0, 1, u"00"},
      {16, 0x20AC, 1, u"20AC"},
      {16, 256, 1, u"100"},
      {16, 255, 0, u"FF"},
      {16, 0, 0, u"0"},
      {16, UINT64_MAX, 8, u"FFFFFFFFFFFFFFFF"},
      {16, 0, 32, std::u16string(64, u'0')},
      {2, 5, 1, u"00000101"},
      {2, 0, 1, u"00000000"},
      {2, 256, 1, u"100000000"},
      {2, 0, 0, u"0"},
      {2, 0, 8, std::u16string(64, u'0')},
      {2, UINT64_MAX, 8, std::u16string(64, u'1')},
      {2, 128, 9, std::u16string(64, u'0') + u"10000000"},
      {10, 0, 0, u"0"},
      {10, 0, 4, u"0"},
      {10, 42, 4, u"42"},
      {10, UINT64_MAX, 0, u"18446744073709551615"},
      {8, 8, 1, u"10"},
      {36, 35, 1, u"Z"},
      {36, 36, 1, u"10"},
      {37, 35, 1, u"Z"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE("radix " + std::to_string(row.radix) + ", value " + std::to_string(row.value) +
                 ", bytes " + std::to_string(row.bytes));
    EXPECT_EQ(radixstrValueBytes(row.radix, row.value, row.bytes), row.expected);
  }
}

TEST(RadixstrDeathTest, EndsTheRunBeyondItsDigitsAndItsZeros) {
  const struct {
    uint64_t radix, value, bytes;
  } rows[] = {{2, 0, 9}, {2, 127, 9}, {16, 0, 33}, {37, 36, 0}, {1, 1, 0}, {0, 1, 0}};
  for (const auto& row : rows) {
    SCOPED_TRACE("radix " + std::to_string(row.radix) + ", value " + std::to_string(row.value) +
                 ", bytes " + std::to_string(row.bytes));
    EXPECT_EXIT(radixstrValueBytes(row.radix, row.value, row.bytes),
                testing::KilledBySignal(SIGABRT), "");
  }
}

TEST(UnknownEncoding, IsTriedInAFixedOrder) {
  const struct {
    std::string_view data;
    String expected;
  } rows[] = {
      {""sv, u""},
      {"\xFE\xFF\0A"sv, u"A"},
      {"\xFF\xFE\x41\0"sv, u"A"},
      {"\0A\0B"sv, u"AB"},
      {"A\0B\0"sv, std::u16string(u"A\0B\0", 4)},
      {"\xFE\xFF"sv, u"\u02DB\u02C7"},
      {"\xFF\xFE"sv, u"\u02C7\u02DB"},
      {"\0"sv, std::u16string(1, u'\0')},
      {"\0A"sv, std::u16string(u"\0A", 2)},
      {"\xE9"sv, u"\u00C8"},
      {"\xC3\xA9"sv, u"\u00E9"},
      {"a\xC3\xA9z"sv, u"a\u00E9z"},
      {"na\xEFve"sv, u"na\u00D4ve"},
      {"\xFE\xFE\0A"sv, std::u16string(u"\u02DB\u02DB\0A", 4)},  // half a mark is none
      {"\xFF\xFF\0A"sv, std::u16string(u"\u02C7\u02C7\0A", 4)},
      {"\xEF\xBB\xBFx"sv, u"\uFEFFx"},
      {"\xFE\xFF\xDC\0"sv, std::u16string(u"\u02DB\u02C7\u2039\0", 4)},
      // Three bytes are enough for the first trial; half a unit fails in it.
      {"\0\xC3\xA9"sv, std::u16string(u"\0\u221A\u00A9", 3)},
      {"\xFE\xFF\0"sv, std::u16string(u"\u02DB\u02C7\0", 3)},
      {"\xFF\xFE\0"sv, std::u16string(u"\u02C7\u02DB\0", 3)},
      {"\0A\xD8\x80"sv,
       std::u16string(u"\0A\u00FF\u00C4", 4)},  // not by UTF-8, in which it is valid
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(testing::PrintToString(row.data));
    EXPECT_EQ(stringWithUnknownEncodingData(row.data), row.expected);
  }
}

TEST(QuiQuoted, DoublesQuotesAndEscapesNothingElse) {
  const struct {
    String receiver, expected;
  } rows[] = {
      {u"", u"\"\""},
      {u"\"", u"\"\"\"\""},
      {u"\"\"", u"\"\"\"\"\"\""},
      {u"say \"hi\"", u"\"say \"\"hi\"\"\""},
      {u"a}b", u"\"a}b\""},
      {u"{a},\\b\r\nc", u"\"{a},\\b\r\nc\""},
      {u"100%@%s", u"\"100%@%s\""},
      {u"\u201Chi\u201D", u"\"\u201Chi\u201D\""},
      {kAbsent, kAbsent},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(shown({row.receiver}));
    EXPECT_EQ(quiQuoted(row.receiver), row.expected);
  }
}

}  // namespace

}  // namespace quintora
