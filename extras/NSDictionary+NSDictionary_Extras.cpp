#include "extras/NSDictionary+NSDictionary_Extras.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "extras/BlockWriter.h"
#include "extras/Characters.h"
#include "extras/TextEncoding.h"

namespace quintora {

namespace {

const String kAbsent;

// An escape or, of an ASCII character that is kept, the character.
struct Escape {
  char bytes[3] = {};
  uint8_t size = 0;
};

// The body's escapes in one pass: what stringByAddingPercentEscapesUsingEncoding and, after it,
// percentEscapeList with "+&" would make of each byte.
struct Escapes {
  Escape ofByte[256];
  constexpr Escapes() {
    for (unsigned byte = 0; byte < 256; ++byte) {
      const char c = static_cast<char>(byte);
      const bool isKept = isURLCharacter(static_cast<unsigned char>(byte)) && c != '+' && c != '&';
      ofByte[byte] =
          isKept ? Escape{{c}, 1}
                 : Escape{{'%', kHexadecimalDigits[byte >> 4], kHexadecimalDigits[byte & 0xF]}, 3};
    }
  }
};
constexpr Escapes kEscapes;

// Always writes all of the four bytes, which is one step and asks nothing, and returns the place
// behind those that count.
char* putEscape(char* to, unsigned byte) {
  const Escape& escape = kEscapes.ofByte[byte];
  std::memcpy(to, &escape, sizeof escape);
  return to + escape.size;
}

// The escapes of the UTF-8 bytes of a character beyond ASCII.
char* putEscapes(char* to, char32_t character) {
  char bytes[4];
  const char* const end = putUTF8(bytes, character);
  for (const char* byte = bytes; byte != end; ++byte)
    to = putEscape(to, static_cast<unsigned char>(*byte));
  return to;
}

// False, with nothing appended, for a text that UTF-8 cannot hold.
bool appendEscaped(Data& body, std::u16string_view text) {
  constexpr ptrdiff_t kASCIIAtOnce = 16;
  static_assert(3 * (kASCIIAtOnce + 4) + 1 <= BlockWriter<char>::kMostAtOnce);
  const size_t sizeBefore = body.size();
  BlockWriter<char> writer(body);
  const char16_t* at = text.data();
  const char16_t* const end = at + text.size();
  while (at != end) {
    char* to = writer.place();
    const char16_t* const stop = at + std::min(end - at, kASCIIAtOnce);
    for (; at != stop && *at < 0x80; ++at)
      to = putEscape(to, *at);
    if (at != stop) {
      const Character character = characterAt({at, static_cast<size_t>(end - at)}, 0);
      if (isSurrogate(character.value)) {
        body.resize(sizeBefore);
        return false;
      }
      to = putEscapes(to, character.value);
      at += character.units;
    }
    writer.wroteUpTo(to);
  }
  writer.flush();
  return true;
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
  body.reserve(2 * units);  // forms have fewer escapes than that, or nearly nothing else
  for (const auto& [key, value] : *receiver) {
    if (!body.empty())
      body += '&';
    appendField(body, key);
    body += '=';
    appendField(body, value);
  }
  return body;
}

}  // namespace quintora
