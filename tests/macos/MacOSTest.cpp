// What only the macOS side has: types of stored values, ownership, CoreFoundation's numbers.
#include <gmock/gmock.h>

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

TEST_F(MacOS, AnyOtherTypeCountsAsNotSet) {
  standInStoreDate(kDomain, kKey);
  EXPECT_EQ(stored(), std::nullopt);
  standInStoreBoolean(kDomain, kKey);
  EXPECT_EQ(stored(), std::nullopt);
}

TEST_F(MacOS, TheOnlyPlaceIsTheDomainAmongTheUserDefaults) {
  standInStoreNumber(kDomain, kKey, 8081);
  Preferences preferences(kDomain);
  EXPECT_EQ(preferences.placeOfKey(kKey), kDomain);
  const std::vector<Preferences::Place> places = preferences.places();
  ASSERT_EQ(places.size(), 1u);
  EXPECT_EQ(places[0].name, kDomain);
  EXPECT_EQ(places[0].state, u"the user defaults of this user");
  EXPECT_FALSE(places[0].isTrouble);
}

TEST_F(MacOS, ACharsetWithoutAnIdentifierHasTheIdentifier0) {
  EXPECT_EQ(textEncodingFromIANACharSetName(u"x-without-identifier"), kNoTextEncoding);
}

TEST_F(MacOS, CharsetsHaveTheSystemsNumbers) {
  EXPECT_EQ(textEncodingFromIANACharSetName(u"ibm437"), 0x80000400u);
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
