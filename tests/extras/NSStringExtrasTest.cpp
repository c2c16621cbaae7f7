#include "extras/NSString+Extras.h"

#include <gmock/gmock.h>

#include <csignal>

#include "tests/support/Units.h"

namespace quintora {

namespace {

using namespace std::string_literals;
using namespace std::string_view_literals;

constexpr auto kAbsent = std::nullopt;
constexpr int64_t kLeast = INT64_MIN, kMost = INT64_MAX;
const String kNothing = "";

std::string shown(std::initializer_list<String> texts) { return testing::PrintToString(texts); }

TEST(SubstringFunnel, ClampsFromAndToIntoTheText) {
  const struct {
    String receiver;
    int64_t from, to;
    String expected;
  } rows[] = {
      {"abcdef", 2, 4, "cd"},
      {"abcdef", -2, -1, "ef"},
      {"abcdef", -3, -2, "de"},
      {"abcdef", 0, -1, "abcdef"},
      {"abcdef", 0, 6, "abcdef"},
      {"abcdef", 0, 1, "a"},
      {"abcdef", 5, 6, "f"},
      {"abcdef", -6, -1, "abcdef"},
      {"abcdef", 4, 2, ""},
      {"abcdef", 3, 3, ""},
      {"abcdef", 3, 100, "def"},
      {"abcdef", 6, -1, ""},
      {"abcdef", 7, -1, ""},
      {"abcdef", kMost, kMost, ""},
      {"abcdef", 0, kMost, "abcdef"},
      {"a", 0, -1, "a"},
      {"a", -1, -1, "a"},
      {"a", 0, -2, ""},
      {"", 0, 0, ""},
      {"", 0, -1, ""},
      {"", -1, -1, ""},
      {"\U0001F600", 0, 1, units(u"\xD83D")},  // a half of a pair is a unit like any other
      {kAbsent, 0, -1, kAbsent},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(shown({row.receiver}) + " from " + std::to_string(row.from) + " to " +
                 std::to_string(row.to));
    EXPECT_EQ(substringFunnelFromTo(row.receiver, row.from, row.to), row.expected);
  }
}

TEST(SubstringFunnel, AStartBeforeTheBeginningYieldsTheEmptyText) {
  EXPECT_EQ(substringFunnelFromTo("abcdef", -7, -1), "");
  EXPECT_EQ(substringFunnelFromTo("abcdef", kLeast, -1), "");
  EXPECT_EQ(substringFunnelFromLength("abcdef", -7, 3), "");
  EXPECT_EQ(substringFunnelFromLength("abcdef", kLeast, kMost), "");
}

TEST(SubstringFunnel, OnlyTheEndRightAtTheBeginningIsTheBeginning) {
  EXPECT_EQ(substringFunnelFromTo("abcdef", 0, -6), "a");
  EXPECT_EQ(substringFunnelFromTo("abcdef", 0, -7), "");
}

TEST(SubstringFunnel, AnEndBeforeTheBeginningYieldsEverythingFromTheStart) {
  EXPECT_EQ(substringFunnelFromTo("abcdef", 0, -8), "abcdef");
  EXPECT_EQ(substringFunnelFromTo("abcdef", 4, -8), "ef");
  EXPECT_EQ(substringFunnelFromTo("abcdef", 0, kLeast), "abcdef");
}

TEST(SubstringFunnel, CountsTheLengthFromTheClampedStart) {
  const struct {
    String receiver;
    int64_t from, length;
    String expected;
  } rows[] = {
      {"abcdef", 1, 3, "bcd"},
      {"abcdef", -3, 2, "de"},
      {"abcdef", 2, -1, ""},
      {"abcdef", 2, -2, ""},
      {"abcdef", 2, -3, "cdef"},
      {"abcdef", 4, 10, "ef"},
      {"abcdef", 4, kMost, "ef"},
      {"abcdef", 2, kLeast, "cdef"},
      {"abcdef", 0, 0, ""},
      {"abcdef", 0, 6, "abcdef"},
      {"abcdef", -1, 1, "f"},
      {"abcdef", 6, 1, ""},
      {"abcdef", 100, 1, ""},
      {"abcdef", 100, -1, ""},
      {"abcdef", 100, -7, ""},
      {"a", 0, 1, "a"},
      {"", 0, 1, ""},
      {"", -1, 1, ""},
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
      {2, 2, "cd"},
      {4, 4, ""},
      {2, 10, "cdef"},
      {0, 6, ""},
      {0, 7, "abcdef"},
      {0, 0, "abcdef"},
      {6, 0, ""},
      {10, 0, ""},
      {1, 0, "bcdef"},
      {0, 1, "abcde"},
      {10, 10, ""},
      // clang-format on
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(std::to_string(row.fromStart) + " and " + std::to_string(row.fromEnd));
    EXPECT_EQ(trimFromStartFromEnd("abcdef", row.fromStart, row.fromEnd), row.expected);
  }
}

TEST(Trim, AtOrPastTheLengthLeavesNothingOfTheStart) {
  EXPECT_EQ(trimFromStart("abcdef", 0), "abcdef");
  EXPECT_EQ(trimFromStart("abcdef", 5), "f");
  EXPECT_EQ(trimFromStart("abcdef", 6), "");
  EXPECT_EQ(trimFromStart("abcdef", 10), "");
  EXPECT_EQ(trimFromStart("abcdef", uint64_t{1} << 63), "");
  EXPECT_EQ(trimFromStart("abcdef", UINT64_MAX), "");
  EXPECT_EQ(trimFromStartFromEnd("abcdef", UINT64_MAX, 0), "");
  EXPECT_EQ(trimFromStart("", 0), "");
}

TEST(Trim, MoreThanTheLengthLeavesOffNothingAtTheEnd) {
  EXPECT_EQ(trimFromEnd("abcdef", 0), "abcdef");
  EXPECT_EQ(trimFromEnd("abcdef", 1), "abcde");
  EXPECT_EQ(trimFromEnd("abcdef", 6), "");
  EXPECT_EQ(trimFromEnd("abcdef", 7), "abcdef");
  EXPECT_EQ(trimFromEnd("", 0), "");
}

// From 2^63 on a count has no signed number of its own. At the start it stays past the length; at
// the end its complement, as a signed number, is where the text is cut: the largest positions
// first, which keep everything, and 0 for the largest count.
TEST(Trim, TakesCountsBeyondTheSignedNumbers) {
  constexpr uint64_t kSmallest = uint64_t{1} << 63;
  const struct {
    uint64_t count;
    String withoutEnd;
  } rows[] = {
      {kSmallest - 2, "a\u00E9\U0001F600"},  // the complement is negative: before the beginning
      {kSmallest - 1, "a\u00E9\U0001F600"},
      {kSmallest, "a\u00E9\U0001F600"},
      {kSmallest + 1, "a\u00E9\U0001F600"},
      {UINT64_MAX - 5, "a\u00E9\U0001F600"},
      {UINT64_MAX - 4, "a\u00E9\U0001F600"},
      {UINT64_MAX - 3, units(u"a\u00E9\xD83D")},
      {UINT64_MAX - 2, "a\u00E9"},
      {UINT64_MAX - 1, "a"},
      {UINT64_MAX, ""},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(std::to_string(row.count));
    const String text = "a\u00E9\U0001F600";
    EXPECT_EQ(trimFromStart(text, row.count), "");
    EXPECT_EQ(trimFromEnd(text, row.count), row.withoutEnd);
    EXPECT_EQ(trimFromStartFromEnd(text, 0, row.count), row.withoutEnd);
    EXPECT_EQ(trimFromStartFromEnd(text, row.count, 0), "");
    EXPECT_EQ(trimFromStartFromEnd(text, row.count, row.count), "");
    EXPECT_EQ(trimFromStart("", row.count), "");
    EXPECT_EQ(trimFromEnd("", row.count), "");
    EXPECT_EQ(trimFromStart(kAbsent, row.count), kAbsent);
    EXPECT_EQ(trimFromEnd(kAbsent, row.count), kAbsent);
    EXPECT_EQ(trimFromStartFromEnd(kAbsent, row.count, row.count), kAbsent);
  }
  EXPECT_EQ(trimFromStartFromEnd("abcdef", 2, kSmallest), "cdef");
  EXPECT_EQ(trimFromStartFromEnd("abcdef", 2, UINT64_MAX - 4), "cd");
  EXPECT_EQ(trimFromStartFromEnd("abcdef", 2, UINT64_MAX - 1), "");
  EXPECT_EQ(trimFromStartFromEnd("abcdef", 2, UINT64_MAX), "");
}

TEST(Trim, OfAnAbsentTextIsAbsent) {
  EXPECT_EQ(trimFromStartFromEnd(kAbsent, 0, 0), kAbsent);
  EXPECT_EQ(trimFromStart(kAbsent, 0), kAbsent);
  EXPECT_EQ(trimFromEnd(kAbsent, 0), kAbsent);
}

TEST(Emptiness, IsALengthOfZero) {
  EXPECT_TRUE(isEmpty(kNothing));
  EXPECT_FALSE(isNotEmpty(kNothing));
  for (const String text : {"a", " ", "\n"}) {
    SCOPED_TRACE(shown({text}));
    EXPECT_FALSE(isEmpty(text));
    EXPECT_TRUE(isNotEmpty(text));
  }
  EXPECT_FALSE(isEmpty(std::string(1, '\0')));
}

TEST(PrefixAndSuffix, AreComparedExactly) {
  const struct {
    String receiver, s;
    bool begins, ends;
  } rows[] = {
      {"abc", "abc", true, true},
      {"abc", "a", true, false},
      {"abc", "ab", true, false},
      {"abc", "c", false, true},
      {"abc", "bc", false, true},
      {"abc", "b", false, false},
      {"abc", "", true, false},
      {"", "", true, true},
      {"", "a", false, false},
      {"bc", "abc", false, false},
      {"ab", "abc", false, false},
      {"abc", "A", false, false},
      {"abc", "C", false, false},
      {"\r\n", "\r\n", true, true},
      {"\r\n", "\n", false, true},
      {"Content-type: text/plain", "Content-type:", true, false},
      {"Content-type: text/plain", "content-type:", false, false},
      {"\u00E9\U0001F600", "\u00E9\U0001F600", true, true},
      {"\u00E9z\u00E9", "\u00E9", true, true},
      {"\U0001F600z\U0001F600", units(u"\xD83D"), true, false},  // half of a pair
      {"\U0001F600z\U0001F600", units(u"\xDE00"), false, true},
      {"abc", kAbsent, false, false},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(shown({row.receiver, row.s}));
    EXPECT_EQ(beginsWith(row.receiver, row.s), row.begins);
    EXPECT_EQ(endsWith(row.receiver, row.s), row.ends);
  }
}

TEST(PrefixAndSuffix, TogetherNeedBoth) {
  EXPECT_TRUE(beginsWithEndsWith("abc", "a", "bc"));
  EXPECT_TRUE(beginsWithEndsWith("abc", "ab", "bc"));
  EXPECT_FALSE(beginsWithEndsWith("abc", "a", "b"));
  EXPECT_FALSE(beginsWithEndsWith("abc", "b", "c"));
  EXPECT_FALSE(beginsWithEndsWith("abc", "a", ""));
  EXPECT_TRUE(beginsWithEndsWith("", "", ""));
}

TEST(PrefixAndSuffix, IgnoringCaseUpperCasesBothSides) {
  const String header = "Content-type: text/plain";
  EXPECT_TRUE(caseInsensitiveBeginsWith(header, "content-TYPE:"));
  EXPECT_FALSE(caseInsensitiveBeginsWith(header, "content-length:"));
  EXPECT_FALSE(caseInsensitiveBeginsWith(header, "text/plain"));
  EXPECT_TRUE(caseInsensitiveBeginsWith(header, ""));
  EXPECT_TRUE(caseInsensitiveBeginsWith("\u00DFa", "ss"));  // one unit becomes two
}

TEST(Equality, IsOfUnits) {
  const struct {
    String receiver, s;
    bool differs, matchesIgnoringCase;
  } rows[] = {
      {"abc", "abc", false, true},
      {"abc", "ABC", true, true},
      {"abc", "abd", true, false},
      {"abc", "ab", true, false},
      {"", "", false, true},
      {"", "a", true, false},
      {"\u00E9", "e\u0301", true, false},
      {"stra\u00DFe", "STRASSE", true, true},
      {"abc", kAbsent, true, false},
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
      {"abc", "abc", true, true},
      {"abc", "a", true, true},
      {"abc", "c", true, true},
      {"abc", "B", true, false},
      {"abc", "ac", false, false},
      {"abc", "abcd", false, false},
      {"abc", "", false, false},
      {"", "x", false, false},
      {"", "", false, false},
      {"aab", "ab", true, true},
      {"Apple Events", "APPLE", true, false},
      {"APPLE EVENTS", "APPLE", true, true},
      {"one\ntwo", "\n", true, true},
      {"one\rtwo", "\n", false, false},
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
      {"abc", {{"x", "bc", "a"}}, true},
      {"abc", {{"x", "y", "c"}}, true},
      {"abc", {{"x", "y"}}, false},
      {"abc", {{"BC"}}, false},
      {"abc", {{""}}, false},
      {"abc", {{"", "b"}}, true},
      {"", {{""}}, false},
      {"abc", Array(std::in_place), false},
      {"abc", kAbsent, false},
      {kAbsent, {{"a"}}, false},
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
    EXPECT_FALSE(test(kAbsent, ""));
    EXPECT_FALSE(test(kAbsent, "x"));
    EXPECT_FALSE(test(kAbsent, kAbsent));
  }
  EXPECT_FALSE(beginsWithEndsWith(kAbsent, "", ""));
}

TEST(PercentEscapeList, EscapesEachUnitOfTheListInItsOrder) {
  const String nul = std::string(1, '\0');
  const struct {
    String receiver, list, expected;
  } rows[] = {
      {"", "+&", ""},
      {"abc", "+&", "abc"},
      {"a+b", "", "a+b"},
      {"+", "+&", "%2B"},
      {"&a+b&+", "+&", "%26a%2Bb%26%2B"},
      {"++++", "+&", "%2B%2B%2B%2B"},
      {"50%+", "+&", "50%%2B"},
      {"+", "+%", "%252B"},
      {"+", "%+", "%2B"},
      {"+", "+2", "%%32B"},
      {"++", "++", "%2B%2B"},
      {"%", "%%", "%2525"},
      {"4", "44", "%3%34"},
      {"aA", "A", "a%41"},
      {"\n", "\n", "%0A"},
      {nul, nul, "%00"},
      {"\u00E9", "\u00E9", "%E9"},
      {"\u0100", "\u0100", "%100"},
      {"\u20AC", "\u20AC", "%20AC"},
      {"\U0001F600", "\U0001F600", "%D83D%DE00"},
      {"\U0001F601", "\U0001F600", units(u"%D83D\xDE01")},  // only the first half is in the list
      {kAbsent, "+&", kAbsent},
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
      {16, 43, 1, "2B"},
      {16, 10, 1, "0A"},
      {16, 0, 1, "00"},
      {16, 0x20AC, 1, "20AC"},
      {16, 256, 1, "100"},
      {16, 255, 0, "FF"},
      {16, 0, 0, "0"},
      {16, UINT64_MAX, 8, "FFFFFFFFFFFFFFFF"},
      {16, 0, 32, std::string(64, '0')},
      {2, 5, 1, "00000101"},
      {2, 0, 1, "00000000"},
      {2, 256, 1, "100000000"},
      {2, 0, 0, "0"},
      {2, 0, 8, std::string(64, '0')},
      {2, UINT64_MAX, 8, std::string(64, '1')},
      {2, 128, 9, std::string(64, '0') + "10000000"},
      {10, 0, 0, "0"},
      {10, 0, 4, "0"},
      {10, 42, 4, "42"},
      {10, UINT64_MAX, 0, "18446744073709551615"},
      {8, 8, 1, "10"},
      {36, 35, 1, "Z"},
      {36, 36, 1, "10"},
      {37, 35, 1, "Z"},
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
      {""sv, ""},
      {"\xFE\xFF\0A"sv, "A"},
      {"\xFF\xFE\x41\0"sv, "A"},
      {"\0A\0B"sv, "AB"},
      {"A\0B\0"sv, "A\0B\0"s},
      {"\xFE\xFF"sv, "\u02DB\u02C7"},
      {"\xFF\xFE"sv, "\u02C7\u02DB"},
      {"\0"sv, std::string(1, '\0')},
      {"\0A"sv, "\0A"s},
      {"\xE9"sv, "\u00C8"},
      {"\xC3\xA9"sv, "\u00E9"},
      {"a\xC3\xA9z"sv, "a\u00E9z"},
      {"na\xEFve"sv, "na\u00D4ve"},
      {"\xFE\xFE\0A"sv, "\u02DB\u02DB\0A"s},  // half a mark is none
      {"\xFF\xFF\0A"sv, "\u02C7\u02C7\0A"s},
      {"\xEF\xBB\xBFx"sv, "\uFEFFx"},
      {"\xFE\xFF\xDC\0"sv, "\u02DB\u02C7\u2039\0"s},
      // Three bytes are enough for the first trial; half a unit fails in it.
      {"\0\xC3\xA9"sv, "\0\u221A\u00A9"s},
      {"\xFE\xFF\0"sv, "\u02DB\u02C7\0"s},
      {"\xFF\xFE\0"sv, "\u02C7\u02DB\0"s},
      {"\0A\xD8\x80"sv, "\0A\u00FF\u00C4"s},  // not by UTF-8, in which it is valid
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(testing::PrintToString(row.data));
    EXPECT_EQ(stringWithUnknownEncodingData(Data(row.data)), row.expected);
  }
}

TEST(QuiQuoted, DoublesQuotesAndEscapesNothingElse) {
  const struct {
    String receiver, expected;
  } rows[] = {
      {"", "\"\""},
      {"\"", "\"\"\"\""},
      {"\"\"", "\"\"\"\"\"\""},
      {"say \"hi\"", "\"say \"\"hi\"\"\""},
      {"a}b", "\"a}b\""},
      {"{a},\\b\r\nc", "\"{a},\\b\r\nc\""},
      {"100%@%s", "\"100%@%s\""},
      {"\u201Chi\u201D", "\"\u201Chi\u201D\""},
      {kAbsent, kAbsent},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(shown({row.receiver}));
    EXPECT_EQ(quiQuoted(row.receiver), row.expected);
  }
}

}  // namespace

}  // namespace quintora
