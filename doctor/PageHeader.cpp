#include "doctor/PageHeader.h"

#include <algorithm>

#include "doctor/Report.h"
#include "extras/Characters.h"
#include "extras/Message.h"
#include "extras/Pieces.h"

namespace quintora {

namespace {

// Apache's limit, seen with version 2.4: it takes a longer line for the end of the header.
constexpr size_t kMostLineBytes = 8189;

// RFC 9110, section 5.6.2.
bool isTokenCharacter(char c) {
  constexpr std::string_view kOthers = "!#$%&'*+-.^_`|~";
  return isASCIILetter(c) || isASCIIDigit(c) || kOthers.find(c) != kOthers.npos;
}

bool isToken(std::string_view text) {
  return !text.empty() && std::all_of(text.begin(), text.end(), isTokenCharacter);
}

bool hasControl(std::string_view text) {
  return std::any_of(text.begin(), text.end(),
                     [](char c) { return (c >= 0 && c < ' ' && c != '\t') || c == '\x7F'; });
}

void readField(PageHeader& header, std::string_view line) {
  std::string_view value = line;
  const std::string_view name = cutPiece(value, ':');
  value = trimmed(value, " \t\v\f");
  const bool isStatus = isEqualIgnoringASCIICase(name, "status");
  if (isStatus)
    header.status = value;
  else if (isEqualIgnoringASCIICase(name, "content-type"))
    header.contentType = value;
  else if (isEqualIgnoringASCIICase(name, "location"))
    header.isRedirect = true;
  if (!isToken(name))
    header.fault = composed({excerpt(line), " in the page's header has no valid name."});
  else if (!isStatus && hasControl(value))
    header.fault = composed({excerpt(line), " in the page's header has a control character."});
}

void readLine(PageHeader& header, std::string_view line) {
  if (line.size() > kMostLineBytes)
    header.fault = composed(
        {excerpt(line), " in the page's header is longer than ", kMostLineBytes, " bytes."});
  else if (line.find(':') == line.npos)
    header.fault = composed({excerpt(line), " in the page's header has no \":\"."});
  else
    readField(header, line);
}

}  // namespace

// Like Apache, ignores each CR.
PageHeader headerOf(std::string_view page) {
  PageHeader header;
  while (!page.empty() && !header.fault) {
    std::string line(cutPiece(page, '\n'));
    line.erase(std::remove(line.begin(), line.end(), '\r'), line.end());
    if (line.empty()) {
      header.body = page;
      return header;
    }
    readLine(header, line);
  }
  if (!header.fault)
    header.fault = "No empty line ends the page's header.";
  return header;
}

}  // namespace quintora
