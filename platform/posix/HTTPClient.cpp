#include "platform/HTTPClient.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/uio.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>
#include <memory>

#include "extras/NSString.h"
#include "extras/TextEncoding.h"
#include "platform/http/HTTPReply.h"
#include "platform/posix/Sockets.h"

namespace quintora {

namespace {

// Whether the system still holds something of a request is asked only of those that are larger; the
// others it has passed on by the time that anybody could ask.
constexpr size_t kSmallRequestBytes = 32768;

struct Address {
  sockaddr_storage storage = {};
  socklen_t size = 0;
};

// Absent when the text is no numeric address.
std::optional<Address> numericAddress(const std::string& text, uint16_t port) {
  Address address;
  auto* const v4 = reinterpret_cast<sockaddr_in*>(&address.storage);
  auto* const v6 = reinterpret_cast<sockaddr_in6*>(&address.storage);
  if (inet_pton(AF_INET, text.c_str(), &v4->sin_addr) == 1) {
    v4->sin_family = AF_INET;
    v4->sin_port = htons(port);
    address.size = sizeof *v4;
  } else if (inet_pton(AF_INET6, text.c_str(), &v6->sin6_addr) == 1) {
    v6->sin6_family = AF_INET6;
    v6->sin6_port = htons(port);
    address.size = sizeof *v6;
  } else {
    return std::nullopt;
  }
  return address;
}

std::string headOf(const HTTPRequest& request) {
  std::string head = request.method + " " + request.url.path +
                     " HTTP/1.1\r\nHost: " + request.url.host + ":" + request.url.port + "\r\n";
  for (const auto& [name, value] : request.headers)
    head.append(name).append(": ").append(value).append("\r\n");
  return head + "Connection: close\r\n\r\n";
}

std::string inWords(std::chrono::milliseconds time) {
  const auto count = time.count();
  return count % 1000 == 0 ? std::to_string(count / 1000) + " seconds"
                           : std::to_string(count) + " milliseconds";
}

// One exchange with one address.
class Exchange {
 public:
  Exchange(const HTTPRequest& request, const std::string& address, uint16_t port)
      : request_(request),
        addressText_(address),
        place_(address + " port " + std::to_string(port)),
        address_(numericAddress(address, port)),
        socket_(address_ ? address_->storage.ss_family : AF_INET, /*doesWait=*/false) {}

  // False leaves the reason in failure().
  bool connect();
  bool wasRefused() const { return wasRefused_; }

  bool sendAndReceive();

  HTTPReply& reply() { return reply_; }
  const std::string& failure() const { return failure_; }

 private:
  bool fail(const std::string& sentence) {
    failure_ = sentence;
    return false;
  }
  // For what the system refused.
  bool fail(const char* what, int error) {
    return fail(what + place_ + " failed: " + std::strerror(error) + ".");
  }
  void restartTimeout() { deadline_ = Clock::now() + request_.timeoutInterval; }
  int waitFor(int events);
  bool sendSome();
  bool receiveSome();
  bool takeOutcome(HTTPReply::State state);

