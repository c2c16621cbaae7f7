// What only the macOS side has: types of stored values, ownership, CoreFoundation's numbers.
#include <gmock/gmock.h>

#include <cmath>

#include "platform/Charsets.h"
#include "platform/Preferences.h"
#include "tests/macos/StandIns.h"

namespace quintora {

namespace {

constexpr const char16_t* kDomain = u"com.example.Server";
constexpr const char16_t* kKey = u"QZQuintoraServerPort";

class MacOS : public ::testing::Test {
 protected:
  void TearDown() override { standInClearPreferences(); }

  static String stored() { return Preferences(kDomain).objectForKey(kKey); }
};

TEST_F(MacOS, ANumberIsHandedOutByItsWholePartInDecimal) {
  struct {
    double number;
    const char16_t* text;
  } const rows[] = {
      {8081, u"8081"}, {0, u"0"}, {-1, u"-1"}, {8081.75, u"8081"}, {1e15, u"1000000000000000"}};
  for (const auto& row : rows) {
    standInStoreNumber(kDomain, kKey, row.number);
    EXPECT_EQ(stored(), row.text);
  }
}

TEST_F(MacOS, AWholeNumberIsHandedOutFromTheSmallestToTheLargest) {
  standInStoreWhole(kDomain, kKey, INT64_MIN);
  EXPECT_EQ(stored(), u"-9223372036854775808");
  standInStoreWhole(kDomain, kKey, INT64_MAX);
  EXPECT_EQ(stored(), u"9223372036854775807");
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

TEST_F(MacOS, AnyOtherTypeCountsAsNotSet) {
  standInStoreDate(kDomain, kKey);
  EXPECT_EQ(stored(), std::nullopt);
  standInStoreBoolean(kDomain, kKey);
  EXPECT_EQ(stored(), std::nullopt);
}

TEST_F(MacOS, AKeyOfTheGlobalDomainIsInEveryDomainAndTheDomainsOwnWins) {
  standInStoreNumber(kGlobalDomain, kKey, 8081);
  EXPECT_EQ(stored(), u"8081");
  standInStoreNumber(kDomain, kKey, 8082);
  EXPECT_EQ(stored(), u"8082");
}

TEST_F(MacOS, TheOnlyPlaceIsTheDomainTogetherWithTheGlobalOne) {
  for (const char16_t* domain : {kDomain, kGlobalDomain}) {
    standInClearPreferences();
    standInStoreNumber(domain, kKey, 8081);
    Preferences preferences(kDomain);
    EXPECT_EQ(preferences.placeOfKey(kKey), u"com.example.Server or the global domain");
    const std::vector<Preferences::Place> places = preferences.places();
    ASSERT_EQ(places.size(), 1u);
    EXPECT_EQ(places[0].name, u"com.example.Server or the global domain");
    EXPECT_EQ(places[0].state, u"the user defaults of this user and of all users");
    EXPECT_FALSE(places[0].isTrouble);
  }
}

TEST_F(MacOS, CharsetsHaveTheSystemsNumbers) {
  EXPECT_EQ(textEncodingFromIANACharSetName(u"windows-1252"), 12u);
  EXPECT_EQ(textEncodingFromIANACharSetName(u"koi8-r"), 0x80000A02u);
  EXPECT_EQ(textEncodingFromIANACharSetName(u"x-unknown"), 0xFFFFFFFFu);
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
