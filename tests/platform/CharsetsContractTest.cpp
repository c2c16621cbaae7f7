// What the text encodings promise on every system.
#include <gmock/gmock.h>

#include "platform/Charsets.h"

namespace quintora {

namespace {

struct Row {
  const char* charset;
  std::string bytes;
  String text;
};

TEST(CharsetsContract, TextIsDecodedStrictlyByTheNameOfItsCharset) {
  const Row rows[] = {
      // Built in, so the same to the last byte on every system.
      {"utf-8", "caf\xC3\xA9", "caf\u00E9"},
      {"UTF-8", "caf\xE9", std::nullopt},
      {"us-ascii", "cafe", "cafe"},
      {"US-ASCII", "caf\xE9", std::nullopt},
      {"iso-8859-1", "caf\xE9", "caf\u00E9"},
      {"macintosh", "caf\x8E", "caf\u00E9"},
      {"X-Mac-Roman", "\xDB", "\u20AC"},
      {"utf-16", "\xFF\xFE\x41\x01", "\u0141"},
      {"utf-16", "\x01\x41", "\u0141"},
      {"utf-16le", "\x41\x01", "\u0141"},
      {"utf-16be", "\x01\x41", "\u0141"},
      {"utf-16be", "\xD8\x01", std::nullopt},
      // The system's.
      {"windows-1252", "\x80 caf\xE9", "\u20AC caf\u00E9"},
      {"Windows-1252", "", ""},
      {"koi8-r", "\xC1\xC2", "\u0430\u0431"},
      {"KOI8-R", "\xC1\xC2", "\u0430\u0431"},
      {"shift_jis", "\x82\xA0z", "\u3042z"},
      {"shift_jis", "z\x82", std::nullopt},
      {"shift_jis", "\x82\xFF", std::nullopt},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(::testing::PrintToString(row.charset) + " " + row.bytes);
    EXPECT_EQ(decodeData(row.bytes, textEncodingFromIANACharSetName(row.charset)), row.text);
  }
}

TEST(CharsetsContract, AnUnknownNameHasAnIdentifierThatIsNot0AndDecodesNothing) {
  const String names[] = {
      "",
      "no-such-charset",
      "utf-8//IGNORE",
      "windows-1252//TRANSLIT",
      "/",
      "utf 8",
      "utf-8,",
      "utf-8\u00E9",
      "utf{-8",
      "(koi8-r)",
      "koi8-r+",
      "koi8-r'",
      std::string(1, '\0'),
      "koi8-r ",
      std::string("koi8-r\0", 7),
  };
  for (const String& name : names) {
    SCOPED_TRACE(::testing::PrintToString(name));
    const TextEncoding encoding = textEncodingFromIANACharSetName(name);
    EXPECT_NE(encoding, kNoTextEncoding);
    EXPECT_EQ(decodeData("text", encoding), std::nullopt);
  }
}

TEST(CharsetsContract, NoEncodingDecodesNothing) {
  EXPECT_EQ(decodeData("text", kNoTextEncoding), std::nullopt);
}

}  // namespace

}  // namespace quintora
