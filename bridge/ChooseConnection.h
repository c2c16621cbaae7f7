// How the server application is reached: decided once, before the request is read.
#pragma once

#include "extras/String.h"
#include "platform/Preferences.h"

namespace quintora {

// The server application's preference domain, chosen when the bridge is built.
extern const char* const kServerDefaultsSuite;

// A decision and what it rests on, for the doctor to explain.
struct ConnectionChoice {
  bool isAppleEventMode = false;
  // The stored preferences; absent, too, where they are not read.
  String protocol;
  String serverPort;
  String cloudPorts;
  String nameText;    // the file-name tag; absent without a "_" in the name
  String tableEntry;  // the entry of the port table that matches the tag; absent without one
  String portText;    // absent in Apple-event mode
  int64_t port = 0;   // the number in portText, not necessarily one of a TCP port
};

// Decides for a bridge with this file name. What stands in the name between the first "_" and the
// next "_" or "." is a port or a name from the preferences' table, so that several copies of the
// bridge reach several servers.
ConnectionChoice connectionFor(const String& commandName, Preferences& preferences);

// Makes one of the two containers of the request state, empty, and the other one absent; in tunnel
// mode also sets quiZServerPort. A port that cannot be used is not refused here but where the
// connection is made.
void recordConnection(const ConnectionChoice& choice);

// Decides for this bridge, by the server application's preferences, and records it.
void ChooseConnection(const String& commandName);

}  // namespace quintora
