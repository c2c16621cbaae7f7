// The container behind a Dictionary.
#include "extras/StringMap.h"

#include <gmock/gmock.h>

#include <map>

namespace quintora {

namespace {

using testing::ElementsAre;
using testing::IsNull;
using testing::Pair;
using testing::Pointee;

std::u16string numbered(size_t number) {
  std::u16string text = u"key";
  for (; number > 0; number /= 10)
    text += static_cast<char16_t>(u'0' + number % 10);
  return text;
}

TEST(StringMap, IsEmptyAtFirst) {
  const StringMap map;
  EXPECT_TRUE(map.empty());
  EXPECT_EQ(map.size(), 0u);
  EXPECT_EQ(map.begin(), map.end());
  EXPECT_THAT(map.find(u""), IsNull());
}

TEST(StringMap, KeepsTheOrderOfTheFirstSettingAndTheValueOfTheLast) {
  StringMap map = {{u"b", u"1"}, {u"", u"2"}, {u"a", u""}};
  map.insert_or_assign(u"b", u"3");
  EXPECT_THAT(map, ElementsAre(Pair(u"b", u"3"), Pair(u"", u"2"), Pair(u"a", u"")));
  EXPECT_THAT(map.find(u"b"), Pointee(std::optional<std::u16string>(u"3")));
  EXPECT_THAT(map.find(u""), Pointee(std::optional<std::u16string>(u"2")));
  EXPECT_THAT(map.find(u"c"), IsNull());
  EXPECT_THAT(map.find(std::u16string_view(u"a\0", 2)), IsNull());
}

TEST(StringMap, TellsApartKeysThatDifferInOneUnitAtAnyPlace) {
  const std::u16string text = u"ApacheTunnel_HTTP";
  StringMap map = {{text, u"itself"}};
  for (size_t at = 0; at < text.size(); ++at) {
    std::u16string other = text;
    other[at] = static_cast<char16_t>(other[at] ^ 0x8000);
    map.insert_or_assign(std::move(other), u"other");
    map.insert_or_assign(text.substr(0, at), u"shorter");
  }
  EXPECT_EQ(map.size(), 1 + 2 * text.size());
  EXPECT_THAT(map.find(text), Pointee(std::optional<std::u16string>(u"itself")));
}

TEST(StringMapSlow, DoesTheSameAsAnotherMapHoweverManyEntriesThereAre) {
  StringMap map;
  std::map<std::u16string, std::optional<std::u16string>> expected;
  for (size_t i = 0; i < 20000; ++i) {
    const size_t key = i * 7919 % 12000;  // two in five come twice
    map.insert_or_assign(numbered(key), numbered(i));
    expected[numbered(key)] = numbered(i);
    ASSERT_EQ(map.size(), expected.size());
  }
  for (const auto& [key, value] : expected)
    EXPECT_THAT(map.find(key), Pointee(value));
  for (size_t i = 12000; i < 13000; ++i)
    EXPECT_THAT(map.find(numbered(i)), IsNull());
}

// So many that some keys agree in all that the table knows of their hashes.
TEST(StringMapSlow, TellsApartAQuarterOfAMillionKeys) {
  constexpr size_t kKeys = 260000;
  StringMap map;
  for (size_t i = 0; i < kKeys; ++i)
    map.insert_or_assign(numbered(i), numbered(i));
  ASSERT_EQ(map.size(), kKeys);
  for (size_t i = 0; i < kKeys; ++i)
    ASSERT_THAT(map.find(numbered(i)), Pointee(std::optional<std::u16string>(numbered(i))));
}

TEST(StringMap, IsEqualToOneWithTheSameEntriesInAnyOrder) {
  const StringMap map = {{u"a", u"1"}, {u"b", u"2"}};
  EXPECT_TRUE(map == (StringMap{{u"b", u"2"}, {u"a", u"1"}}));
  EXPECT_FALSE(map == (StringMap{{u"a", u"1"}}));
  EXPECT_FALSE((StringMap{{u"a", u"1"}}) == map);
  EXPECT_FALSE(map == (StringMap{{u"a", u"1"}, {u"b", u"1"}}));
  EXPECT_FALSE(map == (StringMap{{u"a", u"1"}, {u"c", u"2"}}));
}

TEST(StringMap, IsCopiedWhole) {
  StringMap map = {{u"a", u"1"}};
  StringMap copy = map;
  copy.insert_or_assign(u"a", u"2");
  copy.insert_or_assign(u"b", u"3");
  EXPECT_THAT(map, ElementsAre(Pair(u"a", u"1")));
  EXPECT_THAT(copy, ElementsAre(Pair(u"a", u"2"), Pair(u"b", u"3")));
}

}  // namespace

}  // namespace quintora
