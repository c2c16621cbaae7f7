/* The least that a CGI program for this job can do in C: one fixed POST to the server on this
 * machine, and its answer's body printed under a header. Nothing of the request is read, nothing is
 * encoded, nothing is decoded, and only the simplest failures are seen. */
#include <arpa/inet.h>
#include <stdlib.h>
#include <string.h>
#include <sys/socket.h>
#include <unistd.h>

static const char request[] =
    "POST /apache-tunnel/ HTTP/1.1\r\n"
    "Host: localhost\r\nContent-Length: 8\r\nConnection: close\r\n\r\nname=Ann";

static char buffer[65536];

static void print(const char* bytes, size_t count) {
  while (count > 0) {
    const ssize_t went = write(STDOUT_FILENO, bytes, count);
    if (went <= 0)
      exit(1);
    bytes += went;
    count -= (size_t)went;
  }
}

int main(void) {
  struct sockaddr_in server = {.sin_family = AF_INET};
  server.sin_port = htons((uint16_t)atoi(getenv("BENCHMARK_PORT")));
  server.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  const int connection = socket(AF_INET, SOCK_STREAM, 0);
  if (connect(connection, (struct sockaddr*)&server, sizeof server) < 0)
    return 1;
  if (send(connection, request, sizeof request - 1, 0) != (ssize_t)sizeof request - 1)
    return 1;
  const ssize_t first = recv(connection, buffer, sizeof buffer - 1, 0);
  const char* const body = first > 0 ? strstr(buffer, "\r\n\r\n") : NULL;
  if (!body)
    return 1;
  print("Content-type: text/plain\r\n\r\n", 28);
  print(body + 4, (size_t)(buffer + first - body - 4));
  for (ssize_t count; (count = recv(connection, buffer, sizeof buffer, 0)) > 0;)
    print(buffer, (size_t)count);
  return 0;
}
