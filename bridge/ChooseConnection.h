// Chooses how the server is reached, once in a run and before the request is read.
#pragma once

#include "extras/String.h"
#include "platform/Preferences.h"

namespace quintora {

// The domain of the server's preferences, set at build time.
extern const char* const kServerDefaultsSuite;

// The connection and the values that led to it, which the doctor explains.
struct ConnectionChoice {
  bool isAppleEventMode = false;
  // The stored preferences; also absent where the choice does not need them.
  String protocol;
  String serverPort;
  String cloudPorts;
  String nameText;    // the file-name tag; absent without a "_" in the name
  String tableEntry;  // the entry of the port table that matches the tag; absent without one
  String portText;    // absent in Apple-event mode
  int64_t port = 0;   // the number in portText, not necessarily a valid TCP port
};

// Chooses the connection for a copy of the bridge with this file name. The part of the name between
// the first "_" and the next "_" or "." is a port or a key of the port table, so that several
// copies can reach several servers.
ConnectionChoice connectionFor(const String& commandName, Preferences& preferences);

// Records the mode: makes one of the two containers of the request state empty and the other one
// absent. In tunnel mode also sets quiZServerPort; an invalid port is rejected later, when the
// request is sent.
void recordConnection(const ConnectionChoice& choice);

// Chooses the connection for this copy by the server's preferences, and records it.
void ChooseConnection(const String& commandName);

}  // namespace quintora
