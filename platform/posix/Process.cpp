#include "platform/Process.h"

#include <poll.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/uio.h>
#include <unistd.h>
#if __has_include(<sys/prctl.h>)
#include <sys/prctl.h>
#endif

#include <algorithm>
#include <array>
#include <csignal>
#include <cstdlib>
#include <new>

#include "extras/String.h"
#include "platform/posix/Descriptors.h"

namespace quintora {

namespace {

// The most for one system call; the systems' limit is SSIZE_MAX, or 2^31 - 1.
constexpr size_t kMostAtOnce = size_t{1} << 30;

[[noreturn]] void endWithoutCore() {
  const rlimit none = {0, 0};
  setrlimit(RLIMIT_CORE, &none);
#if __has_include(<sys/prctl.h>)
  // Linux hands the dump to a core_pattern program in spite of that limit.
  prctl(PR_SET_DUMPABLE, 0);
#endif
  std::abort();
}

const char* outOfMemoryHeader = "";
const char* outOfMemoryText = "";

// When memory runs out nothing has been printed yet: the response is printed at the very end.
[[noreturn]] void answerWithoutMemory() {
  endStandardInput();
  writeStandardOutput(outOfMemoryHeader, outOfMemoryText, "\r\n");
  endProcess();
}

// Repeats a call until it does not have to wait: the web server decides whether a stream is
// non-blocking.
template <typename Call>
ssize_t awaited(int stream, int event, Call call) {
  ssize_t result;
  do {
    result = uninterrupted(call);
  } while (result < 0 && isPutOff(errno) && pollUntil(Clock::time_point::max(), stream, event) > 0);
  return result;
}

constexpr size_t kMostParts = 3;
using Parts = std::array<std::string_view, kMostParts>;

// Selects what the system gets in one call; returns the number of pieces.
int partsOfOneCall(const Parts& parts, std::array<iovec, kMostParts>& pieces) {
  size_t room = kMostAtOnce;
  size_t count = 0;
  for (const std::string_view part : parts) {
    const size_t size = std::min(part.size(), room);
    if (size > 0)
      pieces[count++] = {const_cast<char*>(part.data()), size};
    room -= size;
  }
  return static_cast<int>(count);
}

void removeFront(Parts& parts, size_t count) {
  for (std::string_view& part : parts) {
    const size_t size = std::min(part.size(), count);
    part.remove_prefix(size);
    count -= size;
  }
}

}  // namespace

void prepareProcess() {
  // Blocked signals stay pending, and the process ends soon. Ignoring them would take a call for
  // each.
  sigset_t ofWriting;
  sigemptyset(&ofWriting);
  sigaddset(&ofWriting, SIGPIPE);
  sigaddset(&ofWriting, SIGXFSZ);
  sigprocmask(SIG_BLOCK, &ofWriting, nullptr);
  NSSetUncaughtExceptionHandler(endWithoutCore);
}

void answerWhenOutOfMemory(const char* header, const char* text) {
  outOfMemoryHeader = header;
  outOfMemoryText = text;
  std::set_new_handler(answerWithoutMemory);
}

void endWithoutMemory() {
  if (const std::new_handler handler = std::get_new_handler())
    handler();
  raiseException();
}

size_t readStandardInput(char* buffer, size_t count) {
  size_t done = 0;
  while (done < count) {
    const size_t wanted = count - done < kMostAtOnce ? count - done : kMostAtOnce;
    const ssize_t came =
        awaited(STDIN_FILENO, POLLIN, [=] { return read(STDIN_FILENO, buffer + done, wanted); });
    if (came <= 0)
      break;
    done += static_cast<size_t>(came);
  }
  return done;
}

// Without a reader, a web server stops sending the body and turns to the response. If the input is
// a socket, unread bytes at the end of the process would reset it, and the web server would drop
// the response.
void endStandardInput() {
  char rest[4096];
  const auto takeSome = [&rest] { return recv(STDIN_FILENO, rest, sizeof rest, MSG_DONTWAIT); };
  const ssize_t came = takeSome();
  if (came == 0)
    return;  // a socket whose peer has finished sending
  if (came > 0 || errno == EAGAIN) {
    shutdown(STDIN_FILENO, SHUT_RD);
    while (takeSome() > 0) {
    }
  }
  close(STDIN_FILENO);
}

void writeStandardOutput(std::string_view first, std::string_view second, std::string_view third) {
  Parts left = {first, second, third};
  for (;;) {
    std::array<iovec, kMostParts> next;
    const int count = partsOfOneCall(left, next);
    const ssize_t went = count == 0 ? 0 : awaited(STDOUT_FILENO, POLLOUT, [&] {
      return writev(STDOUT_FILENO, next.data(), count);
    });
    if (went <= 0)
      return;
    removeFront(left, static_cast<size_t>(went));
  }
}

bool isTerminalOutput() { return isatty(STDOUT_FILENO) == 1; }

void setEnvironmentVariable(const char* name, const char* value) {
  if (value)
    setenv(name, value, 1);
  else
    unsetenv(name);
}

int executionError(const char* path) {
  struct stat status = {};
  if (stat(path, &status) == 0 && !S_ISREG(status.st_mode))
    return S_ISDIR(status.st_mode) ? EISDIR : EACCES;  // as when it is started
  return access(path, X_OK) == 0 ? 0 : errno;
}

String targetOfLink(const char* path) {
  char target[4096];  // longer than a path can be
  const ssize_t size = readlink(path, target, sizeof target);
  return size < 0 ? std::nullopt : String(std::string(target, static_cast<size_t>(size)));
}

String systemSentence(int error) { return sentenceOf(error); }

void endProcess() { _exit(0); }

}  // namespace quintora
