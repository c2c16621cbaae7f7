/* The least that a CGI program for this job can do in C: it prints what comes as it comes. */
#include "floor.h"

int main(void) {
  const int connection = request_sent();
  const size_t first = received(connection);
  const char* const body = body_of(first);
  print(header, sizeof header - 1);
  print(body, (size_t)(buffer + first - body));
  for (size_t count; (count = received(connection)) > 0;)
    print(buffer, count);
  return 0;
}
