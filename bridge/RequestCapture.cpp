#include "bridge/RequestCapture.h"

#include <cstdlib>
#include <utility>

#include "bridge/RequestState.h"
#include "bridge/ServerScript.h"
#include "extras/NSArray+Extras.h"
#include "extras/NSDictionary+NSDictionary_Extras.h"
#include "extras/NSString.h"
#include "platform/Process.h"

namespace {

// Left over behind the body; the zero that ends it needs one byte of them.
constexpr uint64_t kSpareBytes = 100;

String decodedFormText(const String& text) {
  return stringByRemovingPercentEncoding(
      stringByReplacingOccurrencesOfStringWithString(text, u"+", u" "));
}

// The body as text, up to its first zero byte; absent when it is not valid UTF-8. The buffer is
// never released, for the process ends soon after.
String readBody(char* buffer, size_t count) {
  buffer[readStandardInput(buffer, count)] = '\0';
  return initWithDataEncoding(buffer, kUTF8TextEncoding);
}

void forwardFormField(const String& piece, Array& formEntries) {
  const Array parts = componentsSeparatedByString(piece, u"=");
  String key = decodedFormText(stringFromArrayElement(parts, 0));
  String value = decodedFormText(stringFromArrayElement(parts, 1));
  if (environmentVariables)
    formEntries->push_back(dictionaryEntry(key, value));
  setObjectForKey(postParameters, std::move(value), std::move(key));
}

}  // namespace

String tunnelKey(const String& name) { return stringWithFormat(u"ApacheTunnel_%@", {name}); }

String getCGIVariable(const String& name) {
  const char* const value = std::getenv(lossyUTF8Data(name).c_str());
  return value ? initWithDataEncoding(value, kUTF8TextEncoding) : u"";
}

void AddEnvironmentVariable(const String& name) {
  if (postParameters)
    setObjectForKey(postParameters, getCGIVariable(name), tunnelKey(name));
  if (environmentVariables)
    environmentVariables->push_back(dictionaryEntry(name, getCGIVariable(name)));
}

void AddPostData() {
  postDataCode = kEmptyLiteral;
  const int64_t contentLength = integerValue(getCGIVariable(u"CONTENT_LENGTH"));
  if (contentLength <= 0)
    return;
  // As unsigned numbers the sum cannot overflow; what no machine has, malloc refuses. It does not
  // touch the memory, so a false length costs nothing but addresses.
  const uint64_t size = static_cast<uint64_t>(contentLength);
  char* const buffer = static_cast<char*>(std::malloc(size + kSpareBytes));
  if (!buffer) {
    cgiResult = u"Quintora CGI Error: Out of memory (form data).";
    return;
  }
  const Array pieces = componentsSeparatedByString(readBody(buffer, size), u"&");
  Array formEntries(std::in_place);
  if (pieces) {
    for (const String& piece : *pieces)
      forwardFormField(piece, formEntries);
  }
  if (environmentVariables)
    postDataCode = formDictionaryText(formEntries);
}
