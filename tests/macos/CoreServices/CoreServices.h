// Stands in for the system's header where there is no macOS: the Apple Event Manager as far as the
// product uses it, with the documented signatures, and some of the names that the system's brings
// along and that are easily given to something of one's own.
#pragma once

#include <CoreFoundation/CoreFoundation.h>

// Older systems define these without the underscores that newer ones put before them; no namespace
// keeps a macro out.
#define check(assertion) static_cast<void>(assertion)
#define verify(assertion) static_cast<void>(assertion)
#define require(assertion, exceptionLabel) \
  do {                                     \
    if (!(assertion))                      \
      goto exceptionLabel;                 \
  } while (false)

extern "C" {

using TextEncoding = UInt32;
using SInt16 = short;
using SInt32 = int;
using OSErr = SInt16;
using OSStatus = SInt32;
using FourCharCode = UInt32;
using OSType = FourCharCode;
using DescType = FourCharCode;
using AEKeyword = FourCharCode;
using AEEventClass = FourCharCode;
using AEEventID = FourCharCode;
using AEReturnID = SInt16;
using AETransactionID = SInt32;
using AESendMode = SInt32;
using Size = long;

using AEDataStorageType = struct OpaqueAEDataStorageType*;
using AEDataStorage = AEDataStorageType*;
#pragma pack(push, 2)
struct AEDesc {
  DescType descriptorType;
  AEDataStorage dataHandle;
};
#pragma pack(pop)
using AEAddressDesc = AEDesc;
using AppleEvent = AEDesc;

enum {
  typeNull = 0x6E756C6C,
  typeChar = 0x54455854,
  typeApplSignature = 0x7369676E,
  typeAppleEvent = 0x61657674,
  keyDirectObject = 0x2D2D2D2D,
};
enum { noErr = 0, paramErr = -50, connectionInvalid = -609 };
enum {
  kAutoGenerateReturnID = -1,
  kAnyTransactionID = 0,
  kAEWaitReply = 3,
  kAEDefaultTimeout = -1
};

OSErr AECreateDesc(DescType typeCode, const void* dataPtr, Size dataSize, AEDesc* result);
OSErr AECreateAppleEvent(AEEventClass theAEEventClass, AEEventID theAEEventID,
                         const AEAddressDesc* target, AEReturnID returnID,
                         AETransactionID transactionID, AppleEvent* result);
OSErr AEPutParamPtr(AppleEvent* theAppleEvent, AEKeyword theAEKeyword, DescType typeCode,
                    const void* dataPtr, Size dataSize);
OSStatus AESendMessage(const AppleEvent* event, AppleEvent* reply, AESendMode sendMode,
                       long timeOutInTicks);
OSErr AESizeOfParam(const AppleEvent* theAppleEvent, AEKeyword theAEKeyword, DescType* typeCode,
                    Size* dataSize);
OSErr AEGetParamPtr(const AppleEvent* theAppleEvent, AEKeyword theAEKeyword, DescType desiredType,
                    DescType* actualType, void* dataPtr, Size maximumSize, Size* actualSize);
OSErr AEDisposeDesc(AEDesc* theAEDesc);

}  // extern "C"
