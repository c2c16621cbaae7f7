#include "doctor/Reply.h"

#include "bridge/RequestState.h"
#include "doctor/Advice.h"
#include "extras/Message.h"
#include "extras/NSString+Extras.h"
#include "platform/Charsets.h"

namespace quintora {

namespace {

void reportStatus(Report& report, const HTTPResponse& response) {
  if (response.status / 100 == 2)
    return report.good(composed({"Its HTTP status is ", response.status, "."}));
  report.finding(
      {Weight::harms, composed({"The HTTP status of the reply is ", response.status, "."}),
       "The bridge prints the body of the reply all the same: a visitor may see the error "
       "page of another program.",
       composed({"Check whether the page above is the server's. If not, the port may be "
                 "another program's, the web server's own, or an HTTPS port. ",
                 findingListener(quiZServerPort)})});
}

// Reports on the charset. Returns whether the body can be decoded in it.
bool reportCharset(Report& report, const HTTPResponse& response) {
  constexpr const char* kEmpty = "Every visitor sees an empty page.";
  const String& name = response.textEncodingName;
  const TextEncoding encoding = textEncodingFromIANACharSetName(name);
  if (!decodeData({}, encoding)) {
    report.finding({Weight::stops, composed({"The charset \"", name, "\" is unknown."}), kEmpty,
                    "Let the server send UTF-8 and declare \"charset=utf-8\"; docs/tunnel.md "
                    "lists all charsets."});
    return false;
  }
  const std::string& body = *response.data;
  const size_t fitting = fittingBytes(body, encoding);
  if (fitting == body.size()) {
    report.good(composed({"Its charset \"", name, "\" is known, and its body is valid in it."}));
    return true;
  }
  const unsigned char byte = static_cast<unsigned char>(body[fitting]);
  report.finding(
      {Weight::stops,
       composed({"Byte ", fitting + 1, " of the reply, hexadecimal ",
                 radixstrValueBytes(16, byte, 1), ", is not valid in the charset \"", name, "\"."}),
       kEmpty, "Let the server declare the charset that it sends, or send what it declares."});
  return false;
}

}  // namespace

bool reportReply(Report& report, const HTTPResponse& response) {
  reportStatus(report, response);
  report.fact(composed({"Its body has ", response.data->size(), " bytes."}));
  if (response.data->empty()) {
    report.finding({Weight::stops, "The reply has no body.", kInsteadOfPage,
                    "Let the server send at least one byte."});
    return false;
  }
  if (response.textEncodingName)
    return reportCharset(report, response);
  report.fact(composed({"Its body begins with ", excerpt(*response.data), "."}));
  report.finding({Weight::stops, "The reply declares no charset.", kInsteadOfPage,
                  "Let the server send \"Content-Type: text/html; charset=utf-8\"."});
  return false;
}

}  // namespace quintora
