// An Apple Event Manager that does what a test tells it and records what it is asked. It is linked
// in the place of the real one.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "platform/AppleEvents.h"

namespace quintora {

struct ScriptedAppleEvents {
  // What each call returns, by its name; 0 where nothing is set.
  std::map<std::string, OSStatus> statuses;

  // What AESizeOfParam tells, and what AEGetParamPtr has, of which it copies what the buffer takes.
  Size reportedSize = 0;
  std::string reply;

  // Each call with its arguments and the state of the descriptors that it was given.
  std::vector<std::string> calls;

  // The buffer that AEGetParamPtr was given, and its maximum.
  char* buffer = nullptr;
  Size maximumSize = 0;

  // Lets the reply be this text, its size told truly.
  void answer(const std::string& text) {
    reply = text;
    reportedSize = static_cast<Size>(text.size());
  }
};

// The test program has it, also where the functions are in a library that it loads.
extern ScriptedAppleEvents scripted;

}  // namespace quintora
