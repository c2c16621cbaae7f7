#include "extras/NSDictionary+NSDictionary_Extras.h"

#include <algorithm>
#include <cstring>

#include "extras/Characters.h"

namespace quintora {

namespace {

// What a byte becomes: an escape, or the byte itself where it is not escaped.
struct Escape {
  char bytes[3] = {};
  uint8_t size = 0;
};

// Escapes a body in one pass, to what stringByAddingPercentEscapesUsingEncoding followed by
// percentEscapeList with "+&" would make of it.
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

const Escape& escapeOf(char c) { return kEscapes.ofByte[static_cast<unsigned char>(c)]; }

uint64_t escapedSize(std::string_view text) {
  uint64_t size = 0;
  for (const char c : text)
    size += escapeOf(c).size;
  return size;
}

// Writes the escapes of the bytes at the front of the text, as many as there is room for, and
// removes these bytes from the text. Returns the end of what it wrote. Copies the whole Escape
// every time, whatever its size, because that needs no branch.
char* writeEscapes(std::string_view& text, char* to, const char* end) {
  while (!text.empty() && end - to >= static_cast<ptrdiff_t>(sizeof(Escape))) {
    const size_t count = std::min(text.size(), static_cast<size_t>(end - to - 1) / 3);
    for (const char c : text.substr(0, count)) {
      std::memcpy(to, &escapeOf(c), sizeof(Escape));
      to += escapeOf(c).size;
    }
    text.remove_prefix(count);
  }
  return to;
}

// Whether the text has an unpaired surrogate. The byte ED begins the characters from U+D000 to
// U+DFFF; the second byte tells which of them are surrogates.
bool hasSurrogate(std::string_view text) {
  for (size_t at = 0; (at = text.find('\xED', at)) != text.npos; ++at) {
    if (static_cast<unsigned char>(text[at + 1]) >= 0xA0)
      return true;
  }
  return false;
}

}  // namespace

void setObjectForKey(Dictionary& receiver, std::optional<std::string_view> value,
                     std::optional<std::string_view> key) {
  if (!receiver)
    return;
  if (!value || !key)
    raiseException();
  receiver->insert_or_assign(*key, *value);
}

String stringForKeyDefault(const Dictionary& receiver, const String& key,
                           const String& defaultString) {
  if (!receiver)
    return std::nullopt;
  const auto value = key ? receiver->find(*key) : std::nullopt;
  if (!value)
    return defaultString;
  return std::string(*value);
}

Data encodePostData(const Dictionary& receiver) {
  PostDataEncoder encoder(receiver);
  Data body(encoder.size() + PostDataEncoder::kLeastRoom, '\0');
  body.resize(encoder.read(body.data(), body.size()));
  return body;
}

PostDataEncoder::PostDataEncoder(const Dictionary& receiver)
    : next_(receiver ? receiver->begin() : StringMap::const_iterator()),
      end_(receiver ? receiver->end() : StringMap::const_iterator()),
      mayHaveSurrogates_(receiver && hasSurrogate(receiver->bytes())) {
  for (auto entry = next_; entry != end_; ++entry) {
    const auto [key, value] = *entry;
    size_ += escapedSize(encodable(key)) + escapedSize(encodable(value)) + 2;  // "=" and "&"
  }
  if (size_ > 0)
    --size_;  // there is one "&" less
}

std::string_view PostDataEncoder::encodable(std::string_view text) const {
  return mayHaveSurrogates_ && hasSurrogate(text) ? kAbsentText : text;
}

size_t PostDataEncoder::read(char* to, size_t room) {
  char* at = to;
  const char* const end = to + room;
  do {
    at = writeEscapes(field_, at, end);
  } while (field_.empty() && at != end && startField(at));
  return static_cast<size_t>(at - to);
}

// Writes the separator before the next key or value; false when there is no other.
bool PostDataEncoder::startField(char*& to) {
  if (isKey_) {
    *to++ = '=';
    field_ = value_;
  } else {
    if (!(next_ != end_))
      return false;
    if (!isFirst_)
      *to++ = '&';
    const auto [key, value] = *next_;
    ++next_;
    field_ = encodable(key);
    value_ = encodable(value);
    isFirst_ = false;
  }
  isKey_ = !isKey_;
  return true;
}

}  // namespace quintora
