// What the preferences promise on every system. The test is run with arguments, too, as a web
// server hands over a query without "=": they must not change anything.
#include <gmock/gmock.h>

#include "platform/Preferences.h"
#include "tests/support/PreferencesStore.h"

namespace quintora {

namespace {

constexpr const char16_t* kDomain = u"com.example.Server";

TEST(PreferencesContract, AStoredTextIsHandedOutUnitByUnit) {
  PreferencesStore store;
  store.storeText(kDomain, u"QZQuintoraServerPort", u"8081");
  store.storeText(kDomain, u"QZCGIConnectionProtocol", u"\u00C4pple \U0001F34F");
  Preferences preferences(kDomain);
  EXPECT_EQ(preferences.objectForKey(u"QZQuintoraServerPort"), u"8081");
  EXPECT_EQ(preferences.objectForKey(u"QZCGIConnectionProtocol"), u"\u00C4pple \U0001F34F");
}

TEST(PreferencesContract, AnEmptyTextIsThere) {
  PreferencesStore store;
  store.storeText(kDomain, u"QZCGIConnectionProtocol", u"");
  EXPECT_EQ(Preferences(kDomain).objectForKey(u"QZCGIConnectionProtocol"), u"");
}

TEST(PreferencesContract, WhatIsNotSetIsAbsent) {
  PreferencesStore store;
  store.storeText(kDomain, u"Other", u"8081");
  store.storeText(u"com.example.Other", u"QZQuintoraServerPort", u"8081");
  Preferences preferences(kDomain);
  EXPECT_EQ(preferences.objectForKey(u"QZQuintoraServerPort"), std::nullopt);
  EXPECT_EQ(preferences.objectForKey(u"other"), std::nullopt);
  EXPECT_EQ(preferences.objectForKey(u"Othe"), std::nullopt);
  EXPECT_EQ(preferences.objectForKey(std::nullopt), std::nullopt);
}

TEST(PreferencesContract, AnAbsentDomainHasNothing) {
  PreferencesStore store;
  store.storeText(kDomain, u"QZQuintoraServerPort", u"8081");
  EXPECT_EQ(Preferences(std::nullopt).objectForKey(u"QZQuintoraServerPort"), std::nullopt);
}

TEST(PreferencesContract, TheSameKeyCanBeReadAgain) {
  PreferencesStore store;
  store.storeText(kDomain, u"QZQuintoraServerPort", u"8081");
  Preferences preferences(kDomain);
  EXPECT_EQ(preferences.objectForKey(u"QZQuintoraServerPort"), u"8081");
  EXPECT_EQ(preferences.objectForKey(u"QZQuintoraServerPort"), u"8081");
}

TEST(PreferencesContract, WhatIsSetHasAPlaceAndNothingElseHas) {
  PreferencesStore store;
  store.storeText(kDomain, u"QZQuintoraServerPort", u"8081");
  Preferences preferences(kDomain);
  const String place = preferences.placeOfKey(u"QZQuintoraServerPort");
  ASSERT_NE(place, std::nullopt);
  EXPECT_EQ(preferences.placeOfKey(u"Other"), std::nullopt);
  EXPECT_EQ(preferences.placeOfKey(std::nullopt), std::nullopt);
  bool isListed = false;
  for (const Preferences::Place& each : preferences.places()) {
    isListed = isListed || each.name == place;
    EXPECT_FALSE(each.isTrouble);
  }
  EXPECT_TRUE(isListed);
}

}  // namespace

}  // namespace quintora
