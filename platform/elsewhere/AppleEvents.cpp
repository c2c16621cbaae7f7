// Apple events where there is no Apple Event Manager: an event goes to a process on the same
// machine over a Unix-domain stream socket, $XDG_RUNTIME_DIR/apple-events/NAME or, without that
// variable, /run/apple-events/NAME, where NAME is the target's signature. One connection carries
// one event and its reply.
//
// Both are messages of this layout, every integer in network byte order (big-endian):
//
//   bytes  field
//   4      size of all that follows, at most 2^30
//   4      event class     (the reply: 'aevt')
//   4      event ID        (the reply: 'ansr')
//   4      return ID, signed; the reply repeats the event's
//   4      transaction ID, signed; likewise
//   then, up to the end of the message, for each parameter:
//   4      keyword
//   4      descriptor type
//   4      size of the data
//   size   data
#include "platform/AppleEvents.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "extras/TextEncoding.h"
#include "platform/posix/Descriptors.h"

#ifndef APPLE_EVENT_DEFAULT_TIMEOUT_MILLISECONDS
#define APPLE_EVENT_DEFAULT_TIMEOUT_MILLISECONDS 60000  // tests build with a shorter one
#endif

namespace quintora {

namespace {

constexpr size_t kMostMessageBytes = size_t{1} << 30;
constexpr size_t kMessageHeadBytes = 16;          // class, ID, return ID, transaction ID
constexpr size_t kParameterHeadBytes = 12;        // keyword, type, size
constexpr FourCharCode kReplyClass = 0x61657674;  // 'aevt'
constexpr FourCharCode kReplyID = 0x616E7372;     // 'ansr'

// Types of text that become 'TEXT' for a caller who wants that.
constexpr DescType kUTF8TextType = 0x75746638;     // 'utf8'
constexpr DescType kUnicodeTextType = 0x75747874;  // 'utxt', UTF-16, its low byte first

// A parameter within a message's bytes.
struct Parameter {
  AEKeyword keyword;
  DescType type;
  std::string_view data;
};

}  // namespace

// What a descriptor refers to: plain data, or an event or reply as the bytes of its message without
// the size.
struct AEDataStorageType {
  std::string bytes;
  OSType target = 0;  // of an event: the signature of the process that it goes to
};

namespace {

bool isEvent(const AppleEvent* event) {
  return event && event->descriptorType == typeAppleEvent && event->dataHandle;
}

void putNumber(std::string& bytes, uint32_t number) {
  for (int shift = 24; shift >= 0; shift -= 8)
    bytes.push_back(static_cast<char>(number >> shift & 0xFF));
}

// Cuts a number of four bytes, which must be there, off the front.
uint32_t readNumber(std::string_view& bytes) {
  uint32_t number = 0;
  for (const char byte : bytes.substr(0, 4))
    number = number << 8 | static_cast<unsigned char>(byte);
  bytes.remove_prefix(4);
  return number;
}

uint32_t numberAt(std::string_view bytes, size_t at) {
  bytes.remove_prefix(at);
  return readNumber(bytes);
}

// Cuts a parameter off the front; absent when the bytes do not begin with a whole one.
std::optional<Parameter> readParameter(std::string_view& bytes) {
  if (bytes.size() < kParameterHeadBytes)
    return std::nullopt;
  const AEKeyword keyword = readNumber(bytes);
  const DescType type = readNumber(bytes);
  const size_t size = readNumber(bytes);
  if (size > bytes.size())
    return std::nullopt;
  const Parameter parameter = {keyword, type, bytes.substr(0, size)};
  bytes.remove_prefix(size);
  return parameter;
}

std::string_view parametersOf(const std::string& message) {
  return std::string_view(message).substr(kMessageHeadBytes);
}

// The first parameter with the keyword.
std::optional<Parameter> findParameter(const std::string& message, AEKeyword keyword) {
  std::string_view left = parametersOf(message);
  while (const std::optional<Parameter> parameter = readParameter(left)) {
    if (parameter->keyword == keyword)
      return parameter;
  }
  return std::nullopt;
}

// Whether the message has a head and consists of whole parameters.
bool isWhole(const std::string& message) {
  if (message.size() < kMessageHeadBytes)
    return false;
  std::string_view left = parametersOf(message);
  while (!left.empty()) {
    if (!readParameter(left))
      return false;
  }
  return true;
}

bool isReplyTo(const std::string& event, const std::string& answer) {
  const std::string_view ids(answer);
  return numberAt(ids, 0) == kReplyClass && numberAt(ids, 4) == kReplyID &&
         ids.substr(8, 8) == std::string_view(event).substr(8, 8);  // return and transaction ID
}

// The path of the target's socket.
std::string socketPath(OSType target) {
  const char* const folder = std::getenv("XDG_RUNTIME_DIR");
  std::string path = folder && *folder ? folder : "/run";
  path += "/apple-events/";
  putNumber(path, target);
  return path;
}

OSStatus statusOfConnect(int error) {
  if (error == EACCES || error == EPERM)
    return errAEEventNotPermitted;
  // The queue of a process that accepts no connections is full, and the time-out has passed.
  return error == EAGAIN || error == EINPROGRESS ? errAETimeout : connectionInvalid;
}

// A connection to one process. All its calls end by the deadline.
class Connection {
 public:
  explicit Connection(Clock::time_point deadline)
      : deadline_(deadline), socket_(streamSocket(AF_UNIX, /*doesWait=*/true)) {}

