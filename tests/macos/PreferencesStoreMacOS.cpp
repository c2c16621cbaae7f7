#include "tests/macos/StandIns.h"
#include "tests/platform/PreferencesStore.h"

PreferencesStore::PreferencesStore() = default;

PreferencesStore::~PreferencesStore() { standInClearPreferences(); }

void PreferencesStore::storeText(const std::u16string& domain, const std::u16string& key,
                                 const std::u16string& text) {
  standInStoreText(domain, key, text);
}
