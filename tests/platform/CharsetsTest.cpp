// Charset names, decoding by tables, and by the charsets that only the C library knows.
#include <gmock/gmock.h>

#include <algorithm>
#include <cctype>
#include <iterator>
#include <sstream>

#include "extras/UTF16.h"
#include "platform/Charsets.h"
#include "platform/charsets/BuiltInCharsets.h"
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

// The labels of the WHATWG Encoding Standard, by the numbers of macOS for what they mean there.
const struct {
  TextEncoding encoding;
  std::string labels;
} kLabels[] = {
    // clang-format off
    {4, "unicode-1-1-utf-8 unicode11utf8 unicode20utf8 utf-8 utf8 x-unicode20utf8"},
    {0x8000041B, "866 cp866 csibm866 ibm866"},
    {9, "csisolatin2 iso-8859-2 iso-ir-101 iso8859-2 iso88592 iso_8859-2 iso_8859-2:1987 l2 latin2"},
    {0x80000203, "csisolatin3 iso-8859-3 iso-ir-109 iso8859-3 iso88593 iso_8859-3 iso_8859-3:1988 "
                 "l3 latin3"},
    {0x80000204, "csisolatin4 iso-8859-4 iso-ir-110 iso8859-4 iso88594 iso_8859-4 iso_8859-4:1988 "
                 "l4 latin4"},
    {0x80000205, "csisolatincyrillic cyrillic iso-8859-5 iso-ir-144 iso8859-5 iso88595 iso_8859-5 "
                 "iso_8859-5:1988"},
    {0x80000206, "arabic asmo-708 csiso88596e csiso88596i csisolatinarabic ecma-114 iso-8859-6 "
                 "iso-8859-6-e iso-8859-6-i iso-ir-127 iso8859-6 iso88596 iso_8859-6 "
                 "iso_8859-6:1987"},
    {0x80000207, "csisolatingreek ecma-118 elot_928 greek greek8 iso-8859-7 iso-ir-126 iso8859-7 "
                 "iso88597 iso_8859-7 iso_8859-7:1987 sun_eu_greek"},
    {0x80000208, "csiso88598e csisolatinhebrew hebrew iso-8859-8 iso-8859-8-e iso-ir-138 iso8859-8 "
                 "iso88598 iso_8859-8 iso_8859-8:1988 visual csiso88598i iso-8859-8-i logical"},
    {0x8000020A, "csisolatin6 iso-8859-10 iso-ir-157 iso8859-10 iso885910 l6 latin6"},
    {0x8000020D, "iso-8859-13 iso8859-13 iso885913"},
    {0x8000020E, "iso-8859-14 iso8859-14 iso885914"},
    {0x8000020F, "csisolatin9 iso-8859-15 iso8859-15 iso885915 iso_8859-15 l9"},
    {0x80000210, "iso-8859-16"},
    {0x80000A02, "cskoi8r koi koi8 koi8-r koi8_r"},
    {0x80000A08, "koi8-ru koi8-u"},
    {30, "csmacintosh mac macintosh x-mac-roman"},
    {0x8000020B, "iso-8859-11 iso8859-11 iso885911"},
    {0x8000041D, "dos-874 tis-620 windows-874"},
    {15, "cp1250 windows-1250 x-cp1250"},
    {11, "cp1251 windows-1251 x-cp1251"},
    {5, "ansi_x3.4-1968 ascii cp819 csisolatin1 ibm819 iso-8859-1 iso-ir-100 iso8859-1 iso88591 "
        "iso_8859-1 iso_8859-1:1987 l1 latin1 us-ascii"},
    {12, "cp1252 windows-1252 x-cp1252"},
    {13, "cp1253 windows-1253 x-cp1253"},
    {0x80000209, "csisolatin5 iso-8859-9 iso-ir-148 iso8859-9 iso88599 iso_8859-9 iso_8859-9:1989 "
                 "l5 latin5"},
    {14, "cp1254 windows-1254 x-cp1254"},
    {0x80000505, "cp1255 windows-1255 x-cp1255"},
    {0x80000506, "cp1256 windows-1256 x-cp1256"},
    {0x80000507, "cp1257 windows-1257 x-cp1257"},
    {0x80000508, "cp1258 windows-1258 x-cp1258"},
    {0x80000007, "x-mac-cyrillic x-mac-ukrainian"},
    {0x80000632, "csgb2312 gb2312 gb_2312 gbk x-gbk gb18030"},
    {0x80000630, "chinese csiso58gb231280 gb_2312-80 iso-ir-58"},
    {0x80000A06, "big5 big5-hkscs cn-big5 csbig5 x-x-big5"},
    {3, "cseucpkdfmtjapanese euc-jp x-euc-jp"},
    {21, "csiso2022jp iso-2022-jp"},
    {8, "csshiftjis ms932 ms_kanji shift-jis shift_jis sjis windows-31j x-sjis"},
    {0x80000940, "cseuckr euc-kr"},
    {0x80000422, "csksc56011987 iso-ir-149 korean ks_c_5601-1987 ks_c_5601-1989 ksc5601 ksc_5601 "
                 "windows-949"},
    {0x80000840, "csiso2022kr iso-2022-kr"},
    {0x80000A05, "hz-gb-2312"},
    {0x90000100, "utf-16be"},
    {0x94000100, "utf-16le"},
    {10, "csunicode iso-10646-ucs-2 ucs-2 unicode unicodefeff unicodefffe utf-16"},
    // Other names that IANA has for these.
    {4, "csutf8"},
    {5, "iso-ir-6 ansi_x3.4-1986 iso_646.irv:1991 iso646-us us ibm367 cp367 csascii"},
    {10, "csutf16"},
    {0x90000100, "csutf16be"},
    {0x94000100, "csutf16le"},
    {12, "cswindows1252"},
    {0x80000632, "csgb18030 cp936 ms936 windows-936 csgbk"},
    // clang-format on
};

