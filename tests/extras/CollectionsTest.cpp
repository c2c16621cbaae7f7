#include <gmock/gmock.h>

#include <csignal>

#include "extras/Message.h"
#include "extras/NSArray+Extras.h"
#include "extras/NSDictionary+NSDictionary_Extras.h"
#include "extras/NSString+Extras.h"
#include "extras/NSString.h"
#include "tests/support/Units.h"

namespace quintora {

namespace {

using namespace std::string_literals;
using testing::AnyOf;
using testing::KilledBySignal;

constexpr auto kAbsent = std::nullopt;
const Array kLetters = {{"x", "y", "z"}};
const Array kNoElements(std::in_place);

TEST(StringFromArrayElement, CountsFromEitherEnd) {
  const struct {
    Array receiver;
    int64_t index;
    String expected;
  } rows[] = {
      // clang-format off
      {kLetters, 0, "x"},
      {kLetters, 1, "y"},
      {kLetters, 2, "z"},
      {kLetters, 3, ""},
      {kLetters, INT64_MAX, ""},
      {kLetters, -1, "z"},
      {kLetters, -3, "x"},
      {kLetters, -4, ""},
      {kLetters, INT64_MIN, ""},
      {kNoElements, 0, ""},
      {kNoElements, 1, ""},
      {kNoElements, -1, ""},
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
  EXPECT_EQ(safeObjectAtIndex(kLetters, 0), "x");
  EXPECT_EQ(safeObjectAtIndex(kLetters, 2), "z");
  EXPECT_EQ(safeObjectAtIndex(kLetters, 3), kAbsent);
  EXPECT_EQ(safeObjectAtIndex(kLetters, UINT64_MAX), kAbsent);
  EXPECT_EQ(safeObjectAtIndex(kNoElements, 0), kAbsent);
  EXPECT_EQ(safeObjectAtIndex(kAbsent, 0), kAbsent);
}

TEST(StringForKeyDefault, PrefersWhatIsStored) {
  const Dictionary dictionary = {{{"name", "Ann"}, {"empty", ""}}};
  EXPECT_EQ(stringForKeyDefault(dictionary, "name", "nobody"), "Ann");
  EXPECT_EQ(stringForKeyDefault(dictionary, "name", kAbsent), "Ann");
  EXPECT_EQ(stringForKeyDefault(dictionary, "empty", "nobody"), "");
  EXPECT_EQ(stringForKeyDefault(dictionary, "Name", "nobody"), "nobody");
  EXPECT_EQ(stringForKeyDefault(dictionary, "missing", ""), "");
  EXPECT_EQ(stringForKeyDefault(dictionary, "missing", kAbsent), kAbsent);
  EXPECT_EQ(stringForKeyDefault(dictionary, kAbsent, "nobody"), "nobody");
  EXPECT_EQ(stringForKeyDefault(dictionary, kAbsent, kAbsent), kAbsent);
  EXPECT_EQ(stringForKeyDefault(kAbsent, "name", "nobody"), kAbsent);
}

TEST(Accessors, ReturnTheVeryElement) {
  EXPECT_EQ(&safeObjectAtIndex(kLetters, 1), &(*kLetters)[1]);
  EXPECT_EQ(&stringFromArrayElement(kLetters, -1), &kLetters->back());
}

TEST(SetObjectForKey, ReplacesAnEarlierValue) {
  Dictionary dictionary(std::in_place);
  setObjectForKey(dictionary, "1", "a");
  setObjectForKey(dictionary, "2", "b");
  setObjectForKey(dictionary, "3", "a");
  setObjectForKey(dictionary, "", "");
  EXPECT_EQ(dictionary, (Dictionary{{{"a", "3"}, {"b", "2"}, {"", ""}}}));
}

TEST(SetObjectForKey, LeavesAnAbsentReceiverAlone) {
  Dictionary dictionary;
  setObjectForKey(dictionary, "value", "key");
  setObjectForKey(dictionary, kAbsent, kAbsent);
  EXPECT_EQ(dictionary, kAbsent);
}

TEST(SetObjectForKeyDeathTest, EndsTheRunForAnAbsentKeyOrValue) {
  Dictionary dictionary = {{{"key", "value"}}};
  EXPECT_EXIT(setObjectForKey(dictionary, kAbsent, "key"), KilledBySignal(SIGABRT), "");
  EXPECT_EXIT(setObjectForKey(dictionary, "value", kAbsent), KilledBySignal(SIGABRT), "");
  EXPECT_EXIT(setObjectForKey(dictionary, kAbsent, kAbsent), KilledBySignal(SIGABRT), "");
}

TEST(EncodePostData, WritesEscapedPairs) {
  const struct {
    std::string key, value;
    const char* expected;
  } rows[] = {
      {"q", "Jo Smith+Co", "q=Jo%20Smith%2BCo"},
      {"q", "a=1&b=2", "q=a=1%26b=2"},
      {"q", "50%", "q=50%25"},
      {"q", "caf\u00E9", "q=caf%C3%A9"},
      {"a=b", "c", "a=b=c"},
      {"", "", "="},
      {"", "x", "=x"},
      {"flag", "", "flag="},
      {"a b+c&d%", "", "a%20b%2Bc%26d%25="},
      {"q", "%2B", "q=%252B"},
      {"q", "-_.!~*'();/?:@=$,", "q=-_.!~*'();/?:@=$,"},
      {"q", "\"`%<>\\^{|}\x7F", "q=%22%60%25%3C%3E%5C%5E%7B%7C%7D%7F"},
      {"q", "\0\r\n"s, "q=%00%0D%0A"},
      {"q", "\u20AC\U0001F600", "q=%E2%82%AC%F0%9F%98%80"},
      {"q", units(u"\xD83D"), "q=(null)"},
      {units(u"\xDE00"), "x", "(null)=x"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(testing::PrintToString(row.key) + " and " + testing::PrintToString(row.value));
    EXPECT_EQ(encodePostData(Dictionary{{{row.key, row.value}}}), row.expected);
  }
}

// One pass does what the two operations on texts do one after the other.
TEST(EncodePostData, EscapesEveryUnitAsTheOperationsOnTextsDo) {
  for (unsigned unit = 0; unit <= 0xFFFF; ++unit) {
    const std::string text = units(std::u16string{u'<', static_cast<char16_t>(unit), u'a'});
    const String escaped =
        percentEscapeList(stringByAddingPercentEscapesUsingEncoding(text, kUTF8TextEncoding), "+&");
    ASSERT_EQ(encodePostData(Dictionary{{{text, ""}}}), composed({escaped, "="})) << unit;
  }
}

TEST(EncodePostData, EscapesTextsOfAnyLength) {
  std::string text;
  Data expected;
  for (size_t size = 0; size < 300; ++size) {
    ASSERT_EQ(encodePostData(Dictionary{{{"", text}}}), "=" + expected);
    ASSERT_EQ(encodePostData(Dictionary{{{text + units(u"\xDC00"), text}}}), "(null)=" + expected);
    text += size % 50 == 0 ? ' ' : 'x';
    expected += size % 50 == 0 ? "%20" : "x";
  }
}

TEST(EncodePostData, EscapesCharactersAtEveryPlaceOfLongTexts) {
  const struct {
    const char* bytes;
    const char* escaped;
  } characters[] = {
      {" ", "%20"},
      {"\u00E9", "%C3%A9"},
      {"\u20AC", "%E2%82%AC"},
      {"\U0001F600", "%F0%9F%98%80"},
  };
  for (const auto& character : characters) {
    std::string text;
    Data expected;
    for (size_t length = 0; length < 40; ++length) {
      for (size_t count = 1; count < 100; count += 33) {
        text += std::string(length, 'x');
        expected += Data(length, 'x');
        for (size_t i = 0; i < count; ++i) {
          text += character.bytes;
          expected += character.escaped;
        }
      }
      ASSERT_EQ(encodePostData(Dictionary{{{text, text}}}), expected + "=" + expected) << length;
      ASSERT_EQ(encodePostData(Dictionary{{{text, text + units(u"\xD83D")}}}),
                expected + "=(null)");
    }
  }
}

TEST(EncodePostData, JoinsPairsInAnyOrder) {
  EXPECT_THAT(encodePostData(Dictionary{{{"a", "1"}, {"b", "2"}}}), AnyOf("a=1&b=2", "b=2&a=1"));
  EXPECT_THAT(encodePostData(Dictionary{{{"", ""}, {"b", "&"}}}), AnyOf("=&b=%26", "b=%26&="));
}

TEST(EncodePostData, AnUnpairedSurrogateTouchesItsOwnKeyOrValueOnly) {
  Dictionary form = {{{"a", units(u"\xD83D")}, {units(u"\xDC00"), "b"}}};
  EXPECT_THAT(encodePostData(form), AnyOf("a=(null)&(null)=b", "(null)=b&a=(null)"));
  setObjectForKey(form, "c", "a");
  EXPECT_THAT(encodePostData(form), AnyOf("a=c&(null)=b", "(null)=b&a=c"));
}

// The body as a reader gets it who has so much room at a time.
Data readWithRoom(const Dictionary& dictionary, size_t room) {
  PostDataEncoder encoder(dictionary);
  Data body;
  for (size_t count = 1; count > 0;) {
    Data piece(room + 1, '!');  // what follows the room is not written
    count = encoder.read(piece.data(), room);
    EXPECT_LE(count, room);
    EXPECT_EQ(piece.back(), '!');
    body.append(piece, 0, count);
  }
  EXPECT_EQ(encoder.read(Data(room, '!').data(), room), 0u) << "behind the end";
  return body;
}

TEST(PostDataEncoder, WritesTheSameBodyInPiecesOfAnySize) {
  Dictionary many(std::in_place);
  for (size_t i = 0; i < 200; ++i)
    setObjectForKey(many, std::string(i % 7, i % 2 == 0 ? '%' : 'v'), "key" + std::to_string(i));
  const Dictionary dictionaries[] = {
      {{{"q", "Jo Smith+Co"}}},
      {{{"", ""}}},
      {{{"", "x"}, {"x", ""}, {"&", "="}, {"=", "&"}}},
      {{{"    ", "++++"}, {"caf\u00E9", "\u20AC\U0001F600"}, {"plain", "text"}}},
      {{{units(u"\xD83D"), "x"}, {"y", units(u"\xDE00")}, {units(u"a\xD83D"), units(u"\xDE00z")}}},
      // A field that fills the room to its last byte, an empty one and one more behind it.
      {{{"a ", ""}, {"b", ""}, {"ab ", ""}, {"abc ", ""}, {"", ""}, {"z", ""}}},
      {{{"long", std::string(300, 'x') + std::string(300, '&')}}},
      many,
      Dictionary(std::in_place),
      kAbsent,
  };
  for (const Dictionary& dictionary : dictionaries) {
    const Data body = encodePostData(dictionary);
    SCOPED_TRACE(body);
    EXPECT_EQ(PostDataEncoder(dictionary).size(), body.size());
    for (size_t room = PostDataEncoder::kLeastRoom; room <= 40; ++room)
      EXPECT_EQ(readWithRoom(dictionary, room), body) << room;
  }
}

// That what is written in pieces is not only the same, but right.
TEST(PostDataEncoder, WritesTheEntriesInTheirOrder) {
  const Dictionary dictionary = {{{"a b", "1+1"}, {"", ""}, {"\u00E9", units(u"\xD83D")}}};
  const Data expected = "a%20b=1%2B1&=&%C3%A9=(null)";
  EXPECT_EQ(readWithRoom(dictionary, PostDataEncoder::kLeastRoom), expected);
  EXPECT_EQ(PostDataEncoder(dictionary).size(), expected.size());
}

TEST(PostDataEncoder, OfNoEntriesHasNoBytes) {
  for (const Dictionary& dictionary : {Dictionary(), Dictionary(std::in_place)}) {
    EXPECT_EQ(PostDataEncoder(dictionary).size(), 0u);
    EXPECT_EQ(readWithRoom(dictionary, PostDataEncoder::kLeastRoom), "");
    EXPECT_EQ(readWithRoom(dictionary, 40), "");
  }
}

TEST(EncodePostData, OfNoEntriesIsEmpty) {
  EXPECT_EQ(encodePostData(Dictionary(std::in_place)), "");
  EXPECT_EQ(encodePostData(kAbsent), "");
}

}  // namespace

}  // namespace quintora
