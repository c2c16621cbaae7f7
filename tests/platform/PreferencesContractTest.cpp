// What the preferences promise on every system. The test is run with arguments, too, as a web
// server hands over a query without "=": they must not change anything.
#include <gmock/gmock.h>

#include "platform/Preferences.h"
#include "tests/support/PreferencesStore.h"

namespace quintora {

namespace {

constexpr const char* kDomain = "com.example.Server";

TEST(PreferencesContract, AStoredTextIsHandedOutUnitByUnit) {
  PreferencesStore store;
  store.storeText(kDomain, "QZQuintoraServerPort", "8081");
  store.storeText(kDomain, "QZCGIConnectionProtocol", "\u00C4pple \U0001F34F");
  Preferences preferences(kDomain);
  EXPECT_EQ(preferences.objectForKey("QZQuintoraServerPort"), "8081");
  EXPECT_EQ(preferences.objectForKey("QZCGIConnectionProtocol"), "\u00C4pple \U0001F34F");
}

TEST(PreferencesContract, AnEmptyTextIsThere) {
  PreferencesStore store;
  store.storeText(kDomain, "QZCGIConnectionProtocol", "");
  EXPECT_EQ(Preferences(kDomain).objectForKey("QZCGIConnectionProtocol"), "");
}

TEST(PreferencesContract, WhatIsNotSetIsAbsent) {
  PreferencesStore store;
  store.storeText(kDomain, "Other", "8081");
  store.storeText("com.example.Other", "QZQuintoraServerPort", "8081");
  Preferences preferences(kDomain);
  EXPECT_EQ(preferences.objectForKey("QZQuintoraServerPort"), std::nullopt);
  EXPECT_EQ(preferences.objectForKey("other"), std::nullopt);
  EXPECT_EQ(preferences.objectForKey("Othe"), std::nullopt);
  EXPECT_EQ(preferences.objectForKey(std::nullopt), std::nullopt);
}

TEST(PreferencesContract, AnAbsentDomainHasNothing) {
  PreferencesStore store;
  store.storeText(kDomain, "QZQuintoraServerPort", "8081");
  EXPECT_EQ(Preferences(std::nullopt).objectForKey("QZQuintoraServerPort"), std::nullopt);
}

TEST(PreferencesContract, TheSameKeyCanBeReadAgain) {
  PreferencesStore store;
  store.storeText(kDomain, "QZQuintoraServerPort", "8081");
  Preferences preferences(kDomain);
  EXPECT_EQ(preferences.objectForKey("QZQuintoraServerPort"), "8081");
  EXPECT_EQ(preferences.objectForKey("QZQuintoraServerPort"), "8081");
}

TEST(PreferencesContract, WhatIsSetHasASourceAndNothingElseHas) {
  PreferencesStore store;
  store.storeText(kDomain, "QZQuintoraServerPort", "8081");
  Preferences preferences(kDomain);
  const String source = preferences.sourceOfKey("QZQuintoraServerPort");
  ASSERT_NE(source, std::nullopt);
  EXPECT_EQ(preferences.sourceOfKey("Other"), std::nullopt);
  EXPECT_EQ(preferences.sourceOfKey(std::nullopt), std::nullopt);
  bool isListed = false;
  using State = Preferences::Source::State;
  for (const Preferences::Source& each : preferences.sources()) {
    isListed = isListed || (each.name == source && each.state == State::read);
    EXPECT_NE(each.state, State::unreadable);
    EXPECT_NE(each.state, State::notUTF8);
  }
  EXPECT_TRUE(isListed);
}

TEST(PreferencesContract, TheLinesOfASourceBeginWithTheKeysThatAreStored) {
  using testing::Contains;
  using testing::StartsWith;
  PreferencesStore store;
  store.storeText(kDomain, "QZQuintoraServerPort", "8081");
  store.storeText(kDomain, "qzQuintoraServerport", "8082");
  Preferences preferences(kDomain);
  preferences.objectForKey("QZQuintoraServerPort");
  const std::vector<Preferences::Source> sources = preferences.sources();
  ASSERT_FALSE(sources.empty());
  EXPECT_THAT(sources[0].lines, Contains(StartsWith("QZQuintoraServerPort =")));
  EXPECT_THAT(sources[0].lines, Contains(StartsWith("qzQuintoraServerport =")));
}

}  // namespace

}  // namespace quintora