std::vector<std::string> words(const std::string& text) {
  std::istringstream stream(text);
  return {std::istream_iterator<std::string>(stream), {}};
}

TEST(Charsets, TheBuiltInNamesAreKnownInAnyCase) {
  for (const auto& row : kLabels) {
    for (const std::string& label : words(row.labels)) {
      for (const std::string& name : {label, upper(label), mixed(label)}) {
        EXPECT_EQ(builtInTextEncoding(name), row.encoding) << name;
        EXPECT_EQ(encodingOf(name), row.encoding) << name;
        EXPECT_EQ(decode("z", name), row.encoding >> 28 == 9 || row.encoding == 10 ? String() : "z")
            << name;
      }
    }
  }
}

TEST(Charsets, AnyBytesOfTheReplacementAreOneCharacter) {
  for (const std::string label : {"replacement", "iso-2022-cn", "iso-2022-cn-ext"}) {
    for (const std::string& name : {label, upper(label), mixed(label)}) {
      EXPECT_EQ(builtInTextEncoding(name), 0x80000830) << name;
      EXPECT_EQ(encodingOf(name), 0x80000830) << name;
      EXPECT_EQ(decode("", name), "") << name;
      for (const std::string& bytes :
           {"z"s, "\0"s, "\n"s, "\xFF"s, "<b>\x1B$)A\x0EHU\x0F"s, std::string(64 * 1024, '\xE6')})
        EXPECT_EQ(decode(bytes, name), "\uFFFD") << name << " " << bytes.size();
    }
  }
}

TEST(Charsets, NoOtherNameIsBuiltIn) {
  for (const char* const name : {"", "utf", "utf-", "utf-88", "utf-7", "utf-32", "iso-8859-12",
                                 "iso-8859", "windows-125", "windows-12522", "x-user-defined",
                                 "iso-2022-c", " ", "utf-8 ", " utf-8", "utf-8 utf8", "x-unknown"})
    EXPECT_EQ(builtInTextEncoding(name), kNoTextEncoding) << name;
}

