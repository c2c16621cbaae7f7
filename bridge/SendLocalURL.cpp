#include "bridge/SendLocalURL.h"

#include <utility>

#include "bridge/Messages.h"
#include "bridge/RequestState.h"
#include "extras/NSString+Extras.h"

namespace quintora {

namespace {

constexpr std::chrono::seconds kTimeoutInterval(60);

}  // namespace

bool isPortOfURL(int64_t port) { return port >= 0; }

// The wire format. The Content-Type has no ";" before its charset, and servers rely on that.
HTTPRequest localRequest(HTTPBody& body) {
  return {
      "POST",
      "localhost",
      quiZServerPort,
      "/apache-tunnel/",
      {{"Content-Length", composed({body.size()})},
       {"Content-Type", "application/x-www-form-urlencoded charset=utf-8"}},
      body,
      kTimeoutInterval,
  };
}

void SendLocalURL() {
  if (!isPortOfURL(quiZServerPort)) {
    cgiResult = kMalformedURL;
    return;
  }
  FormBody body(postParameters);
  cgiResult = resultOfResponse(sendSynchronousRequest(localRequest(body)));
}

bool isReadableReply(const HTTPResponse& response) {
  return response.data && !response.data->empty() && response.textEncodingName;
}

String resultOfResponse(HTTPResponse response) {
  if (!response.data || response.data->empty())
    return kRequestError(response.localizedDescription);
  if (!isReadableReply(response))
    return kBinaryData;
  return textOfReply(std::move(*response.data),
                     textEncodingFromIANACharSetName(response.textEncodingName));
}

String textOfReply(Data body, TextEncoding encoding) {
  if (encoding == kNoTextEncoding)
    return stringWithUnknownEncodingData(std::move(body));
  String text = decodeData(std::move(body), encoding);
  if (!text)
    text = "";
  return text;
}

}  // namespace quintora
