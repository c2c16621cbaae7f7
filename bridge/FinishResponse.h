// The format of what the web server gets.
#pragma once

#include "extras/String.h"

namespace quintora {

// What is put before a response that has no header of its own.
inline constexpr const char* kDefaultHeader = "Content-type: text/plain\r\n\r\n";

// The finished response in the parts in which it is written, so that a large one is not copied for
// what stands around it.
struct FinishedResponse {
  std::string_view header;  // the default header, or nothing
  std::string text;
  std::string_view lineEnd;  // CR LF, or nothing

  std::string whole() const;
};

// Finishes the response: line ends that are all lone CR become CR LF, a default header is put
// before what has none of its own (exactly "Content-type:", nothing else counts), and the last line
// is ended. An absent response becomes "(null)".
FinishedResponse FinishResponse(String response);

// The response up to its first NUL, where what is printed ends.
void cutAtNUL(FinishedResponse& response);

}  // namespace quintora
