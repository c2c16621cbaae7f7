// Apple events by the system's Apple Event Manager, which is in CoreServices. That framework brings
// many libraries along, none of which tunnel mode needs, so the first call loads it. No other
// source includes the system's header.
#include "platform/AppleEvents.h"

#include <CoreServices/CoreServices.h>
#include <dlfcn.h>

#ifndef CORE_SERVICES
#define CORE_SERVICES "/System/Library/Frameworks/CoreServices.framework/Versions/A/CoreServices"
#endif

namespace quintora {

// Checks that the constants of the product's header are the system's.
constexpr bool isSame(long long product, long long system) { return product == system; }
static_assert(isSame(typeNull, ::typeNull) && isSame(typeChar, ::typeChar));
static_assert(isSame(typeApplSignature, ::typeApplSignature));
static_assert(isSame(keyDirectObject, ::keyDirectObject));
static_assert(isSame(kAutoGenerateReturnID, ::kAutoGenerateReturnID));
static_assert(isSame(kAnyTransactionID, ::kAnyTransactionID));
static_assert(isSame(kAEWaitReply, ::kAEWaitReply));
static_assert(isSame(kAEDefaultTimeout, ::kAEDefaultTimeout));
static_assert(isSame(noErr, ::noErr) && isSame(connectionInvalid, ::connectionInvalid));

namespace {

// The system's functions, looked up by name; null when the system has no such function.
struct Manager {
  decltype(&::AECreateDesc) createDesc;
  decltype(&::AECreateAppleEvent) createAppleEvent;
  decltype(&::AEPutParamPtr) putParamPtr;
  decltype(&::AESendMessage) sendMessage;
  decltype(&::AESizeOfParam) sizeOfParam;
  decltype(&::AEGetParamPtr) getParamPtr;
  decltype(&::AEDisposeDesc) disposeDesc;
};

template <typename Function>
void find(void* library, const char* name, Function*& function) {
  function = reinterpret_cast<Function*>(dlsym(library, name));
}

Manager loadedManager() {
  Manager manager = {};
  void* const library = dlopen(CORE_SERVICES, RTLD_LAZY | RTLD_LOCAL);
  if (!library)
    return manager;
  find(library, "AECreateDesc", manager.createDesc);
  find(library, "AECreateAppleEvent", manager.createAppleEvent);
  find(library, "AEPutParamPtr", manager.putParamPtr);
  find(library, "AESendMessage", manager.sendMessage);
  find(library, "AESizeOfParam", manager.sizeOfParam);
  find(library, "AEGetParamPtr", manager.getParamPtr);
  find(library, "AEDisposeDesc", manager.disposeDesc);
  return manager;
}

// Calls one of the functions; cfragNoLibraryErr when the system does not have it.
template <typename Function, typename... Arguments>
auto call(Function* Manager::*function, Arguments... arguments) {
  static const Manager manager = loadedManager();
  Function* const found = manager.*function;
  return found ? found(arguments...)
               : static_cast<decltype(found(arguments...))>(cfragNoLibraryErr);
}

// The system's descriptor is packed more tightly than the product's. The data belong to whichever
// of the two was written last.
::AEDesc systemDescriptor(const AEDesc& descriptor) {
  ::AEDesc result;
  result.descriptorType = descriptor.descriptorType;
  result.dataHandle = reinterpret_cast<::AEDataStorage>(descriptor.dataHandle);
  return result;
}

AEDesc productDescriptor(const ::AEDesc& descriptor) {
  return {descriptor.descriptorType, reinterpret_cast<AEDataStorage>(descriptor.dataHandle)};
}

}  // namespace

OSErr AECreateDesc(DescType type, const void* data, Size size, AEDesc* result) {
  ::AEDesc made = systemDescriptor(*result);
  const OSErr status = call(&Manager::createDesc, type, data, size, &made);
  *result = productDescriptor(made);
  return status;
}

OSErr AECreateAppleEvent(AEEventClass eventClass, AEEventID eventID, const AEAddressDesc* target,
                         AEReturnID returnID, AETransactionID transactionID, AppleEvent* result) {
  const ::AEDesc address = systemDescriptor(*target);
  ::AEDesc made = systemDescriptor(*result);
  const OSErr status = call(&Manager::createAppleEvent, eventClass, eventID, &address, returnID,
                            transactionID, &made);
  *result = productDescriptor(made);
  return status;
}

OSErr AEPutParamPtr(AppleEvent* event, AEKeyword keyword, DescType type, const void* data,
                    Size size) {
  ::AEDesc changed = systemDescriptor(*event);
  const OSErr status = call(&Manager::putParamPtr, &changed, keyword, type, data, size);
  *event = productDescriptor(changed);
  return status;
}

OSStatus AESendMessage(const AppleEvent* event, AppleEvent* reply, AESendMode mode, long timeOut) {
  const ::AEDesc sent = systemDescriptor(*event);
  ::AEDesc came = systemDescriptor(*reply);
  const OSStatus status = call(&Manager::sendMessage, &sent, &came, mode, timeOut);
  *reply = productDescriptor(came);
  return status;
}

OSErr AESizeOfParam(const AppleEvent* event, AEKeyword keyword, DescType* type, Size* size) {
  const ::AEDesc message = systemDescriptor(*event);
  return call(&Manager::sizeOfParam, &message, keyword, type, size);
}

OSErr AEGetParamPtr(const AppleEvent* event, AEKeyword keyword, DescType desiredType,
                    DescType* actualType, void* data, Size maximumSize, Size* actualSize) {
  const ::AEDesc message = systemDescriptor(*event);
  return call(&Manager::getParamPtr, &message, keyword, desiredType, actualType, data, maximumSize,
              actualSize);
}

OSErr AEDisposeDesc(AEDesc* descriptor) {
  ::AEDesc disposed = systemDescriptor(*descriptor);
  const OSErr status = call(&Manager::disposeDesc, &disposed);
  *descriptor = productDescriptor(disposed);
  return status;
}

}  // namespace quintora
