#include "platform/Process.h"

#include <poll.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>
#if __has_include(<sys/prctl.h>)
#include <sys/prctl.h>
#endif

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <new>

#include "extras/TextEncoding.h"
#include "platform/posix/Sockets.h"

namespace quintora {

namespace {

// The system takes no more than this in one call (SSIZE_MAX, and 2^31 - 1 on some).
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

const char* outOfMemoryText = "";

// The response is printed at the very end, so nothing of it has been when memory runs out.
[[noreturn]] void answerWithoutMemory() {
  endStandardInput();
  writeStandardOutput("Content-type: text/plain\r\n\r\n");
  writeStandardOutput(outOfMemoryText);
  writeStandardOutput("\r\n");
  _exit(0);
}

// Calls again what a signal interrupted, and, once the stream can do the event, what a stream that
// does not block put off: how a stream waits is for the web server to choose.
template <typename Call>
ssize_t uninterrupted(int stream, int event, Call call) {
  ssize_t result;
  do {
    result = call();
  } while (result < 0 && (errno == EINTR || (errno == EAGAIN && pollUntil(Clock::time_point::max(),
                                                                          stream, event) > 0)));
  return result;
}

}  // namespace

void prepareProcess() {
  std::signal(SIGPIPE, SIG_IGN);
  NSSetUncaughtExceptionHandler(endWithoutCore);
}

void answerWhenOutOfMemory(const char* text) {
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
    const ssize_t came = uninterrupted(STDIN_FILENO, POLLIN,
                                       [=] { return read(STDIN_FILENO, buffer + done, wanted); });
    if (came <= 0)
      break;
    done += static_cast<size_t>(came);
  }
  return done;
}

// A web server that hands over a body and finds nobody reading turns to the answer. Where the input
// is a socket, it would take bytes that are left in it at the end for a reset, and drop the answer.
void endStandardInput() {
  char rest[4096];
  const auto takeSome = [&rest] { return recv(STDIN_FILENO, rest, sizeof rest, MSG_DONTWAIT); };
  const ssize_t came = takeSome();
  if (came == 0)
    return;  // a socket whose other side has said that this was all
  if (came > 0 || errno == EAGAIN) {
    shutdown(STDIN_FILENO, SHUT_RD);
    while (takeSome() > 0) {
    }
  }
  close(STDIN_FILENO);
}

void writeStandardOutput(std::string_view bytes) {
  while (!bytes.empty()) {
    const std::string_view part = bytes.substr(0, kMostAtOnce);
    const ssize_t went = uninterrupted(
        STDOUT_FILENO, POLLOUT, [=] { return write(STDOUT_FILENO, part.data(), part.size()); });
    if (went <= 0)
      return;
    bytes.remove_prefix(static_cast<size_t>(went));
  }
}

bool isTerminalOutput() { return isatty(STDOUT_FILENO) == 1; }

void setEnvironmentVariable(const char* name, const char* value) {
  if (value)
    setenv(name, value, 1);
  else
    unsetenv(name);
}

String executionFailure(const Data& path) {
  struct stat status = {};
  if (stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode))
    return u"it is a folder";
  if (access(path.c_str(), X_OK) == 0)
    return std::nullopt;
  return initWithDataEncoding(std::strerror(errno), kUTF8TextEncoding);
}

}  // namespace quintora
