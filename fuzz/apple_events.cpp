// Replies to an Apple event, as a peer may send them over the socket. A plain reader of the same
// bytes comes to the same result.
//
// The first byte of an input says what the rest is: "w" all bytes of the peer, "m" the message
// behind its head, "i" the same with a head of the input's own size, "t" the text of the reply.
#include "platform/AppleEvents.h"

#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <optional>

#include "bridge/RequestState.h"
#include "bridge/SendAppleEvent.h"
#include "extras/NSString+Extras.h"
#include "fuzz/Fuzz.h"
#include "fuzz/PlainText.h"

namespace quintora {

namespace {

std::string number(size_t value) {
  std::string bytes;
  for (const size_t unit : {1u << 24, 1u << 16, 1u << 8, 1u})
    bytes += static_cast<char>(value / unit % 256);
  return bytes;
}

size_t numberIn(std::string_view bytes) {
  size_t value = 0;
  for (const char byte : bytes.substr(0, 4))
    value = value * 256 + static_cast<unsigned char>(byte);
  return value;
}

std::string sized(std::string_view content) {
  return number(content.size()).append(content.data(), content.size());
}

// The other end of the only connection that there is.
struct Peer {
  Peer(char kindOfInput, std::string_view rest, std::string_view input)
      : kind(kindOfInput), numbers(input), content(rest) {}

  // All that the peer sends, once it has the event.
  std::string answer() const {
    const std::string ids = event.size() >= 20 ? event.substr(12, 8) : "";
    const std::string head = "aevtansr" + ids;
    switch (kind) {
      case 'm':
        return sized(head + content);
      case 'i':
        return content.substr(0, 4) + head + content.substr(std::min<size_t>(4, content.size()));
      case 't':
        return sized(head + "----TEXT" + sized(content));
      default:
        return content;
    }
  }

