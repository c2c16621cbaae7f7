#include "bridge/ChooseConnection.h"

#include "bridge/RequestState.h"
#include "extras/NSString+Extras.h"
#include "extras/NSString.h"
#include "platform/Preferences.h"

namespace {

// The server application's preference domain, chosen when the bridge is built.
const char16_t* const kServerDefaultsSuite = SERVER_DEFAULTS_SUITE;

String stored(Preferences& preferences, const char16_t* key, const char16_t* otherwise) {
  const String value = preferences.objectForKey(key);
  return value ? value : otherwise;
}

bool isAppleEventMode(Preferences& preferences) {
  const String protocol = stored(preferences, u"QZCGIConnectionProtocol", u"TCP/IP");
  return containsExactString(uppercaseString(protocol), u"APPLE");
}

// The port that the table has for a key: the first entry with exactly that key holds, and its
// value is not looked up again. The key itself when there is none.
String portFromTable(const String& table, const String& key) {
  if (!isNotEmpty(table))
    return key;
  const Array entries = componentsSeparatedByString(table, u",");
  for (const String& entry : *entries) {
    const Array pieces = componentsSeparatedByString(entry, u":");
    if (pieces->size() >= 2 && isEqualToString(pieces->front(), key))
      return (*pieces)[1];
  }
  return key;
}

String portText(Preferences& preferences, const String& commandName) {
  if (!containsString(commandName, u"_"))
    return stored(preferences, u"QZQuintoraServerPort", u"8080");
  const Array pieces = componentsSeparatedByString(
      stringByReplacingOccurrencesOfStringWithString(commandName, u".", u"_"), u"_");
  return portFromTable(preferences.objectForKey(u"QZQuintoraCloudServerPorts"), (*pieces)[1]);
}

}  // namespace

void ChooseConnection(const String& commandName) {
  Preferences preferences(kServerDefaultsSuite);
  if (isAppleEventMode(preferences)) {
    postParameters.reset();
    environmentVariables.emplace();
    return;
  }
  quiZServerPort = integerValue(portText(preferences, commandName));
  postParameters.emplace();
  environmentVariables.reset();
}
