#include "doctor/Reply.h"

#include "bridge/RequestState.h"
#include "doctor/Advice.h"
#include "doctor/LikelyCharset.h"
#include "extras/Message.h"
#include "extras/NSString+Extras.h"
#include "platform/Charsets.h"

namespace quintora {

namespace {

// What becomes of a status other than 2xx, and what to do about it.
Finding findingOfStatus(int status) {
  const std::string found = composed({"The HTTP status of the reply is ", status, "."});
  if (status / 100 == 3 && status != 304)
    return {Weight::harms, found,
            "The bridge ignores the status and the Location of the reply: a visitor is not "
            "redirected.",
            composed({"Put the lines \"Status: ", status,
                      "\" and \"Location: URL\" into the page's "
                      "own header, after its first line, \"Content-type:\"."})};
  return {Weight::harms, found,
          "The bridge prints the body of the reply all the same: a visitor may see the error page "
          "of another program, and gets the status 200.",
          composed({"Check whether the page above is the server's. If it is, put the line "
                    "\"Status: ",
                    status,
                    "\" into the page's own header. If not, the port may be another program's, the "
                    "web server's own, or an HTTPS port. ",
                    findingListener(quiZServerPort)})};
}

void reportStatus(Report& report, const HTTPResponse& response) {
  if (response.status / 100 == 2)
    return report.good(composed({"Its HTTP status is ", response.status, "."}));
  report.finding(findingOfStatus(response.status));
}

constexpr const char* kEmpty = "Every visitor sees an empty page.";

Finding findingOfMistake(const LikelyMistake& likely, const String& charset) {
  return {Weight::harms,
          composed({likely.what, " The reply declares the charset \"", charset, "\"."}),
          "The bridge decodes it in that charset: a visitor sees wrong letters.", likely.fix};
}

Finding findingOfInvalidByte(const HTTPResponse& response, size_t at,
                             const std::optional<LikelyMistake>& likely) {
  const unsigned char byte = static_cast<unsigned char>((*response.data)[at]);
  return {Weight::stops,
          composed({"Byte ", at + 1, " of the reply, hexadecimal ", radixstrValueBytes(16, byte, 1),
                    ", is not valid in the charset \"", response.textEncodingName, "\"."}),
          kEmpty,
          likely ? composed({likely->what, " ", likely->fix})
                 : "Let the server declare the charset that it sends, or send what it declares."};
}

// Reports on the charset. Returns whether the body can be decoded in it.
bool reportCharset(Report& report, const HTTPResponse& response) {
  const String& name = response.textEncodingName;
  const TextEncoding encoding = textEncodingFromIANACharSetName(name);
  if (!decodeData({}, encoding)) {
    report.finding({Weight::stops, composed({"The charset \"", name, "\" is unknown."}), kEmpty,
                    "Let the server send UTF-8 and declare \"charset=utf-8\"."});
    return false;
  }
  const std::string& body = *response.data;
  const auto likely = likelyMistake(body, encoding);
  const size_t fitting = fittingBytes(body, encoding);
  if (fitting < body.size()) {
    report.finding(findingOfInvalidByte(response, fitting, likely));
    return false;
  }
  report.good(composed({"Its charset \"", name, "\" is known, and its body is valid in it."}));
  if (likely)
    report.finding(findingOfMistake(*likely, name));
  return true;
}

}  // namespace

bool reportReply(Report& report, const HTTPResponse& response) {
  reportStatus(report, response);
  report.fact(composed({"Its body has ", bytes(response.data->size()), "."}));
  const std::string effect = composed({"Every visitor sees ", quoted(*cgiResult), " and no page."});
  if (response.data->empty()) {
    report.finding({Weight::stops, "The reply has no body.", effect,
                    "Let the server send at least one byte."});
    return false;
  }
  if (response.textEncodingName)
    return reportCharset(report, response);
  report.fact(composed({"Its body begins with ", excerpt(*response.data), "."}));
  report.finding(
      {Weight::stops, "The reply declares no charset.", effect,
       composed({"Let the server send the line \"Content-Type: text/html; charset=utf-8\""
                 ", \";\" and \"=\" included. To see what it sends: curl -i -d a=1 "
                 "http://127.0.0.1:",
                 quiZServerPort, "/apache-tunnel/"})});
  return false;
}

}  // namespace quintora
