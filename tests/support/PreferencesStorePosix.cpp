#include <stdlib.h>
#include <unistd.h>

#include <fstream>
#include <map>

#include "tests/support/PreferencesStore.h"

namespace quintora {

namespace {

std::map<std::string, std::string> files;  // their texts, by their paths
std::string folder;

}  // namespace

PreferencesStore::PreferencesStore() {
  char path[] = "/tmp/preferences-test-XXXXXX";
  folder = mkdtemp(path);
  setenv("XDG_CONFIG_HOME", folder.c_str(), 1);
  setenv("XDG_CONFIG_DIRS", folder.c_str(), 1);
}

PreferencesStore::~PreferencesStore() {
  for (const auto& [path, text] : files)
    unlink(path.c_str());
  files.clear();
  rmdir(folder.c_str());
}

void PreferencesStore::storeText(const std::string& domain, const std::string& key,
                                 const std::string& text) {
  const std::string path = folder + "/" + domain + ".conf";
  files[path] += key + " = " + text + "\n";
  std::ofstream(path) << files[path];
}

}  // namespace quintora
