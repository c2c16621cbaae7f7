#include "bridge/SendAppleEvent.h"

#include <algorithm>
#include <cstdlib>

#include "bridge/Messages.h"
#include "bridge/RequestState.h"
#include "extras/TextEncoding.h"
#include "platform/AppleEvents.h"
#include "platform/Charsets.h"

namespace quintora {

namespace {

constexpr FourCharCode fourCharCode(const char (&text)[5]) {
  FourCharCode code = 0;
  for (int i = 0; i < 4; ++i)
    code = code << 8 | static_cast<unsigned char>(text[i]);
  return code;
}

constexpr AEEventClass kEventClass = fourCharCode("quiZ");
constexpr AEEventID kEventID = fourCharCode("xRUN");
constexpr OSType kServerSignature = fourCharCode("QUIZ");

// Spare room after the reply's text; the terminating NUL needs one byte of it.
constexpr uint64_t kSpareBytes = 100;

struct Descriptors {
  AEDesc target = {typeNull, nullptr};
  AEDesc event = {typeNull, nullptr};
  AEDesc reply = {typeNull, nullptr};
};

// Makes the event that carries the statement. On failure, sets a message and releases the
// descriptors made so far.
bool makeEvent(const String& statement, Descriptors& d) {
  const OSType signature = kServerSignature;
  OSErr status = AECreateDesc(typeApplSignature, &signature, sizeof signature, &d.target);
  if (status != noErr) {
    cgiResult = kCreateDescError(status);
    return false;
  }
  status = AECreateAppleEvent(kEventClass, kEventID, &d.target, kAutoGenerateReturnID,
                              kAnyTransactionID, &d.event);
  if (status != noErr) {
    cgiResult = kCreateAppleEventError(status);
    AEDisposeDesc(&d.target);
    return false;
  }
  // The size is the number of UTF-16 code units, which never exceeds the number of bytes.
  status = AEPutParamPtr(&d.event, keyDirectObject, typeChar, statement ? statement->c_str() : "",
                         static_cast<Size>(length(statement)));
  if (status != noErr) {
    cgiResult = kPutParamPtrError(status);
    AEDisposeDesc(&d.target);
    AEDisposeDesc(&d.event);
    return false;
  }
  return true;
}

void disposeAll(Descriptors& d) {
  AEDisposeDesc(&d.target);
  AEDisposeDesc(&d.event);
  AEDisposeDesc(&d.reply);
}

// Sends the event and waits for the reply. On failure, sets a message and releases all descriptors.
bool send(Descriptors& d) {
  // AESendMessage returns 32 bits; only the lower 16 are tested and printed.
  const OSErr status =
      static_cast<OSErr>(AESendMessage(&d.event, &d.reply, kAEWaitReply, kAEDefaultTimeout));
  if (status == noErr)
    return true;
  if (status == connectionInvalid)
    cgiResult = kNotRunning;
  else
    cgiResult = kSendMessageError(status);
  disposeAll(d);
  return false;
}

// Puts the reply's text, or on failure a message, into cgiResult. The descriptors stay unreleased
// on failure, and the buffer is never freed: the process ends soon after.
bool receive(const AEDesc& reply) {
  DescType type = typeNull;
  Size size = 0;
  // A missing parameter is reported by AEGetParamPtr, below.
  AESizeOfParam(&reply, keyDirectObject, &type, &size);
  // The sum is unsigned, so a negative size cannot make it overflow. Should it be 0, which takes a
  // size that no system reports, there has to be room for the NUL.
  const uint64_t capacity = std::max<uint64_t>(static_cast<uint64_t>(size) + kSpareBytes, 1);
  char* const buffer = static_cast<char*>(std::realloc(nullptr, capacity));
  if (!buffer) {
    cgiResult = kNoMemoryForReply(static_cast<int32_t>(static_cast<uint32_t>(size)));
    return false;
  }
  Size actualSize = 0;
  const OSErr status =
      AEGetParamPtr(&reply, keyDirectObject, typeChar, &type, buffer, size, &actualSize);
  if (status != noErr) {
    cgiResult = kGetParamPtrError(status);
    return false;
  }
  // Of a text longer than AESizeOfParam said, only so many bytes were copied.
  const uint64_t copied = static_cast<uint64_t>(std::max<Size>(std::min(actualSize, size), 0));
  buffer[copied] = '\0';
  cgiResult = decodeData(buffer, kUTF8TextEncoding);
  return true;
}

}  // namespace

void SendAppleEvent(const String& statement) { exchangeAppleEvent(statement); }

bool exchangeAppleEvent(const String& statement) {
  Descriptors descriptors;
  if (!makeEvent(statement, descriptors) || !send(descriptors) || !receive(descriptors.reply))
    return false;
  disposeAll(descriptors);
  return true;
}

}  // namespace quintora
