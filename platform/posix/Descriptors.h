// Shared by all code that uses descriptors: their owner, calls that signals may interrupt, waiting
// with a deadline, and the system's sentences for errors.
#pragma once

#include <cerrno>
#include <chrono>
#include <string>

namespace quintora {

using Clock = std::chrono::steady_clock;

// Owns a descriptor or, if it is negative, holds the error for which there is none. To be
// constructed directly from the call that opens it, before errno can change.
class Descriptor {
 public:
  explicit Descriptor(int number) : number_(number), error_(number < 0 ? errno : 0) {}
  ~Descriptor();
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;

  int number() const { return number_; }
  int error() const { return error_; }

 private:
  const int number_;
  const int error_;
};

// A new stream socket, blocking or not; negative, with errno, on failure.
int streamSocket(int family, bool doesWait);

// Repeats a system call as long as signals interrupt it.
template <typename Call>
auto uninterrupted(Call call) {
  decltype(call()) result;
  do {
    result = call();
  } while (result < 0 && errno == EINTR);
  return result;
}

// Whether a call on a non-blocking descriptor has to be repeated later.
inline bool isPutOff(int error) { return error == EAGAIN || error == EWOULDBLOCK; }

// Waits until one of poll's events or an error occurs on the descriptor, despite signals. Returns
// poll's revents, 0 when the deadline has passed, or -1 with errno. A caller that has just asked
// for the time passes it on.
int pollUntil(Clock::time_point deadline, int descriptor, int events,
              Clock::time_point now = Clock::now());

// How many bytes the system has accepted from us that the peer's system has not; 0 if unknown.
int bytesOnTheirWay(int descriptor);

// The system's sentence for an error, without a full stop.
std::string sentenceOf(int error);

}  // namespace quintora
