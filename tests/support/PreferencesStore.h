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

  void storeText(const std::string& domain, const std::string& key, const std::string& text);
};

}  // namespace quintora
