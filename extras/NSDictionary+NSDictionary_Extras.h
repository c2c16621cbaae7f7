// Operations on the map from text to text.
#pragma once

#include "extras/String.h"

namespace quintora {

// Sets the key to the value, in place of an earlier one. An absent key or value ends the run
// (raiseException); an absent receiver is left alone.
void setObjectForKey(Dictionary& receiver, String value, String key);

// The very value stored under the key, an empty one included, else the default itself; absent for
// an absent receiver. The result refers to the receiver or to the default.
const String& stringForKeyDefault(const Dictionary& receiver, const String& key,
                                  const String& defaultString);

// The entries as a form-urlencoded body: "key=value" joined by "&", both escaped so that the body
// is ASCII: what is no URL character, "+" and "&" become escapes of their UTF-8 bytes; "=" stays,
// in keys too. A key or value that UTF-8 cannot hold stands as "(null)". Empty for an empty or an
// absent receiver.
Data encodePostData(const Dictionary& receiver);

}  // namespace quintora
