// Values of Content-Type, and the charset names in them.
#include "extras/NSString+Extras.h"
#include "fuzz/Fuzz.h"
#include "fuzz/PlainText.h"
#include "platform/Charsets.h"
#include "platform/charsets/CharsetNames.h"
#include "platform/http/HTTPReply.h"
// For its numbered names, which would grow with every input.
#include "platform/elsewhere/Charsets.cpp"

namespace quintora {

namespace {

String latin1(std::string_view bytes) { return plain::toUTF8(plain::fromLatin1(bytes)); }

// Capital letters for small ones and the other way round, ASCII only.
std::string otherCase(std::string_view text) {
  std::string other(text);
  for (char& c : other) {
    if ((c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z'))
      c = static_cast<char>(c ^ 0x20);
  }
  return other;
}

std::string quoted(std::string_view text) {
  std::string literal = "\"";
  for (const char c : text) {
    if (c == '"' || c == '\\')
      literal += '\\';
    literal += c;
  }
  return literal + "\"";
}

// What an unquoted value may not contain, or loses at its ends.
bool isPlainValue(std::string_view text) {
  const std::string_view blanks = " \t";
  return !text.empty() && text.find_first_of("\";") == text.npos &&
         blanks.find(text.front()) == blanks.npos && blanks.find(text.back()) == blanks.npos;
}

void checkAnyValue(std::string_view input) {
  const String charset = charsetOfContentType(input);
  const String other = charsetOfContentType(otherCase(input));
  require(charset.has_value() == other.has_value(), "the parameter's name has no case");
  if (!charset)
    return;
  const std::optional<std::u16string> units = plain::unitsOf(*charset);
  require(units.has_value(), "a charset is a text");
  require(units->size() < input.size(), "a charset is a part of the value");
  std::string bytes;
  for (const char16_t unit : *units) {
    require(unit < 0x100, "each byte is one character");
    bytes += static_cast<char>(unit);
  }
  require(other == latin1(otherCase(bytes)), "the charset's case is kept");
  const size_t semicolon = input.find(';');
  require(semicolon != input.npos, "a charset stands behind a semicolon");
  const std::string otherType = "image/png" + std::string(input.substr(semicolon));
  require(charsetOfContentType(otherType) == charset, "the media type has no influence");
  // Only a quote that is open at the end takes in what follows.
  const String longer = charsetOfContentType(std::string(input) + ";charset=no");
  require(longer == charset || endsWith(longer, ";charset=no"), "the first charset holds");
}

void checkComposed(std::string_view name) {
  const std::string literal = quoted(name);
  require(charsetOfContentType("text/html; charset=" + literal) == latin1(name),
          "a quoted charset is taken as it is");
  require(charsetOfContentType("text/html;a=" + literal + " ; CharSet = utf-8 ") == "utf-8",
          "what stands in another parameter's quotes has no influence");
  require(charsetOfContentType("text/html;charset=" + literal + ";charset=utf-8") == latin1(name),
          "the first of two charsets holds");
  require(charsetOfContentType("text/html;charset=utf-8;charset=" + literal) == "utf-8",
          "the first of two charsets holds");
  if (isPlainValue(name)) {
    require(charsetOfContentType("text/html; charset=" + std::string(name)) == latin1(name),
            "a charset without quotes is taken as it is");
  }
}

void checkName(std::string_view name) {
  const String text = latin1(name);
  const TextEncoding encoding = textEncodingFromIANACharSetName(text);
  require(encoding != kNoTextEncoding, "every name has an identifier");
  require(textEncodingFromIANACharSetName(text) == encoding, "a name has one identifier");
  const bool hasSlash = name.find('/') != name.npos;
  require(!hasSlash || encoding == kUnknownTextEncoding, "no converter's options");
  const TextEncoding other = textEncodingFromIANACharSetName(latin1(otherCase(name)));
  require(isBuiltInTextEncoding(encoding) == isBuiltInTextEncoding(other), "names have no case");
  require(!isBuiltInTextEncoding(encoding) || other == encoding, "names have no case");
  const String decoded = decodeData("Az 09", encoding);
  require(encoding != kUnknownTextEncoding || !decoded, "nothing is decoded by an unknown name");
  require(decodeData("Az 09", other) == decoded, "names have no case");
  numberedNames.clear();
}

}  // namespace

int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
  const std::string_view input = inputText(bytes, size);
  checkAnyValue(input);
  checkComposed(input);
  checkName(input);
  if (const String charset = charsetOfContentType(input))
    checkName(*charset);
  return 0;
}

}  // namespace quintora
