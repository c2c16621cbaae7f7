#include "extras/Message.h"

#include <gtest/gtest.h>

#include <type_traits>

#include "tests/support/Units.h"

namespace quintora {

namespace {

using namespace std::string_literals;
using namespace std::string_view_literals;

constexpr auto kAbsent = std::nullopt;

TEST(Composed, PutsPiecesOneBehindTheOther) {
  const String text = "text", absent = kAbsent, percents = "%@%d%s%%";
  EXPECT_EQ(composed({}), "");
  EXPECT_EQ(composed({""}), "");
  EXPECT_EQ(composed({"plain"}), "plain");
  EXPECT_EQ(composed({text}), "text");
  EXPECT_EQ(composed({"<", absent, ">"}), "<(null)>");
  EXPECT_EQ(composed({text, "=", absent}), "text=(null)");
  EXPECT_EQ(composed({"%", text}), "%text");
  EXPECT_EQ(composed({percents, "!"}), "%@%d%s%%!");
  EXPECT_EQ(composed({"", String(""), "x", ""}), "x");
}

TEST(Composed, TakesEveryKindOfText) {
  EXPECT_EQ(composed({"a", "b"sv, "c"s, String("d"), String()}), "abcd(null)");
  EXPECT_EQ(composed({"a\0b"sv, "c\0d"s, String("\0"s)}), "a\0bc\0d\0"s);
  EXPECT_EQ(composed({std::string_view(), "|"}), "|");
}

TEST(Composed, WritesIntegersInDecimal) {
  const int64_t beyond32Bits = 0x1FFFFFFFF;
  EXPECT_EQ(composed({0}), "0");
  EXPECT_EQ(composed({7, ",", 10, ",", -1}), "7,10,-1");
  EXPECT_EQ(composed({-12}), "-12");
  EXPECT_EQ(composed({beyond32Bits}), "8589934591");
  EXPECT_EQ(composed({INT32_MIN, ",", INT32_MAX, ",", UINT32_MAX}),
            "-2147483648,2147483647,4294967295");
  EXPECT_EQ(composed({INT16_MIN, ",", UINT16_MAX, ",", int8_t{-128}, ",", uint8_t{255}}),
            "-32768,65535,-128,255");
  EXPECT_EQ(composed({int64_t{0}, ",", INT64_MAX, ",", INT64_MIN}),
            "0,9223372036854775807,-9223372036854775808");
  EXPECT_EQ(composed({uint64_t{0}, ",", UINT64_MAX}), "0,18446744073709551615");
}

TEST(Composed, JoinsHalvesOfAPairThatMeet) {
  const String high = units(u"\xD83D"), low = units(u"\xDE00");
  EXPECT_EQ(composed({high, low}), "\U0001F600");
  EXPECT_EQ(composed({"a", high, "", low, "z"}), "a\U0001F600z");
  EXPECT_EQ(composed({low, high}), units(u"\xDE00\xD83D"));
  EXPECT_EQ(composed({high, high, low, low}), units(u"\xD83D\U0001F600\xDE00"));
  EXPECT_EQ(composed({high, 1, low}), units(u"\xD83D\x31\xDE00"));
  EXPECT_EQ(composed({high, String(), low}), units(u"\xD83D(null)\xDE00"));
}

TEST(Message, PutsAValueBetweenEachTwoTexts) {
  constexpr Message<0> kPlain = {{"plain"}};
  constexpr Message<1> kOne = {{"<", ">"}};
  constexpr Message<3> kThree = {{"", "=", ",", ""}};
  const String text = "text", absent = kAbsent;
  EXPECT_EQ(kPlain(), "plain");
  EXPECT_EQ(kOne(text), "<text>");
  EXPECT_EQ(kOne(absent), "<(null)>");
  EXPECT_EQ(kOne(""), "<>");
  EXPECT_EQ(kOne("%@%d%s%%"), "<%@%d%s%%>");
  EXPECT_EQ(kOne(INT64_MIN), "<-9223372036854775808>");
  EXPECT_EQ(kOne(UINT64_MAX), "<18446744073709551615>");
  EXPECT_EQ(kThree(text, 1, "z"sv), "text=1,z");
  EXPECT_EQ(kThree("a"s, absent, -5), "a=(null),-5");
}

TEST(Message, JoinsHalvesOfAPairThatMeet) {
  const std::string high = units(u"\xD83D"), low = units(u"\xDE00");
  constexpr Message<2> kTwo = {{"", "", ""}};
  EXPECT_EQ(kTwo(high, low), "\U0001F600");
  EXPECT_EQ(kTwo("a" + high, low + "z"), "a\U0001F600z");
  EXPECT_EQ(kTwo(low, high), units(u"\xDE00\xD83D"));
}

// What is no text and no integer does not compile.
static_assert(!std::is_constructible_v<Piece, double>);
static_assert(!std::is_constructible_v<Piece, const void*>);
static_assert(!std::is_constructible_v<Piece, const int*>);
static_assert(!std::is_constructible_v<Piece, const std::u16string&>);

}  // namespace

}  // namespace quintora
