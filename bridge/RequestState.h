// The five values that the steps of a run share, for as long as the process lives. Which of the two
// containers exists is the only record of the mode.
#pragma once

#include "extras/String.h"

namespace quintora {

// Tunnel mode: what will be posted. Absent in Apple-event mode.
extern Dictionary postParameters;

// Apple-event mode: the dictionary entries of the CGI variables. Absent in tunnel mode.
extern Array environmentVariables;

// The server's HTTP port in tunnel mode, not necessarily a valid one; 0 otherwise.
extern int64_t quiZServerPort;

// The form, as a piece of the server script statement; absent until AddPostData has run.
extern String postDataCode;

// The response or a message. The last writer wins.
extern String cgiResult;

}  // namespace quintora
