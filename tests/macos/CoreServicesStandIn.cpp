// A library in the place of CoreServices, loaded as the real one is: its functions take the
// system's types and lead to the scripted Apple Event Manager that is linked into this library.
#include <CoreServices/CoreServices.h>

#include "tests/support/ScriptedAppleEvents.h"

namespace {

// A descriptor of the system's for the scripted functions; what they make of it goes back.
class Scripted {
 public:
  explicit Scripted(const AEDesc* system)
      : system_(const_cast<AEDesc*>(system)),
        scripted_{system->descriptorType,
                  reinterpret_cast<quintora::AEDataStorage>(system->dataHandle)} {}
  ~Scripted() {
    system_->descriptorType = scripted_.descriptorType;
    system_->dataHandle = reinterpret_cast<AEDataStorage>(scripted_.dataHandle);
  }
  Scripted(const Scripted&) = delete;
  Scripted& operator=(const Scripted&) = delete;
  operator quintora::AEDesc*() { return &scripted_; }

 private:
  AEDesc* const system_;
  quintora::AEDesc scripted_;
};

}  // namespace

OSErr AECreateDesc(DescType typeCode, const void* dataPtr, Size dataSize, AEDesc* result) {
  return quintora::AECreateDesc(typeCode, dataPtr, dataSize, Scripted(result));
}

OSErr AECreateAppleEvent(AEEventClass theAEEventClass, AEEventID theAEEventID,
                         const AEAddressDesc* target, AEReturnID returnID,
                         AETransactionID transactionID, AppleEvent* result) {
  AEAddressDesc address = *target;
  return quintora::AECreateAppleEvent(theAEEventClass, theAEEventID, Scripted(&address), returnID,
                                      transactionID, Scripted(result));
}

OSErr AEPutParamPtr(AppleEvent* theAppleEvent, AEKeyword theAEKeyword, DescType typeCode,
                    const void* dataPtr, Size dataSize) {
  return quintora::AEPutParamPtr(Scripted(theAppleEvent), theAEKeyword, typeCode, dataPtr,
                                 dataSize);
}

OSStatus AESendMessage(const AppleEvent* event, AppleEvent* reply, AESendMode sendMode,
                       long timeOutInTicks) {
  AppleEvent sent = *event;
  return quintora::AESendMessage(Scripted(&sent), Scripted(reply), sendMode, timeOutInTicks);
}

OSErr AESizeOfParam(const AppleEvent* theAppleEvent, AEKeyword theAEKeyword, DescType* typeCode,
                    Size* dataSize) {
  AppleEvent message = *theAppleEvent;
  return quintora::AESizeOfParam(Scripted(&message), theAEKeyword, typeCode, dataSize);
}

OSErr AEGetParamPtr(const AppleEvent* theAppleEvent, AEKeyword theAEKeyword, DescType desiredType,
                    DescType* actualType, void* dataPtr, Size maximumSize, Size* actualSize) {
  AppleEvent message = *theAppleEvent;
  return quintora::AEGetParamPtr(Scripted(&message), theAEKeyword, desiredType, actualType, dataPtr,
                                 maximumSize, actualSize);
}

OSErr AEDisposeDesc(AEDesc* theAEDesc) { return quintora::AEDisposeDesc(Scripted(theAEDesc)); }
