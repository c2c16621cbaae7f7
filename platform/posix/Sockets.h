// What the two transports share: a descriptor that closes itself, and waiting with a deadline.
#pragma once

#include <chrono>

namespace quintora {

using Clock = std::chrono::steady_clock;

// Owns a stream socket, on which calls wait or are put off; the descriptor is negative when none
// could be made, and error() says why.
class Socket {
 public:
  explicit Socket(int family, bool doesWait = true);
  ~Socket();
  Socket(const Socket&) = delete;
  Socket& operator=(const Socket&) = delete;

  int descriptor() const { return descriptor_; }
  int error() const { return error_; }

 private:
  const int descriptor_;
  const int error_;
};

// Waits until the descriptor can do one of poll's events or has failed, signals or not. Returns
// what poll says of it, 0 when the deadline has passed, or -1 with errno.
int pollUntil(Clock::time_point deadline, int descriptor, int events);

// How many bytes the system has taken from us and the peer's system has not; 0 where the system
// does not say.
int bytesOnTheirWay(int descriptor);

}  // namespace quintora
