#include "extras/UTF16.h"

#include <gmock/gmock.h>

#include "extras/String.h"
#include "tests/support/Units.h"

namespace quintora {

namespace {

using testing::ElementsAre;

constexpr auto kAbsent = std::nullopt;

// A character of each length, from one byte to four; the last is two units.
constexpr std::u16string_view kUnits = u"a\u00E9\u20AC\U0001F600";
constexpr std::string_view kText = "a\u00E9\u20AC\U0001F600";
constexpr size_t kEnd = 10;

// The same with a half of either kind in front.
constexpr std::u16string_view kUnitsWithHalves = u"\xDE00\xD83D|a\u00E9\u20AC\U0001F600z";

std::vector<std::string> piecesBetween(std::string_view text, std::string_view separator) {
  std::vector<std::string> pieces;
  forEachPieceBetween(text, separator, [&](std::string_view piece) { pieces.emplace_back(piece); });
  return pieces;
}

testing::Matcher<UnitPosition> isAt(size_t byte, bool isWithinPair = false) {
  return testing::AllOf(testing::Field("byte", &UnitPosition::byte, byte),
                        testing::Field("isWithinPair", &UnitPosition::isWithinPair, isWithinPair));
}

TEST(UnitCount, CountsACharacterBeyondFFFFTwice) {
  const struct {
    std::string text;
    uint64_t count;
  } rows[] = {
      // clang-format off
      {"", 0},
      {std::string(1, '\0'), 1},
      {"a", 1},
      {"\x7F", 1},
      {"\u0080", 1},
      {"\u00E9", 1},
      {"\u07FF", 1},
      {"\u0800", 1},
      {"\u20AC", 1},
      {"\uD7FF", 1},
      {"\uE000", 1},
      {"\uFFFF", 1},
      {"\U00010000", 2},
      {"\U0001F600", 2},
      {"\U0010FFFF", 2},
      {"e\u0301", 2},
      {std::string(kText), 5},
      {units(u"\xD800"), 1},
      {units(u"\xDBFF"), 1},
      {units(u"\xDC00"), 1},
      {units(u"\xDFFF"), 1},
      {units(u"\xDE00\xD83D"), 2},
      {units(kUnitsWithHalves), 9},
      // clang-format on
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(testing::PrintToString(row.text));
    EXPECT_EQ(unitCount(row.text), row.count);
    EXPECT_EQ(length(row.text), row.count);
  }
  EXPECT_EQ(length(kAbsent), 0u);
}

TEST(PositionAfter, FallsBetweenHalvesToo) {
  EXPECT_THAT(positionAfter(kText, {}, 0), isAt(0));
  EXPECT_THAT(positionAfter(kText, {}, 1), isAt(1));
  EXPECT_THAT(positionAfter(kText, {}, 2), isAt(3));
  EXPECT_THAT(positionAfter(kText, {}, 3), isAt(6));
  EXPECT_THAT(positionAfter(kText, {}, 4), isAt(6, true));
  EXPECT_THAT(positionAfter(kText, {}, 5), isAt(kEnd));
  EXPECT_THAT(positionAfter("", {}, 0), isAt(0));
}

TEST(PositionAfter, IsTheEndWhereTheTextEndsBefore) {
  for (const uint64_t units : {uint64_t{6}, uint64_t{1} << 32, UINT64_MAX}) {
    EXPECT_THAT(positionAfter(kText, {}, units), isAt(kEnd)) << units;
    EXPECT_THAT(positionAfter(kText, {6, true}, units), isAt(kEnd)) << units;
    EXPECT_THAT(positionAfter(kText, {kEnd, false}, units), isAt(kEnd)) << units;
    EXPECT_THAT(positionAfter("", {}, units), isAt(0)) << units;
  }
  EXPECT_THAT(positionAfter(kText, {kEnd, false}, 0), isAt(kEnd));
}

TEST(PositionAfter, CountsFromAnyPosition) {
  EXPECT_THAT(positionAfter(kText, {1, false}, 1), isAt(3));
  EXPECT_THAT(positionAfter(kText, {3, false}, 2), isAt(6, true));
  EXPECT_THAT(positionAfter(kText, {6, true}, 0), isAt(6, true));
  EXPECT_THAT(positionAfter(kText, {6, true}, 1), isAt(kEnd));
  EXPECT_THAT(positionAfter("\U0001F600\U0001F601", {0, true}, 2), isAt(4, true));
}

TEST(PositionBeforeEnd, FallsBetweenHalvesToo) {
  EXPECT_THAT(positionBeforeEnd(kText, 0), isAt(kEnd));
  EXPECT_THAT(positionBeforeEnd(kText, 1), isAt(6, true));
  EXPECT_THAT(positionBeforeEnd(kText, 2), isAt(6));
  EXPECT_THAT(positionBeforeEnd(kText, 3), isAt(3));
  EXPECT_THAT(positionBeforeEnd(kText, 4), isAt(1));
  EXPECT_THAT(positionBeforeEnd(kText, 5), isAt(0));
  EXPECT_THAT(positionBeforeEnd("", 0), isAt(0));
}

TEST(PositionBeforeEnd, IsTheEndWhereTheTextBeginsBehindIt) {
  for (const uint64_t units : {uint64_t{6}, uint64_t{1} << 32, UINT64_MAX}) {
    EXPECT_THAT(positionBeforeEnd(kText, units), isAt(kEnd)) << units;
    EXPECT_THAT(positionBeforeEnd("", units), isAt(0)) << units;
  }
  EXPECT_THAT(positionBeforeEnd("\U0001F600", 3), isAt(4));
}

TEST(Positions, AreTheSameFromEitherEnd) {
  for (const std::u16string_view codeUnits : {kUnits, kUnitsWithHalves}) {
    const std::string text = units(codeUnits);
    for (size_t at = 0; at <= codeUnits.size(); ++at) {
      const UnitPosition fromStart = positionAfter(text, {}, at);
      EXPECT_THAT(positionBeforeEnd(text, codeUnits.size() - at),
                  isAt(fromStart.byte, fromStart.isWithinPair))
          << at;
    }
  }
}

TEST(UnitsBetween, CutsAtEveryTwoPositions) {
  for (const std::u16string_view codeUnits : {kUnits, kUnitsWithHalves}) {
    const std::string text = units(codeUnits);
    for (size_t from = 0; from <= codeUnits.size(); ++from) {
      const UnitPosition start = positionAfter(text, {}, from);
      for (size_t to = 0; to <= codeUnits.size(); ++to) {
        const size_t count = to < from ? 0 : to - from;
        EXPECT_EQ(unitsBetween(text, start, positionAfter(text, {}, to)),
                  units(codeUnits.substr(from, count)))
            << from << " to " << to;
      }
    }
  }
}

TEST(UnitsBetween, KeepsHalvesOfThePairsThatItCuts) {
  EXPECT_EQ(unitsBetween("\U0001F600", {0, false}, {0, true}), "\xED\xA0\xBD");
  EXPECT_EQ(unitsBetween("\U0001F600", {0, true}, {4, false}), "\xED\xB8\x80");
  EXPECT_EQ(unitsBetween("\U0001F600", {0, true}, {0, true}), "");
  EXPECT_EQ(unitsBetween("\U0001F600", {0, true}, {0, false}), "");
  EXPECT_EQ(unitsBetween("\U0001F600\U0001F601", {0, true}, {4, true}), "\xED\xB8\x80\xED\xA0\xBD");
}

TEST(AppendUnits, JoinsHalvesThatMeetAndNoOthers) {
  const struct {
    std::u16string text, more;
  } rows[] = {
      {u"", u""},
      {u"", u"a"},
      {u"a", u""},
      {u"a\u00E9", u"\u20AC\U0001F600"},
      {u"\U0001F600", u"\U0001F600"},
      {u"\xD83D", u"\xDE00"},
      {u"\xD83D", u"\xDE00z"},
      {u"a\xD83D", u"\xDE00\xDE00"},
      {u"\xD83D\xD83D", u"\xDE00"},
      {u"\xDBFF", u"\xDFFF"},
      {u"\xD800", u"\xDC00"},
      {u"\xDE00", u"\xD83D"},
      {u"\xD83D", u"\xD83D"},
      {u"\xDE00", u"\xDE00"},
      {u"\xD83D", u""},
      {u"", u"\xDE00"},
      {u"\xD83D", u"z\xDE00"},
      {u"\xD83D", u"\U0001F600"},
      {u"\U0001F600", u"\xDE00"},
      {u"\uD7FF", u"\xDE00"},
      {u"\xD83D", u"\uE000"},
  };
  for (const auto& row : rows) {
    std::string text = units(row.text);
    SCOPED_TRACE(testing::PrintToString(text) + " and " + testing::PrintToString(units(row.more)));
    appendUnits(text, units(row.more));
    EXPECT_EQ(text, units(row.text + row.more));
  }
}

TEST(AppendUnits, PutsATextTogetherAgainThatWasCutAnywhere) {
  for (const std::u16string_view codeUnits : {kUnits, kUnitsWithHalves}) {
    for (size_t at = 0; at <= codeUnits.size(); ++at) {
      std::string text = units(codeUnits.substr(0, at));
      appendUnits(text, units(codeUnits.substr(at)));
      EXPECT_EQ(text, units(codeUnits)) << at;
    }
    std::string text;
    for (const char16_t unit : codeUnits)
      appendUnits(text, units({&unit, 1}));
    EXPECT_EQ(text, units(codeUnits));
  }
}

TEST(FindUnits, CountsUnitsUpToTheFirstOccurrence) {
  const struct {
    std::u16string text, needle;
    uint64_t at;
  } rows[] = {
      {u"abcabc", u"bc", 1},
      {u"abc", u"abc", 0},
      {u"abc", u"abcd", kNoUnits},
      {u"", u"a", kNoUnits},
      {u"a\u00E9\u20AC\U0001F600z", u"\u00E9", 1},
      {u"a\u00E9\u20AC\U0001F600z", u"\u20AC", 2},
      {u"a\u00E9\u20AC\U0001F600z", u"\U0001F600", 3},
      {u"a\u00E9\u20AC\U0001F600z", u"z", 5},
      {u"a\u00E9\u20AC\U0001F600z", u"\xD83D", 3},  // halves within the pair
      {u"a\u00E9\u20AC\U0001F600z", u"\u20AC\xD83D", 2},
      {u"a\u00E9\u20AC\U0001F600z", u"\xDE00", 4},
      {u"a\u00E9\u20AC\U0001F600z", u"\xDE00z", 4},
      {u"a\u00E9\u20AC\U0001F600z", u"\xD83Dz", kNoUnits},
      {u"a\u00E9\u20AC\U0001F600z", u"\u20AC\xDE00", kNoUnits},
      {u"\U0001F600\U0001F601", u"\xDE00\xD83D", 1},
      {u"\U0001F600\U0001F601", u"\xDE01", 3},
      {u"\U0001F600\xD83Dz", u"\xD83Dz", 2},  // halves that stand alone
      {u"z\xDE00\U0001F600", u"z\xDE00", 0},
      {u"a\xD83D\U0001F600", u"\U0001F600", 2},
      {u"a\xD83D|\xDE00", u"\U0001F600", kNoUnits},
      {u"a\xD83D|\xDE00", u"\xD83D|\xDE00", 1},
      {u"a\xD83D|\xDE00z", u"z", 4},
  };
  for (const auto& row : rows) {
    const std::string text = units(row.text), needle = units(row.needle);
    SCOPED_TRACE(testing::PrintToString(text) + " and " + testing::PrintToString(needle));
    EXPECT_EQ(findUnits(text, needle), row.at);
  }
}

TEST(ForEachPieceBetween, KeepsEmptyPieces) {
  EXPECT_THAT(piecesBetween("", "&"), ElementsAre(""));
  EXPECT_THAT(piecesBetween("a", "&"), ElementsAre("a"));
  EXPECT_THAT(piecesBetween("&", "&"), ElementsAre("", ""));
  EXPECT_THAT(piecesBetween("&a&&b", "&"), ElementsAre("", "a", "", "b"));
  EXPECT_THAT(piecesBetween("aaa", "aa"), ElementsAre("", "a"));
  EXPECT_THAT(piecesBetween("a", "abc"), ElementsAre("a"));
  EXPECT_THAT(piecesBetween("a\u00E9\u20AC\u00E9\U0001F600", "\u00E9"),
              ElementsAre("a", "\u20AC", "\U0001F600"));
  EXPECT_THAT(piecesBetween("a\U0001F600b", "\U0001F600"), ElementsAre("a", "b"));
}

TEST(ForEachPieceBetween, CutsPairsAtHalves) {
  const std::string high = units(u"\xD83D"), low = units(u"\xDE00");
  EXPECT_THAT(piecesBetween("", high), ElementsAre(""));
  EXPECT_THAT(piecesBetween("abc", high), ElementsAre("abc"));
  EXPECT_THAT(piecesBetween("a\U0001F600b", high), ElementsAre("a", low + "b"));
  EXPECT_THAT(piecesBetween("a\U0001F600b", low), ElementsAre("a" + high, "b"));
  EXPECT_THAT(piecesBetween("\U0001F600\U0001F600", units(u"\xDE00\xD83D")),
              ElementsAre(high, low));
  EXPECT_THAT(piecesBetween("\U0001F600\U0001F601\U0001F600", high),
              ElementsAre("", low, units(u"\xDE01"), low));
  EXPECT_THAT(piecesBetween(high + high, high), ElementsAre("", "", ""));
  EXPECT_THAT(piecesBetween(units(u"\xD83D|\xDE00"), "|"), ElementsAre(high, low));
}

TEST(HasLooseHalf, LooksAtBothEndsOnly) {
  const struct {
    std::u16string text;
    bool expected;
  } rows[] = {
      // clang-format off
      {u"", false},
      {u"a", false},
      {u"\u00E9", false},
      {u"ab", false},
      {u"a\u00E9", false},
      {u"\u20AC", false},
      {u"\uD7FF", false},
      {u"\uE000", false},
      {u"\U0001F600", false},
      {u"\U0001F600a\U0001F600", false},
      {u"\xDE00", true},
      {u"\xD83D", true},
      {u"\xDC00", true},
      {u"\xDFFF", true},
      {u"\xD800", true},
      {u"\xDBFF", true},
      {u"\xDE00z", true},
      {u"z\xD83D", true},
      {u"\xDE00\xD83D", true},
      {u"\xDE00\U0001F600", true},
      {u"\U0001F600\xD83D", true},
      {u"\u00E9\xD83D", true},
      // A high half at the start and a low one at the end have no other half to meet.
      {u"\xD83Dz", false},
      {u"z\xDE00", false},
      {u"\xD83D\U0001F600", false},
      {u"\U0001F600\xDE00", false},
      {u"a\xD83Dz", false},
      {u"a\xDE00z", false},
      {u"a\xDE00\xD83Dz", false},
      // clang-format on
  };
  for (const auto& row : rows) {
    const std::string text = units(row.text);
    EXPECT_EQ(hasLooseHalf(text), row.expected) << testing::PrintToString(text);
  }
}

TEST(UnitsOf, AndTextOfUnitsAreEachOthersReverse) {
  const struct {
    std::u16string codeUnits;
    std::string text;
  } rows[] = {
      {u"", ""},
      {std::u16string(1, u'\0'), std::string(1, '\0')},
      {u"\x7F\u0080\u07FF\u0800\uD7FF\uE000\uFFFF",
       "\x7F\xC2\x80\xDF\xBF\xE0\xA0\x80\xED\x9F\xBF\xEE\x80\x80\xEF\xBF\xBF"},
      {u"\U00010000\U0001F600\U0010FFFF", "\xF0\x90\x80\x80\xF0\x9F\x98\x80\xF4\x8F\xBF\xBF"},
      {u"\xD800\xD83D\xDBFF", "\xED\xA0\x80\xED\xA0\xBD\xED\xAF\xBF"},
      {u"\xDC00\xDE00\xDFFF", "\xED\xB0\x80\xED\xB8\x80\xED\xBF\xBF"},
      {u"\xDE00\xD83D\xDE00\xD83D", "\xED\xB8\x80\xF0\x9F\x98\x80\xED\xA0\xBD"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(testing::PrintToString(row.text));
    EXPECT_EQ(textOfUnits(row.codeUnits), row.text);
    EXPECT_EQ(unitsOf(row.text), row.codeUnits);
  }
}

}  // namespace

}  // namespace quintora
