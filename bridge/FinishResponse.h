// The format of the response that the bridge prints for the web server.
#pragma once

#include "extras/String.h"

namespace quintora {

// Printed before a response that has no header of its own.
inline constexpr const char* kDefaultHeader = "Content-type: text/plain\r\n\r\n";

// The finished response, in the parts that are written one after the other: joining them would copy
// a large text.
struct FinishedResponse {
  std::string_view header;  // the default header, or nothing
  std::string text;
  std::string_view lineEnd;  // CR LF, or nothing

  std::string whole() const;
};

// Finishes the response. Where it has no LF, each CR becomes CR LF. Unless it begins with exactly
// "Content-type:", it gets the default header. Its last line gets a line end where that is missing.
// An absent response becomes "(null)".
FinishedResponse FinishResponse(String response);

// Cuts the response off before its first NUL: nothing from there on is printed.
void cutAtNUL(FinishedResponse& response);

}  // namespace quintora
