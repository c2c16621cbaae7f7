#include "extras/NSDictionary+NSDictionary_Extras.h"

#include <utility>

#include "extras/NSString+Extras.h"
#include "extras/NSString.h"

namespace {

const String kAbsent;

void appendEscaped(Data& body, const String& text) {
  const String escaped =
      percentEscapeList(stringByAddingPercentEscapesUsingEncoding(text, kUTF8TextEncoding), u"+&");
  if (escaped)
    body.append(escaped->begin(), escaped->end());  // ASCII by now
  else
    body += "(null)";
}

}  // namespace

void setObjectForKey(Dictionary& receiver, String value, String key) {
  if (!receiver)
    return;
  if (!value || !key)
    raiseException();
  receiver->insert_or_assign(std::move(*key), std::move(value));
}

const String& stringForKeyDefault(const Dictionary& receiver, const String& key,
                                  const String& defaultString) {
  if (!receiver)
    return kAbsent;
  if (!key)
    return defaultString;
  const auto entry = receiver->find(*key);
  return entry == receiver->end() ? defaultString : entry->second;
}

Data encodePostData(const Dictionary& receiver) {
  Data body;
  if (!receiver)
    return body;
  for (const auto& [key, value] : *receiver) {
    if (!body.empty())
      body += '&';
    appendEscaped(body, key);
    body += '=';
    appendEscaped(body, value);
  }
  return body;
}
