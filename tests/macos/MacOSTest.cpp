// What only the macOS side has: types of stored values, ownership, CoreFoundation's numbers.
#include <gmock/gmock.h>

#include <cmath>

#include "extras/UTF16.h"
#include "platform/Charsets.h"
#include "platform/Preferences.h"
#include "tests/macos/StandIns.h"
#include "tests/support/PreferencesStore.h"

namespace quintora {

namespace {

constexpr const char* kDomain = "com.example.Server";
constexpr const char* kKey = "QZQuintoraServerPort";

class MacOS : public ::testing::Test {
 protected:
  void TearDown() override { standInClearPreferences(); }

  static String stored() { return Preferences(kDomain).objectForKey(kKey); }
};

TEST_F(MacOS, ANumberIsHandedOutByItsWholePartInDecimal) {
  struct {
    double number;
    const char* text;
  } const rows[] = {
      {8081, "8081"}, {0, "0"}, {-1, "-1"}, {8081.75, "8081"}, {1e15, "1000000000000000"}};
  for (const auto& row : rows) {
    standInStoreNumber(kDomain, kKey, row.number);
    EXPECT_EQ(stored(), row.text);
  }
}

TEST_F(MacOS, AWholeNumberIsHandedOutFromTheSmallestToTheLargest) {
  standInStoreWhole(kDomain, kKey, INT64_MIN);
  EXPECT_EQ(stored(), "-9223372036854775808");
  standInStoreWhole(kDomain, kKey, INT64_MAX);
  EXPECT_EQ(stored(), "9223372036854775807");
}

TEST_F(MacOS, ANumberWithoutAWholePartOf64BitsCountsAsNotSet) {
  for (const double number : {0x1p63, 1e300, -1e300, static_cast<double>(INFINITY),
                              static_cast<double>(-INFINITY), static_cast<double>(NAN)}) {
    standInStoreNumber(kDomain, kKey, number);
    EXPECT_EQ(stored(), std::nullopt) << number;
  }
  for (const uint64_t number : {uint64_t{1} << 63, UINT64_MAX}) {
    standInStoreUnsigned(kDomain, kKey, number);
    EXPECT_EQ(stored(), std::nullopt) << number;
  }
}

// The system's texts are UTF-16, so a half of a surrogate pair may stand alone in them.
TEST_F(MacOS, ATextWithHalvesOfSurrogatePairsIsHandedOutUnitByUnit) {
  for (const std::u16string units :
       {u"\xD800", u"a\xDC00z", u"\xDE00\xD83D", u"\xD83D\xDE00\xD83D"}) {
    PreferencesStore store;
    store.storeText(kDomain, kKey, textOfUnits(units));
    ASSERT_NE(stored(), std::nullopt);
    EXPECT_EQ(unitsOf(*stored()), units);
  }
}

TEST_F(MacOS, AnyOtherTypeCountsAsNotSet) {
  standInStoreDate(kDomain, kKey);
  EXPECT_EQ(stored(), std::nullopt);
  standInStoreBoolean(kDomain, kKey);
  EXPECT_EQ(stored(), std::nullopt);
}

TEST_F(MacOS, AKeyOfTheGlobalDomainIsInEveryDomainAndTheDomainsOwnWins) {
  standInStoreNumber(kGlobalDomain, kKey, 8081);
  EXPECT_EQ(stored(), "8081");
  standInStoreNumber(kDomain, kKey, 8082);
  EXPECT_EQ(stored(), "8082");
}

TEST_F(MacOS, TheOnlySourceIsTheDomainTogetherWithTheGlobalOne) {
  for (const char* domain : {kDomain, kGlobalDomain}) {
    standInClearPreferences();
    standInStoreNumber(domain, kKey, 8081);
    Preferences preferences(kDomain);
    EXPECT_EQ(preferences.sourceOfKey(kKey), "com.example.Server or the global domain");
    const std::vector<Preferences::Source> sources = preferences.sources();
    ASSERT_EQ(sources.size(), 1u);
    EXPECT_EQ(sources[0].name, "com.example.Server or the global domain");
    EXPECT_EQ(sources[0].state, Preferences::Source::State::read);
    EXPECT_EQ(sources[0].error, 0);
  }
}

TEST_F(MacOS, TheKeysOfTheDomainStandInLinesAndNotThoseOfTheGlobalOne) {
  const Preferences preferences(kDomain);
  EXPECT_THAT(preferences.sources()[0].lines, testing::IsEmpty());
  standInStoreNumber(kDomain, kKey, 8081);
  standInStoreDate(kDomain, "Since");
  standInStoreNumber(kGlobalDomain, "Other", 8081);
  EXPECT_THAT(preferences.sources()[0].lines,
              testing::UnorderedElementsAre("QZQuintoraServerPort =", "Since ="));
}

TEST_F(MacOS, CharsetsHaveTheSystemsNumbers) {
  EXPECT_EQ(textEncodingFromIANACharSetName("ibm437"), 0x80000400u);
  EXPECT_EQ(textEncodingFromIANACharSetName("x-unknown"), 0xFFFFFFFFu);
}

// Looks after each test whether what the product was given has been released.
class EverythingIsReleased : public ::testing::EmptyTestEventListener {
  void OnTestEnd(const ::testing::TestInfo& test) override {
    if (standInReferencesHeld() != 0)
      ADD_FAILURE() << test.name() << " leaves references held: " << standInReferencesHeld();
  }
};

}  // namespace

}  // namespace quintora

int main(int count, char** arguments) {
  ::testing::InitGoogleMock(&count, arguments);
  ::testing::UnitTest::GetInstance()->listeners().Append(new quintora::EverythingIsReleased);
  return RUN_ALL_TESTS();
}
