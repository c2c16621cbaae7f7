#include "bridge/SendLocalURL.h"

#include "bridge/RequestState.h"
#include "extras/NSDictionary+NSDictionary_Extras.h"
#include "extras/NSString+Extras.h"
#include "extras/NSString.h"

namespace quintora {

namespace {

constexpr std::chrono::seconds kTimeoutInterval(60);

}  // namespace

// The wire format. The Content-Type has no ";" before its charset; servers rely on it as it is.
std::optional<HTTPRequest> localRequest() {
  const std::optional<URL> url =
      URLWithString(stringWithFormat(u"http://localhost:%ld/apache-tunnel/", {quiZServerPort}));
  if (!url)
    return std::nullopt;
  HTTPRequest request;
  request.url = *url;
  request.method = "POST";
  request.body = encodePostData(postParameters);
  request.headers = {
      {"Content-Length", lossyUTF8Data(stringWithFormat(u"%lu", {request.body.size()}))},
      {"Content-Type", "application/x-www-form-urlencoded charset=utf-8"}};
  request.timeoutInterval = kTimeoutInterval;
  return request;
}

void SendLocalURL() {
  const std::optional<HTTPRequest> request = localRequest();
  cgiResult = request ? resultOfResponse(sendSynchronousRequest(*request))
                      : u"CGI tunnel error: malformed URL.";
}

bool isReadableReply(const HTTPResponse& response) {
  return response.data && !response.data->empty() && response.textEncodingName;
}

String resultOfResponse(const HTTPResponse& response) {
  if (!response.data || response.data->empty())
    return stringWithFormat(u"CGI tunnel request error:%@", {response.localizedDescription});
  if (!isReadableReply(response))
    return u"Error: CGI tunnel returned binary data.";
  return textOfReply(*response.data, textEncodingFromIANACharSetName(response.textEncodingName));
}

String textOfReply(std::string_view body, TextEncoding encoding) {
  String text = encoding == kNoTextEncoding ? stringWithUnknownEncodingData(body)
                                            : decodeData(body, encoding);
  if (!text)
    text = u"";
  return text;
}

}  // namespace quintora
