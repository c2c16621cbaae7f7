// Loaded into a bridge before the C library (LD_PRELOAD): lets some of its calls go wrong in ways
// that a tracer cannot, because something of the call has to happen all the same. The environment
// says which:
//
//   FAULT_CALLS        names of functions, each with a comma behind it; they are counted together
//   FAULT_FIRST, _LAST the calls that are meant, counted from 1
//   FAULT              refuse  memory is not there, where at least FAULT_VALUE bytes are wanted
//                      shorten as many bytes as FAULT_VALUE pass at most
//                      lose    the connection is gone, and the error FAULT_VALUE tells so
//                      report  the call is made, and then reports the error FAULT_VALUE
//                      none    nothing
//   FAULT_MOST         as many bytes pass at most in each call; 0 for any number
//   FAULT_LOG          a descriptor that gets one byte for each call that was meant
//
// Memory is asked for before anything else runs, so nothing here needs any.
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdint>
#include <cstdlib>
#include <cstring>

// The C library's own, under the names that it has for whoever replaces the usual ones.
extern "C" void* __libc_malloc(size_t size);
extern "C" void* __libc_calloc(size_t count, size_t size);
extern "C" void* __libc_realloc(void* block, size_t size);

namespace {

long number(const char* name) {
  const char* const text = std::getenv(name);
  return text ? std::strtol(text, nullptr, 10) : 0;
}

bool isListed(const char* call) {
  const char* list = std::getenv("FAULT_CALLS");
  const size_t length = std::strlen(call);
  for (; list && *list; list = std::strchr(list, ',') + 1) {
    if (std::strncmp(list, call, length) == 0 && list[length] == ',')
      return true;
  }
  return false;
}

// Counts a call. The first letter of the fault that it is to have; 0 for none.
char faultOf(const char* call) {
  static long calls = 0;
  if (!isListed(call))
    return 0;
  ++calls;
  if (calls < number("FAULT_FIRST") || calls > number("FAULT_LAST"))
    return 0;
  syscall(SYS_write, number("FAULT_LOG"), ".", 1);
  return *std::getenv("FAULT");
}

// Whether so much memory is not there. Calls for less are not counted.
bool isRefused(const char* call, size_t size) {
  if (size < static_cast<size_t>(number("FAULT_VALUE")) || faultOf(call) != 'r')
    return false;
  errno = ENOMEM;
  return true;
}

// Where a call that transfers bytes goes wrong; `made` makes it with a count of at most so many.
template <typename Made>
ssize_t transferred(const char* call, int descriptor, Made made) {
  const char fault = faultOf(call);
  if (fault == 'l') {
    shutdown(descriptor, SHUT_RDWR);
    errno = static_cast<int>(number("FAULT_VALUE"));
    return -1;
  }
  if (fault == 's')
    return made(static_cast<size_t>(number("FAULT_VALUE")));
  const long most = number("FAULT_MOST");
  return made(most > 0 ? static_cast<size_t>(most) : SIZE_MAX);
}

}  // namespace

#define EXPORT extern "C" __attribute__((visibility("default")))

EXPORT void* malloc(size_t size) noexcept {
  return isRefused("malloc", size) ? nullptr : __libc_malloc(size);
}

EXPORT void* calloc(size_t count, size_t size) noexcept {
  return isRefused("calloc", count * size) ? nullptr : __libc_calloc(count, size);
}

EXPORT void* realloc(void* block, size_t size) noexcept {
  return isRefused("realloc", size) ? nullptr : __libc_realloc(block, size);
}

EXPORT ssize_t read(int descriptor, void* bytes, size_t size) {
  return transferred("read", descriptor, [=](size_t most) {
    return syscall(SYS_read, descriptor, bytes, std::min(size, most));
  });
}

// Of the connection; what is left of the standard input is received as well, and dropped.
EXPORT ssize_t recv(int descriptor, void* bytes, size_t size, int flags) {
  if (descriptor == STDIN_FILENO)
    return syscall(SYS_recvfrom, descriptor, bytes, size, flags, nullptr, nullptr);
  return transferred("recv", descriptor, [=](size_t most) {
    return syscall(SYS_recvfrom, descriptor, bytes, std::min(size, most), flags, nullptr, nullptr);
  });
}

EXPORT ssize_t send(int descriptor, const void* bytes, size_t size, int flags) {
  return transferred("send", descriptor, [=](size_t most) {
    return syscall(SYS_sendto, descriptor, bytes, std::min(size, most), flags, nullptr, 0);
  });
}

EXPORT ssize_t write(int descriptor, const void* bytes, size_t size) {
  return transferred("write", descriptor, [=](size_t most) {
    return syscall(SYS_write, descriptor, bytes, std::min(size, most));
  });
}

EXPORT ssize_t writev(int descriptor, const iovec* parts, int count) {
  return transferred("writev", descriptor, [=](size_t most) {
    iovec fewer[IOV_MAX];
    for (int i = 0; i < count; ++i) {
      fewer[i] = {parts[i].iov_base, std::min(parts[i].iov_len, most)};
      most -= fewer[i].iov_len;
    }
    return syscall(SYS_writev, descriptor, fewer, count);
  });
}

EXPORT int connect(int descriptor, const sockaddr* address, socklen_t size) {
  const bool isReported = faultOf("connect") == 'r';
  const long result = syscall(SYS_connect, descriptor, address, size);
  if (!isReported)
    return static_cast<int>(result);
  errno = static_cast<int>(number("FAULT_VALUE"));
  return -1;
}
