// The part of the Apple Event Manager that the bridge uses: types, constants and seven functions,
// which have the system's names but are in the product's namespace. On macOS they call the system's
// own. On other systems elsewhere/AppleEvents.cpp replaces it, so that Apple-event mode can be
// developed, tested and tried there.
#pragma once

#include <cstdint>

namespace quintora {

using OSErr = int16_t;
using OSStatus = int32_t;
using FourCharCode = uint32_t;  // four characters, the first in the most significant byte
using OSType = FourCharCode;
using DescType = FourCharCode;
using AEKeyword = FourCharCode;
using AEEventClass = FourCharCode;
using AEEventID = FourCharCode;
using AEReturnID = int16_t;
using AETransactionID = int32_t;
using AESendMode = int32_t;
using Size = long;

// A descriptor: a type and the data that it owns until AEDisposeDesc. The null descriptor has
// typeNull and no data.
struct AEDataStorageType;
using AEDataStorage = AEDataStorageType*;
struct AEDesc {
  DescType descriptorType;
  AEDataStorage dataHandle;
};
using AEAddressDesc = AEDesc;
using AppleEvent = AEDesc;

enum : DescType {
  typeNull = 0x6E756C6C,           // 'null'
  typeChar = 0x54455854,           // 'TEXT'
  typeApplSignature = 0x7369676E,  // 'sign'
  typeAppleEvent = 0x61657674,     // 'aevt'
  typeWildCard = 0x2A2A2A2A,       // '****'
};
enum : AEKeyword { keyDirectObject = 0x2D2D2D2D };  // '----'
enum : AEReturnID { kAutoGenerateReturnID = -1 };
enum : AETransactionID { kAnyTransactionID = 0 };
enum : AESendMode { kAEWaitReply = 3 };
enum : long { kAEDefaultTimeout = -1, kNoTimeOut = -2 };  // else sixtieths of a second

enum : OSErr {
  noErr = 0,
  paramErr = -50,
  cfragNoLibraryErr = -2804,       // this system has no Apple Event Manager, or not all of it
  connectionInvalid = -609,        // nobody listens, or the peer went away without a reply
  errAECoercionFail = -1700,       // the parameter cannot be had as the desired type
  errAEDescNotFound = -1701,       // no parameter has that keyword
  errAECorruptData = -1702,        // the peer's message is cut off or has an impossible size
  errAENotAEDesc = -1704,          // the descriptor is no Apple event, or no address
  errAEReplyNotValid = -1709,      // the message is not the reply to this event
  errAEUnknownSendMode = -1710,    // only waiting for the reply is known here
  errAETimeout = -1712,            // no whole reply within the time-out
  errAEEventNotPermitted = -1743,  // the socket is there and may not be used by this user
};

// Make a descriptor with a copy of the data, or an event without parameters for a target. On
// failure they leave the result as it was.
OSErr AECreateDesc(DescType type, const void* data, Size size, AEDesc* result);
OSErr AECreateAppleEvent(AEEventClass eventClass, AEEventID eventID, const AEAddressDesc* target,
                         AEReturnID returnID, AETransactionID transactionID, AppleEvent* result);

// Adds a parameter with a copy of the data, replacing an earlier one with the same keyword.
OSErr AEPutParamPtr(AppleEvent* event, AEKeyword keyword, DescType type, const void* data,
                    Size size);

// Sends the event and waits for the reply, which is left as it was on failure.
OSStatus AESendMessage(const AppleEvent* event, AppleEvent* reply, AESendMode mode, long timeOut);

// The type and the size in bytes of a parameter.
OSErr AESizeOfParam(const AppleEvent* event, AEKeyword keyword, DescType* type, Size* size);

// Copies at most maximumSize bytes of a parameter, converted to the desired type, and reports its
// whole size in that type. Unicode text can be converted to 'TEXT', which may change its size.
OSErr AEGetParamPtr(const AppleEvent* event, AEKeyword keyword, DescType desiredType,
                    DescType* actualType, void* data, Size maximumSize, Size* actualSize);

// Releases the data and makes the descriptor the null descriptor.
OSErr AEDisposeDesc(AEDesc* descriptor);

}  // namespace quintora
