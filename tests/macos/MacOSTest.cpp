// What only the macOS side has: types of stored values, ownership, CoreFoundation's numbers.
#include <gmock/gmock.h>

#include "extras/UTF16.h"
#include "platform/Charsets.h"
#include "platform/Preferences.h"
#include "tests/macos/StandIns.h"
#include "tests/platform/PreferencesStore.h"

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

TEST_F(MacOS, TheOnlySourceIsTheDomainAmongTheUserDefaults) {
  standInStoreNumber(kDomain, kKey, 8081);
  Preferences preferences(kDomain);
  EXPECT_EQ(preferences.sourceOfKey(kKey), kDomain);
  const std::vector<Preferences::Source> sources = preferences.sources();
  ASSERT_EQ(sources.size(), 1u);
  EXPECT_EQ(sources[0].name, kDomain);
  EXPECT_EQ(sources[0].state, Preferences::Source::State::read);
  EXPECT_EQ(sources[0].error, 0);
}

TEST_F(MacOS, ACharsetWithoutAnIdentifierHasTheIdentifier0) {
  EXPECT_EQ(textEncodingFromIANACharSetName("x-without-identifier"), kNoTextEncoding);
}

TEST_F(MacOS, CharsetsHaveTheSystemsNumbers) {
  EXPECT_EQ(textEncodingFromIANACharSetName("windows-1252"), 12u);
  EXPECT_EQ(textEncodingFromIANACharSetName("koi8-r"), 0x80000A02u);
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
