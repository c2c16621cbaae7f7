// Removes a macro that macOS 10.11 does not have: the compiler's header says of functions, but not
// of macros, since which version they exist.
#pragma once
#pragma clang system_header

#include_next <sys/socket.h>

#undef MSG_NOSIGNAL
