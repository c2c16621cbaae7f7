// What the compiler's header has and macOS 10.11 does not: of functions it says since when they are
// there, of macros it does not.
#pragma once
#pragma clang system_header

#include_next <sys/socket.h>

#undef MSG_NOSIGNAL
