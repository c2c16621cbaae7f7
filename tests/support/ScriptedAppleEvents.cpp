#include "tests/support/ScriptedAppleEvents.h"

#include <algorithm>
#include <cstring>

namespace quintora {

namespace {

// Descriptors refer to the name of what was made, by a handle that is nobody else's business.
AEDataStorage handleOf(const std::string& name) {
  return reinterpret_cast<AEDataStorage>(new std::string(name));
}

std::string* nameOf(const AEDesc* descriptor) {
  return reinterpret_cast<std::string*>(descriptor->dataHandle);
}

std::string code(FourCharCode value) {
  std::string text;
  for (int shift = 24; shift >= 0; shift -= 8)
    text += static_cast<char>(value >> shift & 0xFF);
  return text;
}

// "null" for a null descriptor, else the name of what was made.
std::string state(const AEDesc* descriptor) {
  if (descriptor->descriptorType == typeNull && descriptor->dataHandle == nullptr)
    return "null";
  return descriptor->dataHandle ? *nameOf(descriptor) : "no data";
}

// Records the call and returns its status; when that is 0, fills the result.
OSStatus play(const std::string& name, const std::string& arguments, AEDesc* result = nullptr,
              const std::string& made = "") {
  scripted.calls.push_back(name + "(" + arguments + ")");
  const OSStatus status = scripted.statuses[name];
  if (status == noErr && result)
    *result = {typeAppleEvent, handleOf(made)};
  return status;
}

}  // namespace

OSErr AECreateDesc(DescType type, const void* data, Size size, AEDesc* result) {
  OSType signature = 0;
  std::memcpy(&signature, data, std::min<size_t>(static_cast<size_t>(size), sizeof signature));
  return static_cast<OSErr>(
      play("AECreateDesc",
           code(type) + ", " + code(signature) + ", " + std::to_string(size) + ", " + state(result),
           result, "target"));
}

OSErr AECreateAppleEvent(AEEventClass eventClass, AEEventID eventID, const AEAddressDesc* target,
                         AEReturnID returnID, AETransactionID transactionID, AppleEvent* result) {
  return static_cast<OSErr>(play("AECreateAppleEvent",
                                 code(eventClass) + ", " + code(eventID) + ", " + state(target) +
                                     ", " + std::to_string(returnID) + ", " +
                                     std::to_string(transactionID) + ", " + state(result),
                                 result, "event"));
}

OSErr AEPutParamPtr(AppleEvent* event, AEKeyword keyword, DescType type, const void* data,
                    Size size) {
  const std::string text(static_cast<const char*>(data), static_cast<size_t>(size));
  // The system may keep the larger event in another place.
  return static_cast<OSErr>(
      play("AEPutParamPtr",
           state(event) + ", " + code(keyword) + ", " + code(type) + ", \"" + text + "\"", event,
           "whole event"));
}

OSStatus AESendMessage(const AppleEvent* event, AppleEvent* reply, AESendMode mode, long timeOut) {
  return play("AESendMessage",
              state(event) + ", " + state(reply) + ", " + std::to_string(mode) + ", " +
                  std::to_string(timeOut),
              reply, "reply");
}

OSErr AESizeOfParam(const AppleEvent* event, AEKeyword keyword, DescType* type, Size* size) {
  const OSErr status = static_cast<OSErr>(play(
      "AESizeOfParam", state(event) + ", " + code(keyword) + ", size " + std::to_string(*size)));
  if (status == noErr) {
    *type = typeChar;
    *size = scripted.reportedSize;
  }
  return status;
}

OSErr AEGetParamPtr(const AppleEvent* event, AEKeyword keyword, DescType desiredType,
                    DescType* actualType, void* data, Size maximumSize, Size* actualSize) {
  scripted.buffer = static_cast<char*>(data);
  scripted.maximumSize = maximumSize;
  const OSErr status = static_cast<OSErr>(
      play("AEGetParamPtr", state(event) + ", " + code(keyword) + ", " + code(desiredType) + ", " +
                                std::to_string(maximumSize)));
  if (status == noErr) {
    *actualType = typeChar;
    *actualSize = static_cast<Size>(scripted.reply.size());
    std::memcpy(data, scripted.reply.data(),
                static_cast<size_t>(std::clamp<Size>(maximumSize, 0, *actualSize)));
  }
  return status;
}

OSErr AEDisposeDesc(AEDesc* descriptor) {
  // A status of its own, which nobody may look at.
  scripted.calls.push_back("AEDisposeDesc(" + state(descriptor) + ")");
  delete nameOf(descriptor);
  *descriptor = {typeNull, nullptr};
  return paramErr;
}

}  // namespace quintora
