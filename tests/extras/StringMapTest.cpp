// The container behind a Dictionary.
#include "extras/StringMap.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <map>

namespace quintora {

namespace {

using namespace std::string_literals;
using namespace std::string_view_literals;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

constexpr auto kAbsent = std::nullopt;

std::string numbered(size_t number) {
  std::string text = "key";
  for (; number > 0; number /= 10)
    text += static_cast<char>('0' + number % 10);
  return text;
}

// Copies of the entries in the map's order.
std::vector<std::pair<std::string, std::string>> entriesOf(const StringMap& map) {
  std::vector<std::pair<std::string, std::string>> entries;
  for (const auto& [key, value] : map)
    entries.emplace_back(key, value);
  return entries;
}

TEST(StringMap, IsEmptyAtFirst) {
  const StringMap map;
  EXPECT_TRUE(map.empty());
  EXPECT_EQ(map.size(), 0u);
  EXPECT_FALSE(map.begin() != map.end());
  EXPECT_EQ(map.find(""), kAbsent);
}

TEST(StringMap, KeepsTheOrderOfTheFirstSettingAndTheValueOfTheLast) {
  StringMap map = {{"b", "1"}, {"", "2"}, {"a", ""}};
  map.insert_or_assign("b", "3");
  EXPECT_FALSE(map.empty());
  EXPECT_EQ(map.size(), 3u);
  EXPECT_THAT(entriesOf(map), ElementsAre(Pair("b", "3"), Pair("", "2"), Pair("a", "")));
  EXPECT_EQ(map.find("b"), "3");
  EXPECT_EQ(map.find(""), "2");
  EXPECT_EQ(map.find("a"), "");
  EXPECT_EQ(map.find("c"), kAbsent);
  EXPECT_EQ(map.find("a\0"sv), kAbsent);
}

TEST(StringMap, KeepsAnyBytes) {
  StringMap map;
  map.insert_or_assign("\0"sv, "\0\0"sv);
  map.insert_or_assign("\xED\xA0\xBD", "\xFF");
  map.insert_or_assign(std::string_view(), std::string_view());
  EXPECT_THAT(entriesOf(map),
              ElementsAre(Pair("\0"s, "\0\0"s), Pair("\xED\xA0\xBD", "\xFF"), Pair("", "")));
}

TEST(StringMap, TellsApartKeysThatDifferInOneByteAtAnyPlace) {
  const std::string text = "ApacheTunnel";
  for (const size_t others : {0u, 100u}) {  // the latter are too many to be compared one by one
    StringMap map = {{text, "itself"}};
    for (size_t number = 1; number <= others; ++number)
      map.insert_or_assign(numbered(number), "");
    for (size_t at = 0; at < text.size(); ++at) {
      std::string other = text;
      other[at] = static_cast<char>(other[at] ^ 0x80);
      map.insert_or_assign(other, "other");
      map.insert_or_assign(text.substr(0, at), "shorter");
    }
    EXPECT_EQ(map.size(), others + 1 + 2 * text.size());
    EXPECT_EQ(map.find(text), "itself");
  }
}

// The key's bytes and the value's stand side by side in memory.
TEST(StringMap, TellsApartWhereAKeyEndsAndItsValueBegins) {
  const StringMap map = {{"ab", "c"}, {"a", "bc"}, {"", "abc"}, {"abc", ""}};
  EXPECT_EQ(map.size(), 4u);
  EXPECT_EQ(map.find("ab"), "c");
  EXPECT_EQ(map.find("a"), "bc");
  EXPECT_EQ(map.find(""), "abc");
  EXPECT_EQ(map.find("abc"), "");
}

TEST(StringMap, ReplacesAValueByOneOfAnyLength) {
  StringMap map = {{"a", "1"}, {"k", "first"}, {"z", "26"}};
  for (const size_t size : {0u, 1u, 5u, 100u, 3u, 100000u, 0u, 7u}) {
    const std::string value(size, 'v');
    map.insert_or_assign("k", value);
    EXPECT_THAT(entriesOf(map), ElementsAre(Pair("a", "1"), Pair("k", value), Pair("z", "26")));
    EXPECT_EQ(map.find("k"), value);
  }
}

// Every size at which the table grows lies within, and with it those on either side.
TEST(StringMap, KeepsEveryEntryAtEverySize) {
  constexpr size_t kKeys = 300;
  StringMap map;
  for (size_t size = 1; size <= kKeys; ++size) {
    map.insert_or_assign(numbered(size), numbered(2 * size));
    ASSERT_EQ(map.size(), size);
    size_t index = 0;
    for (const auto& [key, value] : map) {
      ++index;
      ASSERT_EQ(key, numbered(index));
      ASSERT_EQ(value, numbered(2 * index));
      ASSERT_EQ(map.find(key), value) << key << " of " << size;
    }
    ASSERT_EQ(index, size);
    ASSERT_EQ(map.find(numbered(size + 1)), kAbsent);
  }
}

TEST(StringMap, ReplacesWhereTheNextKeyWouldMakeItGrow) {
  StringMap map;
  for (size_t size = 1; size <= 600; ++size) {
    map.insert_or_assign(numbered(size), "first");
    map.insert_or_assign(numbered(size / 2 + 1), "other");
    ASSERT_EQ(map.size(), size);
    ASSERT_EQ(map.find(numbered(size / 2 + 1)), "other");
    ASSERT_EQ(map.find(numbered(size)), size < 3 ? "other" : "first") << size;
  }
}

TEST(StringMapSlow, DoesTheSameAsAnotherMapHoweverManyEntriesThereAre) {
  StringMap map;
  std::map<std::string, std::string> expected;
  for (size_t i = 0; i < 20000; ++i) {
    const size_t key = i * 7919 % 12000;  // two in five come twice
    map.insert_or_assign(numbered(key), numbered(i));
    expected[numbered(key)] = numbered(i);
    ASSERT_EQ(map.size(), expected.size());
  }
  for (const auto& [key, value] : expected)
    EXPECT_EQ(map.find(key), value);
  for (size_t i = 12000; i < 13000; ++i)
    EXPECT_EQ(map.find(numbered(i)), kAbsent);
  auto entries = entriesOf(map);
  std::sort(entries.begin(), entries.end());
  EXPECT_TRUE(std::equal(entries.begin(), entries.end(), expected.begin(), expected.end(),
                         [](const auto& entry, const auto& other) {
                           return entry.first == other.first && entry.second == other.second;
                         }));
}

// So many that some keys agree in all that the table knows of their hashes.
TEST(StringMapSlow, TellsApartAQuarterOfAMillionKeys) {
  constexpr size_t kKeys = 260000;
  StringMap map;
  for (size_t i = 0; i < kKeys; ++i)
    map.insert_or_assign(numbered(i), numbered(i));
  ASSERT_EQ(map.size(), kKeys);
  for (size_t i = 0; i < kKeys; ++i)
    ASSERT_EQ(map.find(numbered(i)), numbered(i));
}

TEST(StringMap, IsEqualToOneWithTheSameEntriesInAnyOrder) {
  const StringMap map = {{"a", "1"}, {"b", "2"}};
  EXPECT_TRUE(map == (StringMap{{"b", "2"}, {"a", "1"}}));
  EXPECT_FALSE(map == (StringMap{{"a", "1"}}));
  EXPECT_FALSE((StringMap{{"a", "1"}}) == map);
  EXPECT_FALSE(map == (StringMap{{"a", "1"}, {"b", "1"}}));
  EXPECT_FALSE(map == (StringMap{{"a", "1"}, {"c", "2"}}));
  EXPECT_FALSE(map == (StringMap{{"a", "1"}, {"c", ""}}));
  EXPECT_TRUE(StringMap() == StringMap());
  EXPECT_FALSE(StringMap() == map);
  EXPECT_FALSE(map == StringMap());
}

TEST(StringMap, IsEqualToOneThatCameToTheSameEntriesInAnotherWay) {
  constexpr size_t kKeys = 3000;
  StringMap upwards, downwards;
  for (size_t i = 0; i < kKeys; ++i)
    upwards.insert_or_assign(numbered(i), numbered(i + 1));
  for (size_t i = kKeys; i-- > 0;) {
    downwards.insert_or_assign(numbered(i), "replaced afterwards");
    downwards.insert_or_assign(numbered(i), numbered(i + 1));
  }
  EXPECT_TRUE(upwards == downwards);
  EXPECT_TRUE(downwards == upwards);
  downwards.insert_or_assign(numbered(1234), "another");
  EXPECT_FALSE(upwards == downwards);
  EXPECT_FALSE(downwards == upwards);
}

TEST(StringMap, IsCopiedWhole) {
  StringMap map = {{"a", "1"}};
  StringMap copy = map;
  copy.insert_or_assign("a", "2");
  copy.insert_or_assign("b", "3");
  EXPECT_THAT(entriesOf(map), ElementsAre(Pair("a", "1")));
  EXPECT_EQ(map.find("b"), kAbsent);
  EXPECT_THAT(entriesOf(copy), ElementsAre(Pair("a", "2"), Pair("b", "3")));
  map = copy;
  EXPECT_THAT(entriesOf(map), ElementsAre(Pair("a", "2"), Pair("b", "3")));
  copy = StringMap();
  EXPECT_THAT(entriesOf(copy), IsEmpty());
  EXPECT_EQ(map.find("b"), "3");
}

}  // namespace

}  // namespace quintora
