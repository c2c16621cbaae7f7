#include "bridge/FinishResponse.h"

#include <utility>

#include "bridge/Messages.h"
#include "extras/NSString+Extras.h"
#include "extras/NSString.h"

namespace quintora {

FinishedResponse FinishResponse(String response) {
  if (notContainsExactString(response, "\n"))
    response = stringByReplacingOccurrencesOfStringWithString(std::move(response), "\r", "\r\n");
  if (!response)
    response = kAbsentText;
  FinishedResponse finished;
  if (!beginsWith(response, "Content-type:"))
    finished.header = kDefaultHeader;
  const bool isEnded = response->empty() ? !finished.header.empty() : endsWith(response, "\r\n");
  if (!isEnded)
    finished.lineEnd = "\r\n";
  finished.text = std::move(*response);
  return finished;
}

std::string FinishedResponse::whole() const {
  return std::string(header).append(text).append(lineEnd);
}

void cutAtNUL(FinishedResponse& response) {
  const size_t end = response.text.find('\0');
  if (end == std::string::npos)
    return;
  response.text.resize(end);
  response.lineEnd = {};
}

}  // namespace quintora
