// How the server application is reached: decided once, before the request is read.
#pragma once

#include "extras/String.h"

// Reads the server application's preferences and makes one of the two containers of the request
// state, empty, and the other one absent. In tunnel mode it also sets quiZServerPort; a port that
// cannot be used is not refused here but where the connection is made.
//
// commandName is the bridge's own file name: what stands in it between the first "_" and the next
// "_" or "." is a port or a name from the preferences' table, so that several copies of the bridge
// reach several servers.
void ChooseConnection(const String& commandName);