  char kind;
  Numbers numbers;
  std::string content;
  std::string event;  // what has been received
  std::string reply;  // what is sent, from the first time that somebody reads
  bool isReplying = false;
  size_t sent = 0;
};

Peer* peer = nullptr;

// Each call takes or gives only some bytes, and some are interrupted.
bool isInterrupted() {
  errno = EINTR;
  return peer->numbers.upTo(4) == 1;
}

}  // namespace

// The system's calls, by the linker's --wrap. Others than the product's go where they would.
extern "C" {
int __real_connect(int socket, const sockaddr* address, socklen_t size);
int __real_poll(pollfd* watched, nfds_t count, int milliseconds);
ssize_t __real_recv(int socket, void* bytes, size_t size, int flags);
ssize_t __real_send(int socket, const void* bytes, size_t size, int flags);

int __wrap_connect(int socket, const sockaddr* address, socklen_t size) {
  if (!peer)
    return __real_connect(socket, address, size);
  return isInterrupted() ? -1 : 0;
}

int __wrap_poll(pollfd* watched, nfds_t count, int milliseconds) {
  if (!peer)
    return __real_poll(watched, count, milliseconds);
  require(count == 1, "one connection is waited for");
  if (isInterrupted())
    return -1;
  watched->revents = watched->events;
  return 1;
}

ssize_t __wrap_recv(int socket, void* bytes, size_t size, int flags) {
  if (!peer)
    return __real_recv(socket, bytes, size, flags);
  if (isInterrupted())
    return -1;
  if (!peer->isReplying)
    peer->reply = peer->answer();
  peer->isReplying = true;
  const size_t left = peer->reply.size() - peer->sent;
  const size_t count = std::min({left, size, peer->numbers.upTo(5000)});
  std::copy_n(peer->reply.data() + peer->sent, count, static_cast<char*>(bytes));
  peer->sent += count;
  return static_cast<ssize_t>(count);
}

ssize_t __wrap_send(int socket, const void* bytes, size_t size, int flags) {
  if (!peer)
    return __real_send(socket, bytes, size, flags);
  if (isInterrupted())
    return -1;
  const size_t count = std::min(size, peer->numbers.upTo(5000));
  peer->event.append(static_cast<const char*>(bytes), count);
  return static_cast<ssize_t>(count);
}
}

namespace {

// What the bridge makes of a reply, in UTF-8; absent for a text that is not UTF-8.
std::optional<std::string> plainText(std::string_view text) {
  text = text.substr(0, text.find('\0'));
  if (!plain::isUTF8(text))
    return std::nullopt;
  const bool hasMark = text.substr(0, 3) == "\xEF\xBB\xBF";  // which is no part of a reply
  return std::string(text.substr(hasMark ? 3 : 0));
}

// Whole units and pairs in this machine's byte order; absent for anything else.
std::optional<std::u16string> plainUnits(std::string_view bytes) {
  std::u16string units(bytes.size() / 2, u'\0');
  std::memcpy(units.data(), bytes.data(), 2 * units.size());
  for (size_t i = 0; i < units.size(); ++i) {
    const bool isPair =
        (units[i] & 0xFC00) == 0xD800 && i + 1 < units.size() && (units[i + 1] & 0xFC00) == 0xDC00;
    if (isPair)
      ++i;
    else if ((units[i] & 0xF800) == 0xD800)
      return std::nullopt;
  }
  return bytes.size() % 2 == 0 ? std::optional<std::u16string>(units) : std::nullopt;
}

std::string failed(const char* call, int status) {
  return "Quintora CGI error " + std::to_string(status) + " returned by " + call + "()";
}

std::optional<std::string> plainResult(const std::string& event, std::string_view reply) {
  const auto unsent = [](int status) { return failed("AESendMessage", status); };
  if (reply.empty())
    return "Quintora CGI error: Quintora Server is not running.";
  if (reply.size() < 4 || numberIn(reply) > reply.size() - 4 || numberIn(reply) < 16)
    return unsent(errAECorruptData);
  const std::string_view message = reply.substr(4, numberIn(reply));
  std::optional<std::string_view> type;
  std::string_view text;
  for (std::string_view rest = message.substr(16); !rest.empty();) {
    if (rest.size() < 12 || numberIn(rest.substr(8)) > rest.size() - 12)
      return unsent(errAECorruptData);
    const size_t size = numberIn(rest.substr(8));
    if (!type && rest.substr(0, 4) == "----") {
      type = rest.substr(4, 4);
      text = rest.substr(12, size);
    }
    rest = rest.substr(12 + size);
  }
  if (message.substr(0, 16) != "aevtansr" + event.substr(12, 8))
    return unsent(errAEReplyNotValid);
  if (!type)
    return failed("AEGetParamPtr", errAEDescNotFound);
  if (*type == "TEXT" || *type == "utf8")
    return plainText(text);
  const std::optional<std::u16string> units = *type == "utxt" ? plainUnits(text) : std::nullopt;
  if (!units)
    return failed("AEGetParamPtr", errAECoercionFail);
  return plainText(plain::toUTF8(*units).substr(0, text.size()));
}

// The event as it must have been sent; its return ID may be any.
std::string plainEvent(const std::string& event, const std::u16string& statement) {
  const std::string text = plain::toUTF8(statement).substr(0, statement.size());
  const std::string returnID = event.size() >= 16 ? event.substr(12, 4) : "";
  return sized("quiZxRUN" + returnID + number(0) + "----TEXT" + sized(text));
}

}  // namespace

int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
  const std::string_view input = inputText(bytes, size);
  if (input.empty())
    return 0;
  const String statement = stringWithUnknownEncodingData(Data(input));
  LeftMemory left;
  Peer other(input[0], input.substr(1), input);
  peer = &other;
  const bool ended = left.endsIn([&statement] { SendAppleEvent(statement); });
  peer = nullptr;
  require(!ended, "no reply ends the run");
  const std::optional<std::u16string> units = plain::fromUTF8(*statement);
  require(units && other.event == plainEvent(other.event, *units),
          "the event carries the statement");
  const std::optional<std::string> expected = plainResult(other.event, other.reply);
  require(cgiResult.has_value() == expected.has_value(), "a text that is not UTF-8 is absent");
  require(!expected || *cgiResult == *expected, "the reply is read as it was sent");
  cgiResult.reset();
  return 0;
}

}  // namespace quintora
