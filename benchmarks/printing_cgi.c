/* The least that a CGI program can do, for comparison: a start, one write, an end. */
#include <stdio.h>

int main(void) { return puts("Content-type: text/plain\r\n\r\nprinted") < 0; }
