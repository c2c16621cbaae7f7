// CoreFoundation as the tests want it: it hands out what a test has stored and knows who owns what.
#pragma once

#include <CoreFoundation/CoreFoundation.h>

#include <string>

// The domain in which a key is looked for that another domain does not have.
constexpr const char16_t* kGlobalDomain = u"NSGlobalDomain";

// Stores values that are no text in a preference domain; the store owns them.
void standInStoreNumber(const std::u16string& domain, const std::u16string& key, double number);
void standInStoreWhole(const std::u16string& domain, const std::u16string& key, int64_t number);
void standInStoreUnsigned(const std::u16string& domain, const std::u16string& key, uint64_t number);
void standInStoreDate(const std::u16string& domain, const std::u16string& key);
void standInStoreBoolean(const std::u16string& domain, const std::u16string& key);
void standInClearPreferences();

// References that were handed out and not released. Releasing what is not there fails the test.
long standInReferencesHeld();
