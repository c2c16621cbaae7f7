#include "platform/HTTPClient.h"

#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <memory>

#include "platform/Messages.h"
#include "platform/http/HTTPReply.h"
#include "platform/posix/Descriptors.h"

namespace quintora {

namespace {

// Only for larger requests the system is asked how much of them it still holds; smaller ones it has
// passed on before that could be asked.
constexpr uint64_t kSmallRequestBytes = 32768;

// The most of a body that is produced at once, so that it is still in the processor's cache when it
// is sent.
constexpr uint64_t kPieceBytes = 131072;
constexpr size_t kRoomToSpare = 16;

// An address of this machine.
struct Address {
  const char* text;
  sockaddr_storage storage;
  socklen_t size;
};

Address addressOfIPv4(uint16_t port) {
  Address address = {"127.0.0.1", {}, sizeof(sockaddr_in)};
  auto* const v4 = reinterpret_cast<sockaddr_in*>(&address.storage);
  v4->sin_family = AF_INET;
  v4->sin_port = htons(port);
  v4->sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  return address;
}

Address addressOfIPv6(uint16_t port) {
  Address address = {"::1", {}, sizeof(sockaddr_in6)};
  auto* const v6 = reinterpret_cast<sockaddr_in6*>(&address.storage);
  v6->sin6_family = AF_INET6;
  v6->sin6_port = htons(port);
  v6->sin6_addr.s6_addr[15] = 1;
  return address;
}

std::string headOf(const HTTPRequest& request) {
  std::string head = composed({request.method, " ", request.path,
                               " HTTP/1.1\r\nHost: ", request.host, ":", request.port, "\r\n"});
  for (const auto& [name, value] : request.headers)
    head.append(name).append(": ").append(value).append("\r\n");
  return head += "Connection: close\r\n\r\n";
}

// One exchange with one address.
class Exchange {
 public:
  Exchange(const HTTPRequest& request, const Address& address)
      : request_(request),
        peer_(composed({address.text, " port ", request.port})),
        address_(address),
        socket_(streamSocket(address.storage.ss_family, /*doesWait=*/false)) {}

  // On false, failure() says why.
  bool connect();
  // Whether nothing listens at the address, so that another one is worth a try.
  bool foundNobody() const { return foundNobody_; }

  bool sendAndReceive();

  HTTPReply& reply() { return reply_; }
  const std::string& failure() const { return failure_; }

 private:
  bool fail(std::string sentence) {
    failure_ = std::move(sentence);
    return false;
  }
  // For a system call that failed.
  bool fail(const Message<2>& message, int error) {
    return fail(message(peer_, sentenceOf(error)));
  }
  void restartTimeout() { deadline_ = std::nullopt; }
  int waitFor(int events);
  int errorOfConnection();
  void appendPiece();
  bool sendSome();
  bool receiveSome();
  bool recordOutcome(HTTPReply::State state);

