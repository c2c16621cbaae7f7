// Charset names, and decoding by those that the C library knows.
#include <gmock/gmock.h>

#include <algorithm>
#include <cctype>

#include "extras/UTF16.h"
#include "platform/Charsets.h"
#include "platform/charsets/CharsetNames.h"

namespace quintora {

namespace {

using namespace std::string_literals;

std::string upper(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(),
                 [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
  return text;
}

// Every other letter in upper case.
std::string mixed(std::string text) {
  for (size_t position = 0; position < text.size(); position += 2)
    text[position] = upper(text)[position];
  return text;
}

TextEncoding encodingOf(const std::string& name) { return textEncodingFromIANACharSetName(name); }

String decode(const std::string& bytes, const std::string& name) {
  return decodeData(bytes, encodingOf(name));
}

const struct {
  std::string name;
  TextEncoding encoding;
} kBuiltIn[] = {
    {"utf-8", 4},
    {"utf-16", 10},
    {"utf-16be", kUTF16BigEndianTextEncoding},
    {"utf-16le", kUTF16LittleEndianTextEncoding},
    {"us-ascii", kASCIITextEncoding},
    {"iso-8859-1", kISOLatin1TextEncoding},
    {"macintosh", 30},
    {"x-mac-roman", 30},
    // Other registered names for these.
    {"csutf8", 4},
    {"csutf16", 10},
    {"csutf16be", kUTF16BigEndianTextEncoding},
    {"csutf16le", kUTF16LittleEndianTextEncoding},
    {"iso_8859-1:1987", kISOLatin1TextEncoding},
    {"iso_8859-1", kISOLatin1TextEncoding},
    {"iso-ir-100", kISOLatin1TextEncoding},
    {"latin1", kISOLatin1TextEncoding},
    {"l1", kISOLatin1TextEncoding},
    {"ibm819", kISOLatin1TextEncoding},
    {"cp819", kISOLatin1TextEncoding},
    {"csisolatin1", kISOLatin1TextEncoding},
    {"iso-ir-6", kASCIITextEncoding},
    {"ansi_x3.4-1968", kASCIITextEncoding},
    {"ansi_x3.4-1986", kASCIITextEncoding},
    {"iso_646.irv:1991", kASCIITextEncoding},
    {"iso646-us", kASCIITextEncoding},
    {"us", kASCIITextEncoding},
    {"ibm367", kASCIITextEncoding},
    {"cp367", kASCIITextEncoding},
    {"csascii", kASCIITextEncoding},
    {"mac", 30},
    {"csmacintosh", 30},
    // And two that are in use.
    {"utf8", 4},
    {"ascii", kASCIITextEncoding},
};

TEST(Charsets, TheBuiltInNamesAreKnownInAnyCase) {
  for (const auto& row : kBuiltIn) {
    for (const std::string& name : {row.name, upper(row.name), mixed(row.name)}) {
      EXPECT_EQ(builtInTextEncoding(name), row.encoding) << name;
      EXPECT_EQ(encodingOf(name), row.encoding) << name;
    }
  }
}

TEST(Charsets, NoOtherNameIsBuiltIn) {
  for (const char* const name : {"", "utf", "utf-", "utf-88", "utf-7", "utf-32", "iso-8859-15",
                                 "windows-1252", "koi8-r", "utf-8 ", " utf-8", "x-unknown"})
    EXPECT_EQ(builtInTextEncoding(name), kNoTextEncoding) << name;
}

TEST(Charsets, ACharsetNameHasTheCharactersOfRegisteredNames) {
  const std::string marks = "-_:.";
  for (int byte = 0; byte < 256; ++byte) {
    const char c = static_cast<char>(byte);
    const bool isAllowed = (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') ||
                           (c >= 'A' && c <= 'Z') || marks.find(c) != marks.npos;
    for (const std::string& name : {std::string(1, c), "a"s + c, c + "a"s, "a"s + c + "a"s})
      EXPECT_EQ(isCharsetName(name), isAllowed) << testing::PrintToString(name);
  }
  EXPECT_FALSE(isCharsetName(""));
}

TEST(Charsets, ABuiltInCharsetIsDecoded) {
  const struct {
    std::string name, bytes;
    String text;
  } rows[] = {
      {"utf-8", "\xE6\x97\xA5\xF0\x9F\x92\xA9", "\u65E5\U0001F4A9"},
      {"utf-8", "a\xFF", std::nullopt},
      {"us-ascii", "a\x7F", "a\x7F"},
      {"us-ascii", "a\x80", std::nullopt},
      {"iso-8859-1", "\xE9\x80", "\u00E9\u0080"},
      {"macintosh", "\x8E\xDB", "\u00E9\u20AC"},
      {"x-mac-roman", "\x80\xFF", "\u00C4\u02C7"},
      {"utf-16", "\xFE\xFF\0A"s, "A"},
      {"utf-16",
       "\xFF\xFE"
       "A\0"s,
       "A"},
      {"utf-16", "\0A"s, "A"},
      {"utf-16", "\0A\0"s, std::nullopt},
      {"utf-16be", "\0A"s, "A"},
      {"utf-16le", "A\0"s, "A"},
      {"utf-16le",
       "\0\xD8"
       "A\0"s,
       std::nullopt},
  };
  for (const auto& row : rows)
    EXPECT_EQ(decode(row.bytes, row.name), row.text)
        << row.name << " " << testing::PrintToString(row.bytes);
}

// What the C library decodes.
const struct {
  std::string name, bytes;
  std::string text;
} kByTheLibrary[] = {
    {"windows-1252", "\x80\x93na\xEFve\x94", "\u20AC\u201Cna\u00EFve\u201D"},
    {"windows-1251", "\xC6", "\u0416"},
    {"iso-8859-2", "\xB1", "\u0105"},
    {"iso-8859-15", "\xA4\xE9", "\u20AC\u00E9"},
    {"koi8-r", "\xF0\xD2\xC9\xD7\xC5\xD4", "\u041F\u0440\u0438\u0432\u0435\u0442"},
    {"shift_jis", "\x93\xFA\x96{", "\u65E5\u672C"},
    {"euc-jp", "\xC6\xFC\xCB\xDC", "\u65E5\u672C"},
    {"euc-kr", "\xC7\xD1\xB1\xDB", "\uD55C\uAE00"},
    {"big5", "\xA4\xE9\xA5\xBB", "\u65E5\u672C"},
    {"gb18030", "\xC8\xD5\x94\x39\xDA\x33", "\u65E5\U0001F4A9"},
    {"iso-2022-jp", "\x1B$BF|K\\\x1B(B", "\u65E5\u672C"},
    {"utf-7", "+ZeU-1",
     "\u65E5"
     "1"},
    {"utf-32be", "\0\0\0a\0\1\xF4\xA9"s, "a\U0001F4A9"},
    {"utf-32le", "a\0\0\0\xA9\xF4\1\0"s, "a\U0001F4A9"},
    // What comes out for the last bytes only when the converter is told that they are the last.
    {"big5-hkscs", "\x88\x66x\x88\x62", "\u00CAx\u00CA\u0304"},
    {"tscii", "\xAB\xA6", "\u0B85\u0BC6"},
    {"tscii", "\xAB\x8A", "\u0B85\u0BB8\u0BCD"},
};

TEST(Charsets, EveryOtherCharsetIsDecodedByTheCLibraryInAnyCase) {
  for (const auto& row : kByTheLibrary) {
    for (const std::string& name : {row.name, upper(row.name), mixed(row.name)}) {
      EXPECT_NE(encodingOf(name), kNoTextEncoding) << name;
      EXPECT_EQ(decode(row.bytes, name), row.text) << name;
      EXPECT_EQ(decode("", name), "") << name;
    }
  }
}

TEST(Charsets, UTF32HasAMarkThatIsNoText) {
  EXPECT_EQ(decode("\xFF\xFE\0\0a\0\0\0"s, "utf-32"), "a");
  EXPECT_EQ(decode("\0\0\xFE\xFF\0\0\0a"s, "utf-32"), "a");
}

TEST(Charsets, AByteThatDoesNotFitMakesTheTextAbsent) {
  const struct {
    std::string name, bytes;
  } rows[] = {
      {"windows-1252", "\x81"},
      {"windows-1252", "caf\xE9\x81 and more"},
      {"windows-1251", "\x98"},
      {"shift_jis", "\x93"},  // cut off
      {"shift_jis", "\x93\xFA\x96"},
      {"shift_jis",
       "\xFF"
       "a"},
      {"shift_jis", "a\x93\x20z"},
      {"euc-jp", "\xC6"},
      {"euc-jp", "a\xC6\xFC\xFF z"},
      {"euc-kr", "\xC7\x20"},
      {"big5", "\xA4"},
      {"big5-hkscs", "\x88"},
      {"big5-hkscs", "\x88\x66\xFF"},
      {"gb18030", "\x94\x39\xDA"},
      {"gb18030", "a\xFFz"},
      {"iso-2022-jp", "\x1B$BF|K\x1B(B"},
      {"iso-2022-jp", "\x1B$BF|K"},
      {"iso-2022-jp", "a\x80z"},
      {"iso-2022-jp", "a\x1B$"},
      {"utf-7", "a\x80z"},
      {"utf-32be", "\0\0\0a\0\0\0"s},
      {"utf-32be", "\0\0\xD8\0"s},
      {"utf-32le", "\0\0\x11\0a\0\0\0"s},
      // Numbers that are no characters, which the C library's converter to UTF-8 lets pass.
      {"ucs-4", "\0\x11\0\0"s},
      {"ucs-4", "\0\0\0a\0\x11\0\0"s},
      {"ucs-4", "\0\x20\0\0"s},
      {"ucs-4", "\x7F\xFF\xFF\xFF"},
      {"ucs-4", "\0\0\xD8\0"s},
  };
  for (const auto& row : rows)
    EXPECT_EQ(decode(row.bytes, row.name), std::nullopt)
        << row.name << " " << testing::PrintToString(row.bytes);
}

TEST(Charsets, AnUnknownNameHasAnIdentifierInWhichNothingIsDecoded) {
  const String rows[] = {
      "x-unknown",
      "quintora-8",
      "utf-9",
      "none",
      // No names at all, among them the options of a converter.
      "",
      " ",
      "//",
      "//TRANSLIT",
      "//IGNORE",
      "utf-8//IGNORE",
      "utf-8//TRANSLIT",
      "UTF-8/",
      "koi8-r//TRANSLIT",
      "koi8-r/",
      "/koi8-r",
      "koi8-r,",
      "utf-8,TRANSLIT",
      "koi8-r ",
      " koi8-r",
      "koi8 r",
      "\tutf-8",
      "utf-8\r\n",
      "utf\u20118",
      "\u00FCtf-8",
      "koi8-r\u00E9",
      "koi8-r" + textOfUnits(u"\xD800"),
      "\uFF55tf-8",
      "\"koi8-r\"",
      "koi8-r;",
      std::string("koi8-r\0", 7),
      std::string("utf-8\0", 6),
  };
  for (const String& name : rows) {
    const TextEncoding encoding = textEncodingFromIANACharSetName(name);
    EXPECT_NE(encoding, kNoTextEncoding) << testing::PrintToString(name);
    for (const std::string bytes : {"", "a", "hello, world"})
      EXPECT_EQ(decodeData(bytes, encoding), std::nullopt) << testing::PrintToString(name);
  }
}

TEST(Charsets, NothingIsDecodedInNoEncodingAtAll) {
  for (const TextEncoding encoding : {kNoTextEncoding, TextEncoding{0xFFFFFFFF}, ~TextEncoding{0}})
    EXPECT_EQ(decodeData("a", encoding), std::nullopt) << encoding;
}

TEST(Charsets, NothingIsDecodedInTheIdentifierAfterTheLast) {
  const TextEncoding last = textEncodingFromIANACharSetName("x-asked-for-last");
  EXPECT_EQ(decodeData("text", last + 1), std::nullopt);
}

TEST(Charsets, ANameKeepsItsIdentifierWhateverIsAskedForBetween) {
  std::vector<TextEncoding> identifiers;
  for (const auto& row : kByTheLibrary)
    identifiers.push_back(encodingOf(row.name));
  for (size_t index = 0; index < identifiers.size(); ++index) {
    EXPECT_EQ(encodingOf(kByTheLibrary[index].name), identifiers[index]);
    EXPECT_EQ(decodeData(kByTheLibrary[index].bytes, identifiers[index]),
              kByTheLibrary[index].text);
    for (size_t other = 0; other < identifiers.size(); ++other)
      EXPECT_EQ(identifiers[other] == identifiers[index],
                kByTheLibrary[other].name == kByTheLibrary[index].name)
          << kByTheLibrary[other].name << ", " << kByTheLibrary[index].name;
  }
}

// Longer than any buffer on the way, and shifted against it by one byte and more.
TEST(Charsets, LargeTextsAreDecodedWhole) {
  constexpr size_t kSize = 64 * 1024;  // several times what is converted at once
  const struct {
    std::string name, bytes;
    std::string text;
    std::string wrong;  // does not fit behind the rest
  } rows[] = {
      {"koi8-r", "\xF0", "\u041F", ""},
      {"windows-1252", "\x80", "\u20AC", "\x81"},
      {"shift_jis", "\x93\xFA", "\u65E5", "\x93"},
      {"gb18030", "\x94\x39\xDA\x33", "\U0001F4A9", "\x94\x39\xDA"},
      {"iso-2022-jp", "\x1B$BF|\x1B(B", "\u65E5", "\x80"},
      {"big5-hkscs", "\x88\x62", "\u00CA\u0304", "\xFF"},
      {"big5-hkscs", "\x88\x66", "\u00CA", "\x88"},
  };
  for (const auto& row : rows) {
    for (const std::string& before : {""s, "a"s, "ab"s, "abc"s}) {
      SCOPED_TRACE(row.name + " behind \"" + before + "\"");
      std::string bytes = before;
      std::string text = before;
      while (bytes.size() < kSize) {
        bytes += row.bytes;
        text += row.text;
      }
      const String decoded = decode(bytes, row.name);
      ASSERT_TRUE(decoded.has_value());
      EXPECT_EQ(decoded->size(), text.size());
      EXPECT_TRUE(*decoded == text);
      if (!row.wrong.empty()) {
        EXPECT_FALSE(decode(bytes + row.wrong, row.name).has_value());
      }
    }
  }
}

}  // namespace

}  // namespace quintora
