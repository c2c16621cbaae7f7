#include "bridge/FinishResponse.h"

#include <utility>

#include "extras/NSString+Extras.h"
#include "extras/NSString.h"

namespace quintora {

String FinishResponse(String response) {
  if (notContainsExactString(response, u"\n"))
    response = stringByReplacingOccurrencesOfStringWithString(std::move(response), u"\r", u"\r\n");
  if (!response)
    response = u"(null)";
  if (!beginsWith(response, u"Content-type:"))
    response->insert(0, u"Content-type: text/plain\r\n\r\n");
  if (!endsWith(response, u"\r\n"))
    *response += u"\r\n";  // in place: a large response is not copied for its line end
  return response;
}

}  // namespace quintora