  const HTTPRequest& request_;
  const std::string peer_;
  const Address address_;
  const Descriptor socket_;
  std::optional<Clock::time_point> deadline_;  // absent until something is waited for
  std::string pending_;     // what is being sent: the head and a first piece, or a later piece
  size_t pendingSent_ = 0;  // bytes of pending_ that are sent
  uint64_t bodyMade_ = 0;   // bytes of the body that are produced
  uint64_t sent_ = 0;       // bytes sent in all
  bool isSending_ = true;
  bool wasReset_ = false;
  int bytesHeld_ = 0;  // bytes sent that the system still held when it was last asked
  bool isFinished_ = false;
  bool foundNobody_ = false;
  HTTPReply reply_;
  std::string failure_;
  char buffer_[65536];
};

// Returns poll's revents; 0 after the time-out or an error, and failure() says which.
int Exchange::waitFor(int events) {
  for (;;) {
    const Clock::time_point now = Clock::now();
    if (!deadline_)
      deadline_ = now + request_.timeoutInterval;
    // Only asking the system shows that the server is reading what the system holds for it.
    const Clock::time_point look =
        bytesHeld_ > 0 ? std::min(now + request_.timeoutInterval / 60, *deadline_) : *deadline_;
    const int ready = pollUntil(look, socket_.number(), events, now);
    if (ready > 0)
      return ready;
    if (ready < 0) {
      fail(kWaitingFailed, errno);
      return 0;
    }
    const int held = bytesHeld_ > 0 ? bytesOnTheirWay(socket_.number()) : 0;
    if (held < bytesHeld_) {
      bytesHeld_ = held;
      restartTimeout();
    } else if (Clock::now() >= *deadline_) {
      using std::chrono::seconds;
      fail(kIdle(peer_, std::chrono::duration_cast<seconds>(request_.timeoutInterval).count()));
      return 0;
    }
  }
}

// The error that is pending on the socket.
int Exchange::errorOfConnection() {
  int error = 0;
  socklen_t size = sizeof error;
  return getsockopt(socket_.number(), SOL_SOCKET, SO_ERROR, &error, &size) < 0 ? errno : error;
}

bool Exchange::connect() {
  if (socket_.number() < 0)
    return fail(kSocketFailed, socket_.error());
  restartTimeout();
  const auto* const storage = reinterpret_cast<const sockaddr*>(&address_.storage);
  int error = ::connect(socket_.number(), storage, address_.size) < 0 ? errno : 0;
  if (error == EINPROGRESS || error == EINTR) {  // the system goes on connecting
    const int events = waitFor(POLLOUT);
    if (events == 0)
      return false;
    error = events == POLLOUT ? 0 : errorOfConnection();
  }
  if (error == 0)
    return true;
  const bool wasRefused = error == ECONNREFUSED;
  // The others if the address does not exist; the last one if packets to it go elsewhere.
  foundNobody_ = wasRefused || error == ENETUNREACH || error == EHOSTUNREACH;
  return wasRefused ? fail(kRefused(peer_)) : fail(kConnectionFailed, error);
}

// Produces the next piece of the body.
void Exchange::appendPiece() {
  const size_t before = pending_.size();
  const uint64_t left = request_.body.size() - bodyMade_;
  pending_.resize(before + static_cast<size_t>(std::min(left, kPieceBytes)) + kRoomToSpare);
  const size_t count = request_.body.read(&pending_[before], pending_.size() - before);
  pending_.resize(before + count);
  bodyMade_ += count;
}

// A server that stops reading may have replied nevertheless. So a connection that accepts no more
// data ends only the sending, and receiving decides how the exchange ends. Any other error ends the
// exchange: the server would wait for the rest of the request, and the bridge for the server.
bool Exchange::sendSome() {
  const ssize_t count = uninterrupted([this] {
    return send(socket_.number(), &pending_[pendingSent_], pending_.size() - pendingSent_, 0);
  });
  if (count >= 0) {
    pendingSent_ += static_cast<size_t>(count);
    sent_ += static_cast<uint64_t>(count);
    if (pendingSent_ == pending_.size()) {
      pending_.clear();
      pendingSent_ = 0;
      appendPiece();
      isSending_ = !pending_.empty();
    }
    if (sent_ > kSmallRequestBytes)
      bytesHeld_ = bytesOnTheirWay(socket_.number());
    restartTimeout();
  } else if (errno == EPIPE || errno == ECONNRESET || errno == EPROTOTYPE) {  // the last on macOS
    isSending_ = false;
    wasReset_ = errno == ECONNRESET;
  } else if (!isPutOff(errno)) {
    return fail(kExchangeFailed, errno);
  }
  return true;
}

bool Exchange::receiveSome() {
  const ssize_t count =
      uninterrupted([this] { return recv(socket_.number(), buffer_, sizeof buffer_, 0); });
  if (count > 0) {
    restartTimeout();
    return recordOutcome(reply_.parse({buffer_, static_cast<size_t>(count)}));
  }
  if (count == 0) {
    // The system reports a reset only once. It was reported to send(), so recv() sees a normal end.
    if (wasReset_)
      return fail(kExchangeFailed, ECONNRESET);
    if (recordOutcome(reply_.parseEnd()) && isFinished_)
      return true;
    return fail(reply_.hasBegun() ? kClosedTooSoon(peer_) : kClosedWithoutReply(peer_));
  }
  return isPutOff(errno) || fail(kExchangeFailed, errno);
}

bool Exchange::recordOutcome(HTTPReply::State state) {
  isFinished_ = state != HTTPReply::State::incomplete;
  if (state == HTTPReply::State::invalid)
    return fail(kInvalidReply(peer_, reply_.fault));
  return true;
}

// Watches both directions at once: a server may reply before it has read the whole request.
bool Exchange::sendAndReceive() {
  pending_ = headOf(request_);
  appendPiece();
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

// An exchange that is connected; null, with the reason in `failure`, when that fails.
std::unique_ptr<Exchange> connectedExchange(const HTTPRequest& request, String& failure) {
  if (request.port < 1 || request.port > 65535) {
    failure = kNoSuchPort(request.port);
    return nullptr;
  }
  const uint16_t port = static_cast<uint16_t>(request.port);
  for (const Address& address : {addressOfIPv4(port), addressOfIPv6(port)}) {
    auto exchange = std::make_unique<Exchange>(request, address);
    if (exchange->connect())
      return exchange;
    // If nothing listens at any address, the failure of the first is reported: it is the one that
    // an administrator expects.
    if (!failure)
      failure = exchange->failure();
    if (!exchange->foundNobody())
      break;
  }
  return nullptr;
}

}  // namespace

HTTPResponse sendSynchronousRequest(const HTTPRequest& request) {
  HTTPResponse response;
  const std::unique_ptr<Exchange> exchange =
      connectedExchange(request, response.localizedDescription);
  if (!exchange)
    return response;
  if (exchange->sendAndReceive()) {
    response.localizedDescription = std::nullopt;
    response.status = exchange->reply().status();
    response.data = std::move(exchange->reply().body);
    response.textEncodingName = std::move(exchange->reply().textEncodingName);
  } else {
    response.localizedDescription = exchange->failure();
  }
  return response;
}

String connectionFailure(const HTTPRequest& request) {
  String failure;
  return connectedExchange(request, failure) ? std::nullopt : failure;
}

}  // namespace quintora
