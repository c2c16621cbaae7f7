#include "bridge/RequestCapture.h"

#include <algorithm>
#include <cstdlib>
#include <utility>

#include "bridge/Messages.h"
#include "bridge/RequestState.h"
#include "bridge/ServerScript.h"
#include "extras/NSDictionary+NSDictionary_Extras.h"
#include "extras/NSString.h"
#include "extras/Pieces.h"
#include "platform/Process.h"

namespace quintora {

namespace {

// Spare room after the body; the terminating NUL needs one byte of it.
constexpr uint64_t kSpareBytes = 100;

// The key of postParameters under which a CGI variable is sent.
std::string tunnelKey(const char* name) { return std::string("ApacheTunnel_") += name; }

// Like getCGIVariable, without a copy.
std::optional<std::string_view> variableText(const char* name) {
  const char* const value = std::getenv(name);
  const std::string_view text = value ? value : "";
  if (!isValidUTF8(text))
    return std::nullopt;
  return text;
}

// Decodes "+" and percent escapes in place: the text lies in the buffer that AddPostData allocated.
// It is valid UTF-8, because the whole body is and is cut only at ASCII characters.
std::optional<std::string_view> decodedFormText(std::string_view text) {
  char* const bytes = const_cast<char*>(text.data());
  std::transform(bytes, bytes + text.size(), bytes, [](char c) { return c == '+' ? ' ' : c; });
  return removePercentEncodingInPlace(bytes, text.size());
}

// The body up to its first NUL. The buffer is never freed: the process ends soon after.
std::string_view readBody(char* buffer, size_t count) {
  buffer[readStandardInput(buffer, count)] = '\0';
  return buffer;
}

// Anything after a second "=" is dropped.
void forwardFormField(std::string_view piece, std::string& entryList) {
  const auto key = decodedFormText(cutPiece(piece, '='));
  const auto value = decodedFormText(cutPiece(piece, '='));
  setObjectForKey(postParameters, value, key);
  if (environmentVariables)
    appendEntry(entryList, dictionaryEntry(String(key), String(value)));
}

}  // namespace

String getCGIVariable(const char* name) { return String(variableText(name)); }

void AddEnvironmentVariable(const char* name) {
  if (postParameters)
    setObjectForKey(postParameters, variableText(name), tunnelKey(name));
  if (environmentVariables)
    environmentVariables->push_back(dictionaryEntry(name, getCGIVariable(name)));
}

void AddPostData() {
  postDataCode = kEmptyLiteral;
  const int64_t contentLength = integerValue(getCGIVariable("CONTENT_LENGTH"));
  if (contentLength <= 0)
    return;
  // The sum of unsigned numbers cannot overflow here, and malloc fails for more than a machine has.
  // malloc does not touch the memory, so a false CONTENT_LENGTH costs address space only.
  const uint64_t size = static_cast<uint64_t>(contentLength);
  char* const buffer = static_cast<char*>(std::malloc(size + kSpareBytes));
  if (!buffer) {
    cgiResult = kNoMemoryForForm;
    return;
  }
  const std::string_view body = readBody(buffer, size);
  std::string entryList;
  if (isValidUTF8(body)) {
    // No list of pieces or entries is built: for a body that consists of "&" only, the list would
    // take a hundred times the body's size.
    forEachPiece(body, '&',
                 [&entryList](std::string_view piece) { forwardFormField(piece, entryList); });
  }
  if (environmentVariables)
    postDataCode = formDictionaryText(entryList);
}

void CaptureRequest(const String& bridgePath, const String& commandName) {
  for (const char* name : kCGIVariables)
    AddEnvironmentVariable(name);
  setObjectForKey(postParameters, bridgePath, tunnelKey("CLIPATH"));
  setObjectForKey(postParameters, commandName, tunnelKey("CLICOMMAND"));
  AddPostData();
}

}  // namespace quintora
