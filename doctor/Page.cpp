#include "doctor/Page.h"

#include <algorithm>
#include <cstdlib>

#include "doctor/PageHeader.h"
#include "extras/Characters.h"
#include "extras/Message.h"
#include "extras/NSString+Extras.h"
#include "extras/Pieces.h"
#include "platform/Charsets.h"
#include "platform/http/HTTPReply.h"

namespace quintora {

namespace {

constexpr const char* kSpace = " \t\r\n";
constexpr const char* kBeginning =
    "Begin the page with the line \"Content-type: text/html; charset=utf-8\", with a capital C, a "
    "small t and nothing before it, and an empty line.";
constexpr const char* kGuess =
    "Browsers may show wrong letters, unless the web server adds a charset.";

bool hasOwnHeader(const FinishedResponse& response) { return response.header.empty(); }

// Apache accepts any three digits. After a status below 200 a browser waits for another response.
void checkStatus(Findings& findings, const std::string& status) {
  const long number = std::strtol(status.c_str(), nullptr, 10);
  const std::string written = excerpt(composed({"Status: ", status}));
  constexpr const char* kFix =
      "Write a number from 200 to 599 and its name, as in \"Status: 404 Not Found\".";
  if (number < 100 || number > 999)
    findings.push_back(
        {Weight::harms,
         composed({"The page's ", written, " does not begin with a number of three digits."}),
         "Apache sends the page with the status 500, \"Internal Server Error\".", kFix});
  else if (number < 200)
    findings.push_back({Weight::stops,
                        composed({"The page's ", written, " is not the status of a page."}),
                        "A browser waits for another response and shows nothing.", kFix});
}

// Whether a browser would have to guess: HTML may declare its charset itself, near its beginning.
bool isOfUnknownCharset(std::string_view contentType, std::string_view body) {
  constexpr size_t kMostBytesBeforeMeta = 1024;
  const std::string_view type = trimmed(cutPiece(contentType, ';'), kSpace);
  return isEqualIgnoringASCIICase(type, "text/plain") ||
         (isEqualIgnoringASCIICase(type, "text/html") &&
          !caseInsensitiveContainsString(std::string(body.substr(0, kMostBytesBeforeMeta)),
                                         "charset"));
}

// The bridge prints UTF-8, whatever charset the page declares.
void checkCharset(Findings& findings, const std::string& contentType, std::string_view body) {
  const String charset = charsetOfContentType(contentType);
  if (!charset && !isASCII(body) && isOfUnknownCharset(contentType, body))
    findings.push_back({Weight::surprises,
                        "The page's own header declares no charset, and the page is not all ASCII.",
                        kGuess, "Declare \"charset=utf-8\" in the page's header."});
  if (!charset || isASCII(body) || textEncodingFromIANACharSetName(charset) == kUTF8TextEncoding)
    return;
  findings.push_back(
      {Weight::harms,
       composed({"The page's own header declares the charset ", excerpt(*charset), "."}),
       "The bridge prints UTF-8, so a visitor sees wrong letters.",
       "Declare \"charset=utf-8\" in the page's header."});
}

Findings findingsOfHeader(std::string_view page) {
  Findings findings;
  const PageHeader header = headerOf(page);
  if (header.fault)
    return {{Weight::stops, *header.fault,
             "Apache answers 500, \"Internal Server Error\", and says why in its log.",
             "Write each line of the header as \"Name: value\" and end it with an empty line."}};
  if (header.status)
    checkStatus(findings, *header.status);
  if (header.contentType)
    checkCharset(findings, *header.contentType, header.body);
  return findings;
}

// Whether a line before the first empty one is a "Content-type:", in any case.
bool hasHeaderInText(std::string_view text) {
  while (!text.empty()) {
    std::string_view line = trimmed(cutPiece(text, '\n'), kSpace);
    if (line.empty())
      return false;
    const std::string_view name = trimmed(line.substr(0, line.find(':')), kSpace);
    if (name.size() < line.size() && isEqualIgnoringASCIICase(name, "content-type"))
      return true;
  }
  return false;
}

bool isHTML(std::string_view text) {
  return text.size() > 1 && text[0] == '<' && (text[1] == '!' || isASCIILetter(text[1])) &&
         text.find('>') != text.npos;
}

// The findings of a page to which the bridge adds the default header.
Findings findingsOfText(std::string_view text) {
  const std::string_view start = trimmed(text, kSpace);
  const bool isLineEnd = text.find_first_of("\r\n") == 0;
  if (hasHeaderInText(start))
    return {{Weight::harms,
             composed({"The page has a header that does not begin with exactly "
                       "\"Content-type:\". The page begins with ",
                       isLineEnd ? "an empty line" : excerpt(text), "."}),
             "The bridge ignores that header: a visitor sees it, and the page's source, as text.",
             kBeginning}};
  if (isHTML(start))
    return {{Weight::harms, composed({"The page is HTML without a header: ", excerpt(start), "."}),
             "The bridge prints it as text/plain: a visitor sees its source.", kBeginning}};
  if (!isASCII(text))
    return {{Weight::surprises,
             "The page has no header that declares a charset, and is not all ASCII.", kGuess,
             kBeginning}};
  return {};
}

}  // namespace

Findings findingsOfPage(const FinishedResponse& response) {
  return hasOwnHeader(response) ? findingsOfHeader(response.whole())
                                : findingsOfText(response.text);
}

bool isEmptyPage(const FinishedResponse& response) {
  const std::string page = response.whole();
  const PageHeader header = headerOf(page);
  const bool isWithoutBody = header.isRedirect || header.status.value_or("").substr(0, 3) == "204";
  return !header.fault && !isWithoutBody && trimmed(header.body, "\r\n").empty();
}

}  // namespace quintora
