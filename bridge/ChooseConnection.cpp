#include "bridge/ChooseConnection.h"

#include "bridge/RequestState.h"
#include "extras/NSString+Extras.h"
#include "extras/NSString.h"

namespace quintora {

const char16_t* const kServerDefaultsSuite = SERVER_DEFAULTS_SUITE;

namespace {

String orElse(const String& stored, const char16_t* otherwise) {
  return stored ? stored : otherwise;
}

// Looks the port text up in the table: the first entry with exactly that key holds, and its value
// is not looked up again.
void applyTable(ConnectionChoice& choice) {
  if (!isNotEmpty(choice.cloudPorts))
    return;
  const Array entries = componentsSeparatedByString(choice.cloudPorts, u",");
  for (const String& entry : *entries) {
    const Array pieces = componentsSeparatedByString(entry, u":");
    if (pieces->size() < 2 || !isEqualToString(pieces->front(), choice.portText))
      continue;
    choice.tableEntry = entry;
    choice.portText = (*pieces)[1];
    return;
  }
}

}  // namespace

ConnectionChoice connectionFor(const String& commandName, Preferences& preferences) {
  ConnectionChoice choice;
  choice.protocol = preferences.objectForKey(u"QZCGIConnectionProtocol");
  choice.isAppleEventMode =
      containsExactString(uppercaseString(orElse(choice.protocol, u"TCP/IP")), u"APPLE");
  if (choice.isAppleEventMode)
    return choice;
  if (containsString(commandName, u"_")) {
    const Array pieces = componentsSeparatedByString(
        stringByReplacingOccurrencesOfStringWithString(commandName, u".", u"_"), u"_");
    choice.nameText = choice.portText = (*pieces)[1];
    choice.cloudPorts = preferences.objectForKey(u"QZQuintoraCloudServerPorts");
    applyTable(choice);
  } else {
    choice.serverPort = preferences.objectForKey(u"QZQuintoraServerPort");
    choice.portText = orElse(choice.serverPort, u"8080");
  }
  choice.port = integerValue(choice.portText);
  return choice;
}

void recordConnection(const ConnectionChoice& choice) {
  if (choice.isAppleEventMode) {
    postParameters.reset();
    environmentVariables.emplace();
    return;
  }
  quiZServerPort = choice.port;
  postParameters.emplace();
  environmentVariables.reset();
}

void ChooseConnection(const String& commandName) {
  Preferences preferences(kServerDefaultsSuite);
  recordConnection(connectionFor(commandName, preferences));
}

}  // namespace quintora
