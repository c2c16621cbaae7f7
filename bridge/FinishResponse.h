// The format of what the web server gets.
#pragma once

#include "extras/String.h"

namespace quintora {

// Makes the response that is printed, never absent: line ends that are all lone CR become CR LF,
// a default header is put before what has none of its own (exactly "Content-type:", nothing else
// counts), and the last line is ended. An absent response is printed as "(null)".
String FinishResponse(String response);

}  // namespace quintora
