// Bytes in any charset: a line with the charset's name, then the bytes. What is decoded is what the
// encoding's definition says, and becomes the same bytes again.
#include <algorithm>
#include <iterator>

#include "bridge/SendLocalURL.h"
#include "extras/NSString+Extras.h"
#include "extras/NSString.h"
#include "extras/UTF16.h"
#include "fuzz/Fuzz.h"
#include "fuzz/PlainText.h"
#include "platform/Charsets.h"
#include "platform/charsets/BuiltInCharsets.h"
#include "platform/charsets/CharsetNames.h"
// For its numbered names, which would grow with every input.
#include "platform/elsewhere/Charsets.cpp"

namespace quintora {

namespace {

// What the product must make of units.
String textOf(const std::optional<std::u16string>& units) {
  return units ? String(plain::toUTF8(*units)) : std::nullopt;
}

// Units of two bytes; absent when they do not come out even or hold an unpaired surrogate.
String plainUTF16(std::string_view bytes, bool isLittleEndian) {
  std::u16string text;
  for (size_t i = 0; i + 1 < bytes.size(); i += 2) {
    const int first = static_cast<unsigned char>(bytes[i]);
    const int second = static_cast<unsigned char>(bytes[i + 1]);
    text += static_cast<char16_t>(isLittleEndian ? second * 256 + first : first * 256 + second);
  }
  const bool isWhole = bytes.size() % 2 == 0 && plain::isUTF8(plain::toUTF8(text));
  return isWhole ? textOf(text) : std::nullopt;
}

String plainMarkedUTF16(std::string_view bytes) {
  if (bytes.substr(0, 2) == "\xFF\xFE")
    return plainUTF16(bytes.substr(2), true);
  return plainUTF16(bytes.substr(0, 2) == "\xFE\xFF" ? bytes.substr(2) : bytes, false);
}

String plainLatin1(std::string_view bytes) { return textOf(plain::fromLatin1(bytes)); }

String plainASCII(std::string_view bytes) {
  const bool isASCII =
      std::all_of(bytes.begin(), bytes.end(), [](char byte) { return (byte & 0x80) == 0; });
  return isASCII ? plainLatin1(bytes) : std::nullopt;
}

String macOSRoman(std::string_view bytes) {
  return initWithDataEncoding(Data(bytes), kMacOSRomanTextEncoding);
}

void checkMacOSRoman(std::string_view bytes) {
  const String text = macOSRoman(bytes);
  require(text.has_value(), "every byte is a character of Mac OS Roman");
  const std::optional<std::u16string> units = plain::fromUTF8(*text);
  require(units && units->size() == bytes.size() && length(text) == bytes.size(),
          "every byte is one character of Mac OS Roman");
  for (size_t i = 0; i < bytes.size(); ++i) {
    const char16_t unit = (*units)[i];
    require(macOSRoman(bytes.substr(i, 1)) == textOf(std::u16string(1, unit)),
            "each byte by itself");
    require(((bytes[i] & 0x80) == 0) == (unit < 0x80), "half of it is ASCII");
  }
}

void checkDefinitions(std::string_view bytes) {
  // A reply begins behind its byte-order mark.
  const bool isMarked = bytes.substr(0, 3) == "\xEF\xBB\xBF";
  const auto is = [=](TextEncoding encoding, const String& expected) {
    const bool hasMark = isMarked && encoding == kUTF8TextEncoding;
    return initWithDataEncoding(Data(bytes), encoding) == expected &&
           decodeData(Data(bytes), encoding) ==
               (hasMark && expected ? String(expected->substr(3)) : expected);
  };
  require(is(kASCIITextEncoding, plainASCII(bytes)), "US-ASCII");
  require(is(kUTF8TextEncoding, textOf(plain::fromUTF8(bytes))), "UTF-8");
  require(is(kISOLatin1TextEncoding, plainLatin1(bytes)), "ISO 8859-1");
  require(is(kUTF16TextEncoding, plainMarkedUTF16(bytes)), "UTF-16 by its mark");
  require(is(kUTF16BigEndianTextEncoding, plainUTF16(bytes, false)), "UTF-16, big-endian");
  require(is(kUTF16LittleEndianTextEncoding, plainUTF16(bytes, true)), "UTF-16, little-endian");
  require(is(kUnknownTextEncoding, std::nullopt), "nothing is decoded by an unknown name");
  checkMacOSRoman(bytes);
}

void checkUnknown(std::string_view bytes) {
  const bool isMarked = bytes.size() > 2 && (bytes.substr(0, 2) == "\xFE\xFF" ||
                                             bytes.substr(0, 2) == "\xFF\xFE" || bytes[0] == '\0');
  String expected = isMarked ? plainMarkedUTF16(bytes) : textOf(plain::fromUTF8(bytes));
  if (!expected)
    expected = macOSRoman(bytes);
  require(stringWithUnknownEncodingData(Data(bytes)) == expected,
          "an undeclared encoding is found out");
  require(textOfReply(Data(bytes), kNoTextEncoding) == expected, "a reply's encoding is found out");
}

// Of any units, paired or not.
void checkTextOf(const std::u16string& units) {
  const std::string text = plain::toUTF8(units);
  const bool isPaired = plain::isUTF8(text);
  require(textOfUnits(units) == text, "units become a text");
  require(unitsOf(text) == units, "a text has its units");
  require(length(text) == units.size(), "a text is as long as it has units");
  require(isValidUTF8(text) == isPaired, "an unpaired surrogate is no UTF-8");
  const String escaped = stringByAddingPercentEscapesUsingEncoding(text, kUTF8TextEncoding);
  require(escaped.has_value() == isPaired, "an unpaired surrogate cannot be escaped");
  require(!escaped || plainASCII(*escaped), "what is escaped is ASCII");
  require(!escaped || stringByRemovingPercentEncoding(escaped) == text,
          "what was escaped can be read");
}

// Sequence by sequence, each of which is the shortest that has a text by itself; absent where there
// is none.
std::optional<Data> plainlyDecoded(std::string_view bytes, TextEncoding encoding) {
  Data text;
  while (!bytes.empty()) {
    std::optional<Data> piece;
    size_t length = 0;
    while (!piece && length < std::min<size_t>(bytes.size(), 4))
      piece = decodedToUTF8(bytes.substr(0, ++length), encoding);
    if (!piece)
      return std::nullopt;
    text += *piece;
    bytes.remove_prefix(length);
  }
  return text;
}

// Whether what bytes mean depends on others before them.
bool isStateful(TextEncoding encoding) {
  return encoding == kISO2022JPTextEncoding || encoding == kISO2022KRTextEncoding ||
         encoding == kHZTextEncoding || encoding == kReplacementTextEncoding;
}

// What every charset of one or more bytes to a character has in common.
void checkTables(std::string_view bytes, TextEncoding encoding) {
  const std::optional<Data> text = decodedToUTF8(bytes, encoding);
  require(!text || plain::isUTF8(*text), "what is decoded is UTF-8");
  require(!text || text->size() <= 3 * bytes.size(), "a text has thrice its bytes at most");
  if (!isStateful(encoding))
    require(text == plainlyDecoded(bytes, encoding), "a sequence means the same anywhere");
  const size_t fitting = fittingBytes(bytes, encoding);
  require(text.has_value() == (fitting == bytes.size()), "what is absent has a byte that is wrong");
  require(decodedToUTF8(bytes.substr(0, fitting), encoding).has_value(), "before it all is well");
  for (size_t more = fitting + 1; more <= bytes.size(); ++more)
    require(!decodedToUTF8(bytes.substr(0, more), encoding), "and nothing is, beyond it");
}

// By one decoder or another, whatever the name.
void checkSomeTables(std::string_view bytes) {
  constexpr TextEncoding kEncodings[] = {
      kShiftJISTextEncoding,       kEUCJPTextEncoding,         kISO2022JPTextEncoding,
      kEUCKRTextEncoding,          kWindowsKoreanTextEncoding, kGB18030TextEncoding,
      kGB2312TextEncoding,         kBig5TextEncoding,          kWindowsGreekTextEncoding,
      kISOLatinHebrewTextEncoding, kISO2022KRTextEncoding,     kHZTextEncoding,
      kReplacementTextEncoding};
  checkTables(bytes.substr(0, 64), kEncodings[bytes.size() % std::size(kEncodings)]);
}

// The system's converter, asked at once. It is asked for UTF-16, since to UTF-8 it lets characters
// beyond Unicode pass.
std::optional<std::u16string> converted(const std::string& name, std::string bytes) {
  const iconv_t converter = iconv_open("UTF-16BE", name.c_str());
  if (converter == reinterpret_cast<iconv_t>(-1))
    return std::nullopt;
  std::string units(bytes.size() * 32 + 256, '\0');
  char* from = bytes.data();
  char* to = units.data();
  size_t left = bytes.size();
  size_t room = units.size();
  const bool isDone = iconv(converter, &from, &left, &to, &room) != static_cast<size_t>(-1) &&
                      iconv(converter, nullptr, nullptr, &to, &room) != static_cast<size_t>(-1);
  iconv_close(converter);
  if (!isDone)
    return std::nullopt;
  std::u16string text;
  for (size_t i = 0; i + 1 < units.size() - room; i += 2)
    text += static_cast<char16_t>(static_cast<unsigned char>(units[i]) * 256 +
                                  static_cast<unsigned char>(units[i + 1]));
  return text;
}

// Any case of its letters, and nothing else, is the same name.
void checkLabel(std::string_view name, TextEncoding encoding) {
  std::string other(name);
  for (char& c : other)
    c = c >= 'a' && c <= 'z'   ? static_cast<char>(c - 'a' + 'A')
        : c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a')
                               : c;
  require(textEncodingFromIANACharSetName(plainLatin1(other)) == encoding, "in any case");
  for (const std::string& wrong : {other + " ", " " + other, other + "/", other + "\n"})
    require(textEncodingFromIANACharSetName(plainLatin1(wrong)) == kUnknownTextEncoding,
            "and without anything around it");
}

// Of the ISO 8859 charsets all converters have one table. Those of the library make one character
// of a letter and its diacritic in none of them.
void checkAgainstTheLibrary(std::string_view name, std::string_view bytes, const String& text) {
  if (name.substr(0, 9) != "iso-8859-" || name.find_first_not_of("0123456789", 9) != name.npos)
    return;
  const std::optional<std::u16string> expected = converted(std::string(name), std::string(bytes));
  require(text == textOf(expected), "ISO 8859 is what the library has");
}

void checkNamed(std::string_view name, std::string_view bytes) {
  const TextEncoding encoding = textEncodingFromIANACharSetName(plainLatin1(name));
  const String text = decodeData(Data(bytes), encoding);
  require(textOfReply(Data(bytes), encoding) == (text ? text : String("")), "a reply has a text");
  if (isBuiltInCharset(encoding)) {
    checkLabel(name, encoding);
    if (!isBuiltInTextEncoding(encoding))
      checkTables(bytes.substr(0, 64), encoding);
    checkAgainstTheLibrary(name, bytes, text);
    return;
  }
  if (encoding == kUnknownTextEncoding)
    return;
  const std::optional<std::u16string> expected =
      converted(iconvsName(std::string(name)), std::string(bytes));
  require(text.has_value() == expected.has_value(), "what is valid is the converter's affair");
  require(text == textOf(expected), "decoding by pieces changes nothing");
}

}  // namespace

int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
  const std::string_view input = inputText(bytes, size);
  const std::string_view name = input.substr(0, input.find('\n'));
  const std::string_view data = input.substr(std::min(name.size() + 1, input.size()));
  checkDefinitions(data);
  checkUnknown(data);
  checkSomeTables(data);
  checkTextOf(plain::fromLatin1(data));
  std::u16string units;
  for (size_t i = 0; i + 1 < data.size(); i += 2)
    units += static_cast<char16_t>(static_cast<unsigned char>(data[i]) * 256 +
                                   static_cast<unsigned char>(data[i + 1]));
  checkTextOf(units);
  checkNamed(name, data);
  // Longer than the pieces in which the product converts.
  if (!data.empty() && Numbers(data).upTo(4) == 1) {
    std::string longer(data);
    while (longer.size() < 10000)
      longer += data;
    checkNamed(name, longer);
  }
  numberedNames.clear();
  return 0;
}

}  // namespace quintora
