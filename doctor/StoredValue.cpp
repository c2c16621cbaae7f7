#include "doctor/StoredValue.h"

#include <cstdlib>

#include "bridge/ChooseConnection.h"
#include "extras/Message.h"

namespace quintora {

namespace {

bool isInHome(const String& source) {
  const char* const home = std::getenv("HOME");
  return home && *home != '\0' && source && source->find(composed({home, "/"})) == 0;
}

}  // namespace

void reportValue(Report& report, const char* key, const String& value, Preferences& preferences) {
  if (!value)
    return report.fact(composed({key, " is not set."}));
  const String source = preferences.sourceOfKey(key);
  report.fact(composed({key, " is ", quoted(*value), ", by ", source, "."}));
  if (isInHome(source))
    report.finding({Weight::harms,
                    composed({key, " comes from this user's home directory: ", source, "."}),
                    "A web server that does not set HOME does not read this file: mode and port "
                    "may be others there.",
                    composed({"Set ", key, " in ", sourceForKey(key),
                              ", and run quintora-doctor as the web server runs the copy: ",
                              "quintora-doctor --help shows how."})});
}

String sourceForKey(const char* key) {
  Preferences preferences(kServerDefaultsSuite);
  const String source = preferences.sourceOfKey(key);
  const std::vector<Preferences::Source> sources = preferences.sources();
  return (source && !isInHome(source)) || sources.empty() ? source : sources.back().name;
}

}  // namespace quintora