  const HTTPRequest& request_;
  const std::string addressText_, place_;
  const std::optional<Address> address_;
  const Socket socket_;
  Clock::time_point deadline_;
  std::string head_;
  size_t sent_ = 0;  // of head and body together
  bool isSending_ = true;
  bool wasReset_ = false;
  int bytesHeld_ = 0;  // of what was sent, by the system, when that was last looked at
  bool isFinished_ = false;
  bool wasRefused_ = false;
  HTTPReply reply_;
  std::string failure_;
  char buffer_[65536];
};

// Returns what the connection can do of the events; 0 after the time-out or an error, with the
// reason in failure().
int Exchange::waitFor(int events) {
  for (;;) {
    // That the server takes what the system holds for it shows only when one looks.
    const Clock::time_point look =
        bytesHeld_ > 0 ? std::min(Clock::now() + request_.timeoutInterval / 60, deadline_)
                       : deadline_;
    const int ready = pollUntil(look, socket_.descriptor(), events);
    if (ready > 0)
      return ready;
    if (ready < 0) {
      fail("Waiting for ", errno);
      return 0;
    }
    const int held = bytesHeld_ > 0 ? bytesOnTheirWay(socket_.descriptor()) : 0;
    if (held < bytesHeld_) {
      bytesHeld_ = held;
      restartTimeout();
    } else if (Clock::now() >= deadline_) {
      fail(place_ + " neither sent nor took a byte for " + inWords(request_.timeoutInterval) + ".");
      return 0;
    }
  }
}

bool Exchange::connect() {
  if (!address_)
    return fail("\"" + addressText_ + "\" is not a numeric address.");
  const int descriptor = socket_.descriptor();
  if (descriptor < 0)
    return fail("Making a socket for ", socket_.error());
  restartTimeout();
  int error = 0;
  const auto* const storage = reinterpret_cast<const sockaddr*>(&address_->storage);
  if (::connect(descriptor, storage, address_->size) < 0) {
    error = errno;
    if (error == EINPROGRESS || error == EINTR) {
      const int events = waitFor(POLLOUT);
      if (events == 0)
        return false;
      error = 0;
      socklen_t size = sizeof error;
      if (events != POLLOUT && getsockopt(descriptor, SOL_SOCKET, SO_ERROR, &error, &size) < 0)
        error = errno;
    }
  }
  if (error == 0)
    return true;
  wasRefused_ = error == ECONNREFUSED;
  if (wasRefused_)
    return fail(place_ + " refused the connection.");
  return fail("The connection to ", error);
}

// A server that stops reading may have answered all the same, so a connection that takes no more
// only ends the sending; what becomes of the exchange is for the receiving side to say. After any
// other failure the server would wait for the rest, and the bridge for the server.
bool Exchange::sendSome() {
  const bool headIsSent = sent_ >= head_.size();
  const size_t bodySent = headIsSent ? sent_ - head_.size() : 0;
  iovec parts[2] = {};
  parts[0].iov_base = head_.data() + (headIsSent ? head_.size() : sent_);
  parts[0].iov_len = headIsSent ? 0 : head_.size() - sent_;
  parts[1].iov_base = const_cast<char*>(request_.body.data()) + bodySent;
  parts[1].iov_len = std::min<size_t>(request_.body.size() - bodySent, INT_MAX / 2);
  const ssize_t count = writev(socket_.descriptor(), parts, 2);
  if (count >= 0) {
    sent_ += static_cast<size_t>(count);
    isSending_ = sent_ < head_.size() + request_.body.size();
    if (sent_ > kSmallRequestBytes)
      bytesHeld_ = bytesOnTheirWay(socket_.descriptor());
    restartTimeout();
  } else if (errno == EPIPE || errno == ECONNRESET || errno == EPROTOTYPE) {  // the last on macOS
    isSending_ = false;
    wasReset_ = errno == ECONNRESET;
  } else if (errno != EAGAIN && errno != EWOULDBLOCK && errno != EINTR) {
    return fail("The exchange with ", errno);
  }
  return true;
}

bool Exchange::receiveSome() {
  const ssize_t count = recv(socket_.descriptor(), buffer_, sizeof buffer_, 0);
  if (count > 0) {
    restartTimeout();
    return takeOutcome(reply_.take({buffer_, static_cast<size_t>(count)}));
  }
  if (count == 0) {
    // The reset was told to the sending side, and only once; to this side it looks like an end.
    if (wasReset_)
      return fail("The exchange with ", ECONNRESET);
    if (takeOutcome(reply_.takeEnd()) && isFinished_)
      return true;
    return fail(place_ + (reply_.hasBegun()
                              ? " closed the connection before its reply was complete."
                              : " closed the connection without a reply."));
  }
  if (errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR)
    return true;
  return fail("The exchange with ", errno);
}

bool Exchange::takeOutcome(HTTPReply::State state) {
  isFinished_ = state != HTTPReply::State::incomplete;
  if (state == HTTPReply::State::invalid)
    return fail("The reply of " + place_ + " is not valid HTTP: " + reply_.fault + ".");
  return true;
}

// Both directions are watched at once: a server may answer, or stream its answer, while it has not
// read everything yet.
bool Exchange::sendAndReceive() {
  head_ = headOf(request_);
  restartTimeout();
  if (!sendSome())
    return false;
  while (!isFinished_) {
    const int events = waitFor(isSending_ ? POLLIN | POLLOUT : POLLIN);
    if (events == 0 || ((events & ~POLLOUT) != 0 && !receiveSome()))
      return false;
    if (isSending_ && !isFinished_ && !sendSome())
      return false;
  }
  return true;
}

String described(const std::string& failure) {
  return initWithDataEncoding(failure, kUTF8TextEncoding);
}

// An exchange whose connection stands; null, with the reason in `failure`, when there is none.
std::unique_ptr<Exchange> connectedExchange(const HTTPRequest& request,
                                            const std::vector<std::string>& addresses,
                                            String& failure) {
  const std::string& digits = request.url.port;
  const int64_t port = integerValue(described(digits));
  if (port < 1 || port > 65535) {
    failure = described("Port " + digits + " does not exist: TCP ports go from 1 to 65535.");
    return nullptr;
  }
  for (const std::string& address : addresses) {
    auto exchange = std::make_unique<Exchange>(request, address, static_cast<uint16_t>(port));
    if (exchange->connect())
      return exchange;
    // Where a refusal led to the next address, the first one is what the administrator wants.
    if (!failure)
      failure = described(exchange->failure());
    if (!exchange->wasRefused())
      break;
  }
  return nullptr;
}

}  // namespace

HTTPResponse sendSynchronousRequest(const HTTPRequest& request,
                                    const std::vector<std::string>& addresses) {
  HTTPResponse response;
  const std::unique_ptr<Exchange> exchange =
      connectedExchange(request, addresses, response.localizedDescription);
  if (!exchange)
    return response;
  if (exchange->sendAndReceive()) {
    response.localizedDescription = std::nullopt;
    response.data = std::move(exchange->reply().body);
    response.textEncodingName = std::move(exchange->reply().textEncodingName);
  } else {
    response.localizedDescription = described(exchange->failure());
  }
  return response;
}

String connectionFailure(const HTTPRequest& request, const std::vector<std::string>& addresses) {
  String failure;
  return connectedExchange(request, addresses, failure) ? std::nullopt : failure;
}

}  // namespace quintora
