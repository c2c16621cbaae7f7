/* What both floors do: one fixed POST to the server on this machine, and its answer's body printed
 * under a header. Nothing of the request is read, nothing is encoded, nothing is decoded, and only
 * the simplest failures are seen. */
#include <arpa/inet.h>
#include <stdlib.h>
#include <string.h>
#include <sys/socket.h>
#include <unistd.h>

static const char request[] =
    "POST /apache-tunnel/ HTTP/1.1\r\n"
    "Host: localhost\r\nContent-Length: 8\r\nConnection: close\r\n\r\nname=Ann";
static const char header[] = "Content-type: text/plain\r\n\r\n";

static char buffer[65536];

static inline void print(const char* bytes, size_t count) {
  while (count > 0) {
    const ssize_t went = write(STDOUT_FILENO, bytes, count);
    if (went <= 0)
      exit(1);
    bytes += went;
    count -= (size_t)went;
  }
}

/* A connection on which the request has been sent. */
static inline int request_sent(void) {
  struct sockaddr_in server = {.sin_family = AF_INET};
  server.sin_port = htons((uint16_t)atoi(getenv("BENCHMARK_PORT")));
  server.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  const int connection = socket(AF_INET, SOCK_STREAM, 0);
  if (connect(connection, (struct sockaddr*)&server, sizeof server) < 0 ||
      send(connection, request, sizeof request - 1, 0) != (ssize_t)sizeof request - 1)
    exit(1);
  return connection;
}

/* What comes next; 0 at the end. */
static size_t received(int connection) {
  const ssize_t count = recv(connection, buffer, sizeof buffer - 1, 0);
  return count > 0 ? (size_t)count : 0;
}

/* Where the body begins in the first bytes, with which the whole head has come. */
static const char* body_of(size_t first) {
  buffer[first] = '\0';
  const char* const end_of_head = strstr(buffer, "\r\n\r\n");
  if (!end_of_head)
    exit(1);
  return end_of_head + 4;
}
