#include "bridge/ChooseConnection.h"

#include "bridge/RequestState.h"
#include "extras/NSString+Extras.h"
#include "extras/NSString.h"

namespace quintora {

const char* const kServerDefaultsSuite = SERVER_DEFAULTS_SUITE;

namespace {

String orElse(const String& stored, const char* otherwise) { return stored ? stored : otherwise; }

// Looks up the port text in the port table. The first entry with exactly that key wins; its value
// is not looked up again.
void applyTable(ConnectionChoice& choice) {
  if (!isNotEmpty(choice.cloudPorts))
    return;
  const Array entries = componentsSeparatedByString(choice.cloudPorts, ",");
  for (const String& entry : *entries) {
    const Array pieces = componentsSeparatedByString(entry, ":");
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
  choice.protocol = preferences.objectForKey("QZCGIConnectionProtocol");
  choice.isAppleEventMode =
      containsExactString(uppercaseString(orElse(choice.protocol, "TCP/IP")), "APPLE");
  if (choice.isAppleEventMode)
    return choice;
  if (containsString(commandName, "_")) {
    const Array pieces = componentsSeparatedByString(
        stringByReplacingOccurrencesOfStringWithString(commandName, ".", "_"), "_");
    choice.nameText = choice.portText = (*pieces)[1];
    choice.cloudPorts = preferences.objectForKey("QZQuintoraCloudServerPorts");
    applyTable(choice);
  } else {
    choice.serverPort = preferences.objectForKey("QZQuintoraServerPort");
    choice.portText = orElse(choice.serverPort, "8080");
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
