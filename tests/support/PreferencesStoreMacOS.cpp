#include "platform/macos/CoreFoundation.h"
#include "tests/support/PreferencesStore.h"

namespace quintora {

namespace {

// What has been stored, to be taken out again: on a Mac these are preferences of the user that runs
// the tests, though of applications that do not exist.
std::vector<std::pair<String, String>> stored;

void store(const String& domain, const String& key, CFPropertyListRef value) {
  const Owned<CFStringRef> domainObject(createCFString(domain));
  const Owned<CFStringRef> keyObject(createCFString(key));
  CFPreferencesSetAppValue(keyObject.get(), value, domainObject.get());
  CFPreferencesAppSynchronize(domainObject.get());
}

}  // namespace

PreferencesStore::PreferencesStore() = default;

PreferencesStore::~PreferencesStore() {
  for (const auto& [domain, key] : stored)
    store(domain, key, nullptr);
  stored.clear();
}

void PreferencesStore::storeText(const std::string& domain, const std::string& key,
                                 const std::string& text) {
  const Owned<CFStringRef> value(createCFString(text));
  store(domain, key, value.get());
  stored.emplace_back(domain, key);
}

}  // namespace quintora