  OSStatus open(const std::string& path);
  OSStatus send(std::string_view bytes);

  // Receives exactly as many bytes as asked for. An end before the first of them is `atStart`.
  OSStatus receive(char* bytes, size_t size, OSStatus atStart);

 private:
  OSStatus waitFor(int events);

  const Clock::time_point deadline_;
  const Descriptor socket_;
};

OSStatus Connection::open(const std::string& path) {
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  if (path.size() >= sizeof address.sun_path)
    return connectionInvalid;
  std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
  int result;
  do {
    // Connecting waits while the peer's queue is full, and only this time-out ends the wait.
    const auto left =
        std::chrono::ceil<std::chrono::microseconds>(deadline_ - Clock::now()).count();
    if (left <= 0)
      return errAETimeout;  // to the system, a time-out of zero is none
    timeval timeout = {};
    timeout.tv_sec = static_cast<decltype(timeout.tv_sec)>(left / 1000000);
    timeout.tv_usec = static_cast<decltype(timeout.tv_usec)>(left % 1000000);
    setsockopt(socket_.number(), SOL_SOCKET, SO_SNDTIMEO, &timeout, sizeof timeout);
    result = connect(socket_.number(), reinterpret_cast<sockaddr*>(&address), sizeof address);
  } while (result < 0 && errno == EINTR);
  if (result < 0)
    return statusOfConnect(errno);
  return noErr;
}

OSStatus Connection::waitFor(int events) {
  const int ready = pollUntil(deadline_, socket_.number(), events);
  return ready > 0 ? noErr : ready == 0 ? errAETimeout : connectionInvalid;
}

OSStatus Connection::send(std::string_view bytes) {
  while (!bytes.empty()) {
    if (const OSStatus status = waitFor(POLLOUT))
      return status;
    const ssize_t count = uninterrupted(
        [&] { return ::send(socket_.number(), bytes.data(), bytes.size(), MSG_DONTWAIT); });
    if (count >= 0)
      bytes.remove_prefix(static_cast<size_t>(count));
    else if (!isPutOff(errno))
      return connectionInvalid;
  }
  return noErr;
}

OSStatus Connection::receive(char* bytes, size_t size, OSStatus atStart) {
  for (size_t done = 0; done < size;) {
    if (const OSStatus status = waitFor(POLLIN))
      return status;
    const ssize_t count = uninterrupted(
        [&] { return recv(socket_.number(), bytes + done, size - done, MSG_DONTWAIT); });
    if (count > 0)
      done += static_cast<size_t>(count);
    else if (count == 0 || !isPutOff(errno))
      return done == 0 ? atStart : errAECorruptData;
  }
  return noErr;
}

// Receives a message. Its memory grows as the bytes arrive, so that a peer that only claims to send
// much costs nothing.
OSStatus receiveMessage(Connection& connection, std::string& message) {
  char head[4];
  if (const OSStatus status = connection.receive(head, sizeof head, connectionInvalid))
    return status;
  const size_t size = numberAt({head, sizeof head}, 0);
  if (size > kMostMessageBytes)
    return errAECorruptData;
  constexpr size_t kPieceBytes = size_t{1} << 20;
  while (message.size() < size) {
    const size_t done = message.size();
    message.resize(done + std::min(kPieceBytes, size - done));
    if (const OSStatus status =
            connection.receive(&message[done], message.size() - done, errAECorruptData))
      return status;
  }
  return isWhole(message) ? static_cast<OSStatus>(noErr) : errAECorruptData;
}

// Converts the parameter to the desired type, or leaves it as it is and returns false. `converted`
// owns the data if they had to be converted.
bool coerce(Parameter& parameter, DescType desiredType, std::optional<Data>& converted) {
  if (desiredType == typeWildCard || desiredType == parameter.type)
    return true;
  if (desiredType != typeChar)
    return false;
  if (parameter.type == kUnicodeTextType)
    converted = initWithDataEncoding(Data(parameter.data), kUTF16LittleEndianTextEncoding);
  if (parameter.type != kUTF8TextType && !converted)
    return false;
  parameter = {parameter.keyword, typeChar,
               converted ? std::string_view(*converted) : parameter.data};
  return true;
}

Clock::time_point deadlineAfter(long timeOut) {
  using std::chrono::milliseconds;
  if (timeOut == kNoTimeOut)
    return Clock::time_point::max();
  return Clock::now() + (timeOut == kAEDefaultTimeout
                             ? milliseconds(APPLE_EVENT_DEFAULT_TIMEOUT_MILLISECONDS)
                             : milliseconds(timeOut * 1000 / 60));
}

AEReturnID newReturnID() {
  static AEReturnID last = 0;
  last = static_cast<AEReturnID>(last % INT16_MAX + 1);
  return last;
}

}  // namespace

OSErr AECreateDesc(DescType type, const void* data, Size size, AEDesc* result) {
  if (!result || size < 0 || (!data && size > 0))
    return paramErr;
  *result = {type, new AEDataStorageType};
  result->dataHandle->bytes.assign(static_cast<const char*>(data), static_cast<size_t>(size));
  return noErr;
}

OSErr AECreateAppleEvent(AEEventClass eventClass, AEEventID eventID, const AEAddressDesc* target,
                         AEReturnID returnID, AETransactionID transactionID, AppleEvent* result) {
  if (!target || !result)
    return paramErr;
  OSType signature;
  if (target->descriptorType != typeApplSignature || !target->dataHandle ||
      target->dataHandle->bytes.size() != sizeof signature)
    return errAENotAEDesc;
  std::memcpy(&signature, target->dataHandle->bytes.data(), sizeof signature);
  *result = {typeAppleEvent, new AEDataStorageType};
  result->dataHandle->target = signature;
  std::string& message = result->dataHandle->bytes;
  putNumber(message, eventClass);
  putNumber(message, eventID);
  const AEReturnID id = returnID == kAutoGenerateReturnID ? newReturnID() : returnID;
  putNumber(message, static_cast<uint32_t>(id));
  putNumber(message, static_cast<uint32_t>(transactionID));
  return noErr;
}

OSErr AEPutParamPtr(AppleEvent* event, AEKeyword keyword, DescType type, const void* data,
                    Size size) {
  if (!isEvent(event))
    return errAENotAEDesc;
  if (size < 0 || (!data && size > 0))
    return paramErr;
  std::string& message = event->dataHandle->bytes;
  if (static_cast<size_t>(size) > kMostMessageBytes - std::min(kMostMessageBytes, message.size()))
    return paramErr;
  if (const std::optional<Parameter> earlier = findParameter(message, keyword)) {
    const size_t at = static_cast<size_t>(earlier->data.data() - message.data());
    message.erase(at - kParameterHeadBytes, kParameterHeadBytes + earlier->data.size());
  }
  putNumber(message, keyword);
  putNumber(message, type);
  putNumber(message, static_cast<uint32_t>(size));
  message.append(static_cast<const char*>(data), static_cast<size_t>(size));
  return noErr;
}

OSStatus AESendMessage(const AppleEvent* event, AppleEvent* reply, AESendMode mode, long timeOut) {
  if (!isEvent(event))
    return errAENotAEDesc;
  if (!reply)
    return paramErr;
  if (mode != kAEWaitReply)
    return errAEUnknownSendMode;
  const std::string& message = event->dataHandle->bytes;
  std::string size;
  putNumber(size, static_cast<uint32_t>(message.size()));

  Connection connection(deadlineAfter(timeOut));
  std::string answer;
  OSStatus status = connection.open(socketPath(event->dataHandle->target));
  if (status == noErr)
    status = connection.send(size);
  if (status == noErr)
    status = connection.send(message);
  if (status == noErr)
    status = receiveMessage(connection, answer);
  if (status != noErr)
    return status;
  if (!isReplyTo(message, answer))
    return errAEReplyNotValid;
  *reply = {typeAppleEvent, new AEDataStorageType};
  reply->dataHandle->bytes = std::move(answer);
  return noErr;
}

OSErr AESizeOfParam(const AppleEvent* event, AEKeyword keyword, DescType* type, Size* size) {
  if (!isEvent(event))
    return errAENotAEDesc;
  const std::optional<Parameter> parameter = findParameter(event->dataHandle->bytes, keyword);
  if (!parameter)
    return errAEDescNotFound;
  *type = parameter->type;
  *size = static_cast<Size>(parameter->data.size());
  return noErr;
}

OSErr AEGetParamPtr(const AppleEvent* event, AEKeyword keyword, DescType desiredType,
                    DescType* actualType, void* data, Size maximumSize, Size* actualSize) {
  if (!isEvent(event))
    return errAENotAEDesc;
  std::optional<Parameter> parameter = findParameter(event->dataHandle->bytes, keyword);
  if (!parameter)
    return errAEDescNotFound;
  std::optional<Data> converted;
  if (!coerce(*parameter, desiredType, converted))
    return errAECoercionFail;
  *actualType = parameter->type;
  *actualSize = static_cast<Size>(parameter->data.size());
  std::memcpy(data, parameter->data.data(),
              static_cast<size_t>(std::clamp<Size>(maximumSize, 0, *actualSize)));
  return noErr;
}

OSErr AEDisposeDesc(AEDesc* descriptor) {
  if (!descriptor)
    return paramErr;
  delete descriptor->dataHandle;
  *descriptor = {typeNull, nullptr};
  return noErr;
}

}  // namespace quintora
