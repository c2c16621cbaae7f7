/* A FastCGI application for cgi-fcgi to ask: answers with the request's variables, "NAME=value" on
 * a line each, and its body behind an empty line. Listens on a free port of the loopback interface
 * and prints its number first; runs until it is killed. */
#include <arpa/inet.h>
#include <fcgiapp.h>
#include <stdio.h>
#include <sys/socket.h>

static void answer(FCGX_Request* request) {
  char buffer[65536];
  int count;
  FCGX_PutS("Content-type: text/plain\r\n\r\n", request->out);
  for (char** entry = request->envp; *entry; ++entry)
    FCGX_FPrintF(request->out, "%s\n", *entry);
  FCGX_PutS("\n", request->out);
  while ((count = FCGX_GetStr(buffer, sizeof buffer, request->in)) > 0)
    FCGX_PutStr(buffer, count, request->out);
}

int main(void) {
  struct sockaddr_in address = {.sin_family = AF_INET};
  socklen_t size = sizeof address;
  FCGX_Request request;
  const int listener = socket(AF_INET, SOCK_STREAM, 0);
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  if (bind(listener, (struct sockaddr*)&address, size) != 0 || listen(listener, 128) != 0 ||
      getsockname(listener, (struct sockaddr*)&address, &size) != 0)
    return 1;
  printf("%u\n", (unsigned)ntohs(address.sin_port));
  fflush(stdout);
  FCGX_Init();
  FCGX_InitRequest(&request, listener, 0);
  while (FCGX_Accept_r(&request) == 0)
    answer(&request);
  return 0;
}
