// What all that works with descriptors shares: one owner of them, one place for calls that a signal
// interrupts, waiting with a deadline, and the system's words for an error.
#pragma once

#include <cerrno>
#include <chrono>
#include <string>

namespace quintora {

using Clock = std::chrono::steady_clock;

// Owns a descriptor, or, where it is negative, the error for which there is none. To be made of the
// very call that opens it, before anything else can change errno.
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

// A new stream socket, on which calls wait or are put off; negative, with errno, when there is
// none.
int streamSocket(int family, bool doesWait);

// Makes a system call again for as long as signals interrupt it.
template <typename Call>
auto uninterrupted(Call call) {
  decltype(call()) result;
  do {
    result = call();
  } while (result < 0 && errno == EINTR);
  return result;
}

// Whether a call on a descriptor that does not wait has to be made again later.
inline bool isPutOff(int error) { return error == EAGAIN || error == EWOULDBLOCK; }

// Waits until the descriptor can do one of poll's events or has failed, signals or not. Returns
// what poll says of it, 0 when the deadline has passed, or -1 with errno.
int pollUntil(Clock::time_point deadline, int descriptor, int events);

// How many bytes the system has taken from us and the peer's system has not; 0 where the system
// does not say.
int bytesOnTheirWay(int descriptor);

// The system's sentence for an error, without a full stop.
std::string sentenceOf(int error);

}  // namespace quintora