TEST(Charsets, MarksInANameDoNotCount) {
  const struct {
    std::string name, known;
  } rows[] = {{"windows1252", "windows-1252"}, {"latin-1", "latin1"},
              {"tis620", "tis-620"},           {"utf_8", "utf-8"},
              {"UTF16LE", "utf-16le"},         {"iso8859_15", "iso-8859-15"},
              {"shiftjis", "shift_jis"},       {"eucjp", "euc-jp"},
              {"iso_8859.2", "iso-8859-2"},    {"EUC_KR", "euc-kr"},
              {"iso-2022jp", "iso-2022-jp"},   {"koi8r", "koi8-r"},
              {"gb-2312", "gb2312"},           {"x_mac_roman", "x-mac-roman"}};
  for (const auto& row : rows) {
    EXPECT_NE(builtInTextEncoding(row.name), kNoTextEncoding) << row.name;
    EXPECT_EQ(builtInTextEncoding(row.name), builtInTextEncoding(row.known)) << row.name;
  }
  for (const char* const name :
       {"-", "__", "utf-8-9", "u-t-f", "8", "iso-8859-1-1-1", "windows-12-5"})
    EXPECT_EQ(builtInTextEncoding(name), kNoTextEncoding) << name;
}

TEST(Charsets, NamesOfMicrosoftsCodePagesAreBuiltIn) {
  EXPECT_EQ(builtInTextEncoding("cp874"), kWindowsThaiTextEncoding);
  EXPECT_EQ(builtInTextEncoding("cp932"), kShiftJISTextEncoding);
  EXPECT_EQ(builtInTextEncoding("cp949"), kWindowsKoreanTextEncoding);
  EXPECT_EQ(builtInTextEncoding("cp950"), kBig5TextEncoding);
}

