#include <gmock/gmock.h>

#include <csignal>

#include "extras/NSArray+Extras.h"
#include "extras/NSDictionary+NSDictionary_Extras.h"
#include "extras/NSString+Extras.h"
#include "extras/NSString.h"

namespace quintora {

namespace {

using testing::AnyOf;
using testing::KilledBySignal;

constexpr auto kAbsent = std::nullopt;
const Array kLetters = {{u"x", u"y", u"z"}};
const Array kNoElements(std::in_place);

TEST(StringFromArrayElement, CountsFromEitherEnd) {
  const struct {
    Array receiver;
    int64_t index;
    String expected;
  } rows[] = {
      // clang-format off
      {kLetters, 0, u"x"},
      {kLetters, 1, u"y"},
      {kLetters, 2, u"z"},
      {kLetters, 3, u""},
      {kLetters, INT64_MAX, u""},
      {kLetters, -1, u"z"},
      {kLetters, -3, u"x"},
      {kLetters, -4, u""},
      {kLetters, INT64_MIN, u""},
      {kNoElements, 0, u""},
      {kNoElements, 1, u""},
      {kNoElements, -1, u""},
      {Array(kAbsent), 0, kAbsent},
      {Array(kAbsent), -1, kAbsent},
      // clang-format on
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(testing::PrintToString(row.receiver) + " at " + std::to_string(row.index));
    EXPECT_EQ(stringFromArrayElement(row.receiver, row.index), row.expected);
  }
}

TEST(SafeObjectAtIndex, IsAbsentFromTheCountOn) {
  EXPECT_EQ(safeObjectAtIndex(kLetters, 0), u"x");
  EXPECT_EQ(safeObjectAtIndex(kLetters, 2), u"z");
  EXPECT_EQ(safeObjectAtIndex(kLetters, 3), kAbsent);
  EXPECT_EQ(safeObjectAtIndex(kLetters, UINT64_MAX), kAbsent);
  EXPECT_EQ(safeObjectAtIndex(kNoElements, 0), kAbsent);
  EXPECT_EQ(safeObjectAtIndex(kAbsent, 0), kAbsent);
}

TEST(StringForKeyDefault, PrefersWhatIsStored) {
  const Dictionary dictionary = {{{u"name", u"Ann"}, {u"empty", u""}}};
  EXPECT_EQ(stringForKeyDefault(dictionary, u"name", u"nobody"), u"Ann");
  EXPECT_EQ(stringForKeyDefault(dictionary, u"name", kAbsent), u"Ann");
  EXPECT_EQ(stringForKeyDefault(dictionary, u"empty", u"nobody"), u"");
  EXPECT_EQ(stringForKeyDefault(dictionary, u"Name", u"nobody"), u"nobody");
  EXPECT_EQ(stringForKeyDefault(dictionary, u"missing", u""), u"");
  EXPECT_EQ(stringForKeyDefault(dictionary, u"missing", kAbsent), kAbsent);
  EXPECT_EQ(stringForKeyDefault(kAbsent, u"name", u"nobody"), kAbsent);
}

TEST(Accessors, ReturnTheVeryElement) {
  const Dictionary dictionary = {{{u"name", u"Ann"}}};
  const String otherwise = u"nobody";
  EXPECT_EQ(&safeObjectAtIndex(kLetters, 1), &(*kLetters)[1]);
  EXPECT_EQ(&stringFromArrayElement(kLetters, -1), &kLetters->back());
  EXPECT_EQ(&stringForKeyDefault(dictionary, u"name", otherwise), dictionary->find(u"name"));
  EXPECT_EQ(&stringForKeyDefault(dictionary, u"missing", otherwise), &otherwise);
}

TEST(SetObjectForKey, ReplacesAnEarlierValue) {
  Dictionary dictionary(std::in_place);
  setObjectForKey(dictionary, u"1", u"a");
  setObjectForKey(dictionary, u"2", u"b");
  setObjectForKey(dictionary, u"3", u"a");
  setObjectForKey(dictionary, u"", u"");
  EXPECT_EQ(dictionary, (Dictionary{{{u"a", u"3"}, {u"b", u"2"}, {u"", u""}}}));
}

TEST(SetObjectForKey, LeavesAnAbsentReceiverAlone) {
  Dictionary dictionary;
  setObjectForKey(dictionary, u"value", u"key");
  setObjectForKey(dictionary, kAbsent, kAbsent);
  EXPECT_EQ(dictionary, kAbsent);
}

TEST(SetObjectForKeyDeathTest, EndsTheRunForAnAbsentKeyOrValue) {
  Dictionary dictionary = {{{u"key", u"value"}}};
  EXPECT_EXIT(setObjectForKey(dictionary, kAbsent, u"key"), KilledBySignal(SIGABRT), "");
  EXPECT_EXIT(setObjectForKey(dictionary, u"value", kAbsent), KilledBySignal(SIGABRT), "");
  EXPECT_EXIT(setObjectForKey(dictionary, kAbsent, kAbsent), KilledBySignal(SIGABRT), "");
}

TEST(EncodePostData, WritesEscapedPairs) {
  const struct {
    std::u16string key;
    String value;
    const char* expected;
  } rows[] = {
      {u"q", u"Jo Smith+Co", "q=Jo%20Smith%2BCo"},
      {u"q", u"a=1&b=2", "q=a=1%26b=2"},
      {u"q", u"50%", "q=50%25"},
      {u"q", u"caf\u00E9", "q=caf%C3%A9"},
      {u"a=b", u"c", "a=b=c"},
      {u"", u"", "="},
      {u"", u"x", "=x"},
      {u"flag", u"", "flag="},
      {u"a b+c&d%", u"", "a%20b%2Bc%26d%25="},
      {u"q", u"%2B", "q=%252B"},
      {u"q", u"-_.!~*'();/?:@=$,", "q=-_.!~*'();/?:@=$,"},
      {u"q", u"\"`%<>\\^{|}\x7F", "q=%22%60%25%3C%3E%5C%5E%7B%7C%7D%7F"},
      {u"q", std::u16string(u"\0\r\n", 3), "q=%00%0D%0A"},
      {u"q", u"\u20AC\U0001F600", "q=%E2%82%AC%F0%9F%98%80"},
      {u"q", u"\xD83D", "q=(null)"},
      {u"\xDE00", u"x", "(null)=x"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(testing::PrintToString(row.key) + " and " + testing::PrintToString(row.value));
    EXPECT_EQ(encodePostData(Dictionary{{{row.key, row.value}}}), row.expected);
  }
}

// One pass does what the two operations on texts do one after the other.
TEST(EncodePostData, EscapesEveryUnitAsTheOperationsOnTextsDo) {
  for (unsigned unit = 0; unit <= 0xFFFF; ++unit) {
    const std::u16string text = {u'<', static_cast<char16_t>(unit), u'a'};
    const String escaped = percentEscapeList(
        stringByAddingPercentEscapesUsingEncoding(text, kUTF8TextEncoding), u"+&");
    ASSERT_EQ(encodePostData(Dictionary{{{text, u""}}}),
              lossyUTF8Data(stringWithFormat(u"%@=", {escaped})))
        << unit;
  }
}

TEST(EncodePostData, EscapesTextsOfAnyLength) {
  std::u16string text;
  Data expected;
  for (size_t size = 0; size < 300; ++size) {
    ASSERT_EQ(encodePostData(Dictionary{{{u"", text}}}), "=" + expected);
    ASSERT_EQ(encodePostData(Dictionary{{{text + u'\xDC00', text}}}), "(null)=" + expected);
    text += size % 50 == 0 ? u' ' : u'x';
    expected += size % 50 == 0 ? "%20" : "x";
  }
}

TEST(EncodePostData, EscapesCharactersAtEveryPlaceOfLongTexts) {
  const struct {
    std::u16string_view units;
    const char* escaped;
  } characters[] = {
      {u" ", "%20"},
      {u"\u00E9", "%C3%A9"},
      {u"\u20AC", "%E2%82%AC"},
      {u"\U0001F600", "%F0%9F%98%80"},
  };
  for (const auto& character : characters) {
    std::u16string text;
    Data expected;
    for (size_t length = 0; length < 40; ++length) {
      for (size_t count = 1; count < 100; count += 33) {
        text += std::u16string(length, u'x');
        expected += Data(length, 'x');
        for (size_t i = 0; i < count; ++i) {
          text += character.units;
          expected += character.escaped;
        }
      }
      ASSERT_EQ(encodePostData(Dictionary{{{text, text}}}), expected + "=" + expected) << length;
      ASSERT_EQ(encodePostData(Dictionary{{{text, text + u'\xD83D'}}}), expected + "=(null)");
    }
  }
}

TEST(EncodePostData, JoinsPairsInAnyOrder) {
  EXPECT_THAT(encodePostData(Dictionary{{{u"a", u"1"}, {u"b", u"2"}}}),
              AnyOf("a=1&b=2", "b=2&a=1"));
  EXPECT_THAT(encodePostData(Dictionary{{{u"", u""}, {u"b", u"&"}}}), AnyOf("=&b=%26", "b=%26&="));
}

TEST(EncodePostData, OfNoEntriesIsEmpty) {
  EXPECT_EQ(encodePostData(Dictionary(std::in_place)), "");
  EXPECT_EQ(encodePostData(kAbsent), "");
}

}  // namespace

}  // namespace quintora
