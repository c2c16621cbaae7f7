// Where the contract test of the preferences puts what the product then reads, on each system.
#pragma once

#include <string>

namespace quintora {

class PreferencesStore {
 public:
  PreferencesStore();
  ~PreferencesStore();
  PreferencesStore(const PreferencesStore&) = delete;
  PreferencesStore& operator=(const PreferencesStore&) = delete;

  void storeText(const std::u16string& domain, const std::u16string& key,
                 const std::u16string& text);
};

}  // namespace quintora