TEST(Charsets, ACharsetNameHasAtMostAHundredCharacters) {
  EXPECT_TRUE(isCharsetName(std::string(100, 'x')));
  EXPECT_FALSE(isCharsetName(std::string(101, 'x')));
  EXPECT_EQ(encodingOf("utf-8" + std::string(95, '-')), 4u);
  EXPECT_EQ(encodingOf("utf-8" + std::string(96, '-')), kUnknownTextEncoding);
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
      {"us-ascii", "a\x80\xE9", "a\u0080\u00E9"},
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
    {"ibm437", "\x9B", "\u00A2"},
    {"ibm850", "\xD5", "\u0131"},
    {"ibm1047", "\x81\xAD", "a["},
    {"viscii", "\xD0", "\u0110"},
    {"iso-2022-jp-2", "\x1B$(CGQ\x1B(B", "\uD55C"},
    {"utf-7", "+ZeU-1",
     "\u65E5"
     "1"},
    {"utf-32be", "\0\0\0a\0\1\xF4\xA9"s, "a\U0001F4A9"},
    {"utf-32le", "a\0\0\0\xA9\xF4\1\0"s, "a\U0001F4A9"},
    {"ucs-4be", "\0\1\xF4\xA9"s, "\U0001F4A9"},
    {"ucs-4le", "\xA9\xF4\1\0"s, "\U0001F4A9"},
    // What comes out for the last bytes only when the converter is told that they are the last.
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

TEST(Charsets, TheCLibraryIsAskedByTheCharsetsOtherNames) {
  for (const std::string name : {"cp437", "IBM-437", "437", "csPC8CodePage437"})
    EXPECT_EQ(decode("\x9B", name), "\u00A2") << name;
  for (const std::string name : {"cp850", "ibm_850", "850", "csPC850Multilingual"})
    EXPECT_EQ(decode("\xD5", name), "\u0131") << name;
  for (const std::string name : {"ucs-4", "ISO-10646-UCS-4", "csUCS4", "UTF32BE"})
    EXPECT_EQ(decode("\0\0\0a"s, name), "a") << name;
}

TEST(Charsets, UTF32HasAMarkThatIsNoText) {
  EXPECT_EQ(decode("\xFF\xFE\0\0a\0\0\0"s, "utf-32"), "a");
  EXPECT_EQ(decode("\0\0\xFE\xFF\0\0\0a"s, "utf-32"), "a");
}

TEST(Charsets, AByteThatDoesNotFitTheLibrarysCharsetMakesTheTextAbsent) {
  const struct {
    std::string name, bytes;
  } rows[] = {
      {"utf-7", "a\x80z"},
      {"iso-2022-jp-2", "\x1B$(CG"},
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

TEST(Charsets, FourByteCodesWithoutACharacterAreNoText) {
  for (const char* const code : {"\x84\x31\xA5\x30", "\x85\x30\x81\x30", "\x8F\x39\xFE\x39",
                                 "\xE3\x32\x9A\x36", "\xFE\x39\xFE\x39"})
    EXPECT_EQ(decodedToUTF8(code, kGB18030TextEncoding), std::nullopt)
        << testing::PrintToString(code);
}

// How many of all the sequences of so many bytes, from one that is not ASCII on, are one character.
size_t characters(const std::string& name, size_t length, const std::string& before = "") {
  const TextEncoding encoding = encodingOf(name);
  size_t count = 0;
  for (unsigned lead = 0x80; lead < 0x100; ++lead) {
    for (unsigned trail = 0; trail < (length == 1 ? 1 : 0x100); ++trail) {
      const char bytes[] = {static_cast<char>(lead), static_cast<char>(trail)};
      const std::string sequence = before + std::string(bytes, length);
      // Behind a longer sequence of its own, so that it is no part of another one.
      const auto isText = [&](const std::string& text) {
        return decodeData(text, encoding).has_value();
      };
      count +=
          isText(sequence) && (length == 1 || !isText(sequence.substr(0, sequence.size() - 1)));
    }
  }
  return count;
}

TEST(Charsets, NoSequenceIsACharacterButThoseOfTheTables) {
  const struct {
    std::string name;
    size_t singles, pairs;
  } rows[] = {
      {"windows-874", 128, 0},
      {"windows-1252", 128, 0},
      {"windows-1253", 128, 0},
      {"windows-1255", 128, 0},
      {"iso-8859-2", 128, 0},
      {"iso-8859-3", 121, 0},
      {"iso-8859-6", 83, 0},
      {"iso-8859-7", 125, 0},
      {"iso-8859-8", 92, 0},
      {"iso-8859-11", 120, 0},
      {"koi8-u", 128, 0},
      {"x-mac-cyrillic", 128, 0},
      {"ibm866", 128, 0},
      // JIS X 0208, 83 of row 13, 374 of NEC's choice, 388 of IBM, and 1880 for private use.
      {"shift_jis", 64, 6879 + 83 + 374 + 388 + 1880},
      // Two bytes are, behind 8E, one of 63 halfwidth characters.
      {"euc-jp", 30, 6879 + 83 + 374 + 63},
      // KS X 1001 with the euro and registered signs.
      {"euc-kr", 32, 8226},
      {"windows-949", 0, 8226 + 8822},
      {"gbk", 1, 23940},
      {"gb18030", 1, 23940},
      {"big5", 0, 18594},
      {"iso-2022-jp", 0, 0},
      {"iso-2022-kr", 0, 0},
      {"hz-gb-2312", 0, 0},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(characters(row.name, 1), row.singles) << row.name;
    EXPECT_EQ(characters(row.name, 2), row.pairs) << row.name;
  }
  EXPECT_EQ(characters("euc-jp", 2, "\x8F"), 6067u);
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
      {"ibm437", "\x9B", "\u00A2", ""},
      {"koi8-r", "\xF0", "\u041F", ""},
      {"windows-1252", "\x80", "\u20AC", ""},
      {"iso-8859-3", "\xA1", "\u0126", "\xA5"},
      {"shift_jis", "\x93\xFA", "\u65E5", "\x93"},
      {"euc-jp", "\x8F\xB0\xA1", "\u4E02", "\x8F\xB0"},
      {"windows-949", "\x81\x41", "\uAC02", "\x81"},
      {"gb18030", "\x94\x39\xDA\x33", "\U0001F4A9", "\x94\x39\xDA"},
      {"iso-2022-jp", "\x1B$BF|\x1B(B", "\u65E5", "\x80"},
      {"iso-2022-kr", "\x0EGQGQ\x0F\x1B$)C", "\uD55C\uD55C", "\x0EG"},
      {"hz-gb-2312", "~{HUHU~}~~~\n", "\u65E5\u65E5~", "~"},
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
