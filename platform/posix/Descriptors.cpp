#include "platform/posix/Descriptors.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <climits>
#include <cstring>

namespace quintora {

Descriptor::~Descriptor() {
  if (number_ >= 0)
    close(number_);
}

int streamSocket(int family, bool doesWait) {
#ifdef SOCK_NONBLOCK  // not on macOS
  return socket(family, SOCK_STREAM | (doesWait ? 0 : SOCK_NONBLOCK), 0);
#else
  const int descriptor = socket(family, SOCK_STREAM, 0);
  if (descriptor >= 0 && !doesWait)
    fcntl(descriptor, F_SETFL, O_NONBLOCK);  // cannot fail for a new socket
  return descriptor;
#endif
}

int pollUntil(Clock::time_point deadline, int descriptor, int events, Clock::time_point now) {
  pollfd watched = {descriptor, static_cast<short>(events), 0};
  for (;;) {
    const int64_t left = std::chrono::ceil<std::chrono::milliseconds>(deadline - now).count();
    const int count = poll(&watched, 1, static_cast<int>(std::clamp<int64_t>(left, 0, INT_MAX)));
    if (count > 0)
      return watched.revents;
    if (count < 0 && errno != EINTR)
      return -1;
    if (left <= 0)
      return 0;
    now = Clock::now();
  }
}

int bytesOnTheirWay(int descriptor) {
  int count = 0;
#ifdef SO_NWRITE  // systems that have it do not support TIOCOUTQ for this
  socklen_t size = sizeof count;
  const bool isKnown = getsockopt(descriptor, SOL_SOCKET, SO_NWRITE, &count, &size) == 0;
#else
  const bool isKnown = ioctl(descriptor, TIOCOUTQ, &count) == 0;
#endif
  return isKnown ? count : 0;
}

std::string sentenceOf(int error) { return std::strerror(error); }

}  // namespace quintora
