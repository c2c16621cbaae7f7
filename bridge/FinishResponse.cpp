#include "bridge/FinishResponse.h"

#include <utility>

#include "extras/NSString+Extras.h"
#include "extras/NSString.h"

String FinishResponse(String response) {
  if (notContainsExactString(response, u"\n"))
    response = stringByReplacingOccurrencesOfStringWithString(std::move(response), u"\r", u"\r\n");
  if (!beginsWith(response, u"Content-type:"))
    response = stringWithFormat(u"Content-type: text/plain\r\n\r\n%@", {response});
  if (!endsWith(response, u"\r\n"))
    *response += u"\r\n";  // in place: a large response is not copied for its line end
  return response;
}
