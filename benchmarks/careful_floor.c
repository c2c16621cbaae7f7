/* The floor for a program that takes the precautions that the bridge takes and asks the system for
 * the same: it reads the preferences file, hands all variables over, waits with a time-out at each
 * step, and takes leave of the web server's input. It does so without looking: no value is checked,
 * escaped or decoded, and the port comes from the environment. Hardened as the bridge is. */
#define _GNU_SOURCE
#include <errno.h>
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/uio.h>

#include "floor.h"

static void read_preferences(void) {
  char path[4096], text[4096];
  struct stat status;
  strcpy(stpcpy(path, getenv("XDG_CONFIG_HOME")), "/com.quintora.QuintoraServer.conf");
  const int file = open(path, O_RDONLY | O_NONBLOCK);
  if (file < 0 || fstat(file, &status) < 0 || read(file, text, sizeof text) <= 0)
    exit(1);
  close(file);
}

/* The environment as the body of a form, behind a head of a fixed length. */
static size_t put_request(char* to) {
  extern char** environ;
  static char body[32768];
  char* end = body;
  for (char** variable = environ; *variable; ++variable) {
    end = stpcpy(stpcpy(end, "ApacheTunnel_"), *variable);
    *end++ = '&';
  }
  const size_t size = (size_t)(end - body);
  char* const at = stpcpy(to, "POST /apache-tunnel/ HTTP/1.1\r\nHost: localhost\r\n"
                              "Connection: close\r\nContent-Length: ");
  *end = '\0';
  char digits[16];
  char* digit = digits + sizeof digits;
  *--digit = '\0';
  for (size_t rest = size; rest > 0; rest /= 10)
    *--digit = (char)('0' + rest % 10);
  return (size_t)(stpcpy(stpcpy(stpcpy(at, digit), "\r\n\r\n"), body) - to);
}

static void await(int connection, short event) {
  struct pollfd watched = {connection, event, 0};
  if (poll(&watched, 1, 60000) != 1)
    exit(1);
}

int main(void) {
  static char to_send[65536];
  char rest[4096];
  signal(SIGPIPE, SIG_IGN);
  read_preferences();
  const size_t size = put_request(to_send);
  struct sockaddr_in server = {.sin_family = AF_INET};
  server.sin_port = htons((uint16_t)atoi(getenv("BENCHMARK_PORT")));
  server.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  const int connection = socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK, 0);
  if (connect(connection, (struct sockaddr*)&server, sizeof server) < 0 && errno != EINPROGRESS)
    return 1;
  await(connection, POLLOUT);
  if (send(connection, to_send, size, 0) != (ssize_t)size)
    return 1;
  await(connection, POLLIN);
  const size_t first = received(connection);
  const char* const body = body_of(first);
  close(connection);
  recv(STDIN_FILENO, rest, sizeof rest, MSG_DONTWAIT);
  close(STDIN_FILENO);
  const struct iovec parts[] = {{(char*)header, sizeof header - 1},
                                {(char*)body, (size_t)(buffer + first - body)}, {"\r\n", 2}};
  return writev(STDOUT_FILENO, parts, 3) > 0 ? 0 : 1;
}
