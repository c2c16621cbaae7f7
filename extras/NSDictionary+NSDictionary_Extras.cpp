#include "extras/NSDictionary+NSDictionary_Extras.h"

#include <algorithm>
#include <utility>

#include "extras/Characters.h"
#include "extras/TextEncoding.h"

namespace {

const String kAbsent;

// The body's escapes in one pass: what stringByAddingPercentEscapesUsingEncoding and, after it,
// percentEscapeList with "+&" would make of each character.
struct KeptCharacters {
  bool isKept[128] = {};
  constexpr KeptCharacters() {
    for (unsigned char c = 0; c < 128; ++c)
      isKept[c] = isURLCharacter(c) && c != '+' && c != '&';
  }
};
constexpr KeptCharacters kKeptCharacters;

bool isKept(char16_t unit) { return unit < 128 && kKeptCharacters.isKept[unit]; }

void appendEscape(Data& body, char32_t character) {
  char bytes[4];
  const char* const end = putUTF8(bytes, character);
  for (const char* byte = bytes; byte != end; ++byte) {
    const char escape[] = {'%', kHexadecimalDigits[static_cast<unsigned char>(*byte) >> 4],
                           kHexadecimalDigits[*byte & 0xF]};
    body.append(escape, sizeof escape);
  }
}

// Stretches of kept characters are copied whole, for most texts are little else. False, with
// nothing appended, for a text that UTF-8 cannot hold.
bool appendEscaped(Data& body, std::u16string_view text) {
  const size_t start = body.size();
  const char16_t* at = text.data();
  const char16_t* const end = at + text.size();
  for (;;) {
    const char16_t* const kept = std::find_if_not(at, end, isKept);
    const size_t size = body.size();
    body.resize(size + static_cast<size_t>(kept - at));
    std::copy(at, kept, body.begin() + static_cast<ptrdiff_t>(size));
    if (kept == end)
      return true;
    const Character character = characterAt({kept, static_cast<size_t>(end - kept)}, 0);
    if (isSurrogate(character.value)) {
      body.resize(start);
      return false;
    }
    appendEscape(body, character.value);
    at = kept + character.units;
  }
}

void appendField(Data& body, const String& text) {
  if (!text || !appendEscaped(body, *text))
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
  const String* const value = receiver->find(*key);
  return value ? *value : defaultString;
}

Data encodePostData(const Dictionary& receiver) {
  Data body;
  if (!receiver)
    return body;
  size_t units = 0;
  for (const auto& [key, value] : *receiver)
    units += key.size() + length(value) + 2;
  body.reserve(units);
  for (const auto& [key, value] : *receiver) {
    if (!body.empty())
      body += '&';
    appendField(body, key);
    body += '=';
    appendField(body, value);
  }
  return body;
}
