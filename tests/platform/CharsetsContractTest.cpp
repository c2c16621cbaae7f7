// What the text encodings promise on every system.
#include <gmock/gmock.h>

#include "platform/Charsets.h"

namespace quintora {

namespace {

struct Row {
  const char16_t* charset;
  std::string bytes;
  String text;
};

TEST(CharsetsContract, TextIsDecodedStrictlyByTheNameOfItsCharset) {
  const Row rows[] = {
      // Built in, so the same to the last byte on every system.
      {u"utf-8", "caf\xC3\xA9", u"caf\u00E9"},
      {u"UTF-8", "caf\xE9", std::nullopt},
      {u"us-ascii", "cafe", u"cafe"},
      {u"US-ASCII", "caf\xE9", std::nullopt},
      {u"iso-8859-1", "caf\xE9", u"caf\u00E9"},
      {u"macintosh", "caf\x8E", u"caf\u00E9"},
      {u"X-Mac-Roman", "\xDB", u"\u20AC"},
      {u"utf-16", "\xFF\xFE\x41\x01", u"\u0141"},
      {u"utf-16", "\x01\x41", u"\u0141"},
      {u"utf-16le", "\x41\x01", u"\u0141"},
      {u"utf-16be", "\x01\x41", u"\u0141"},
      {u"utf-16be", "\xD8\x01", std::nullopt},
      // The system's.
      {u"windows-1252", "\x80 caf\xE9", u"\u20AC caf\u00E9"},
      {u"Windows-1252", "", u""},
      {u"koi8-r", "\xC1\xC2", u"\u0430\u0431"},
      {u"KOI8-R", "\xC1\xC2", u"\u0430\u0431"},
      {u"shift_jis", "\x82\xA0z", u"\u3042z"},
      {u"shift_jis", "z\x82", std::nullopt},
      {u"shift_jis", "\x82\xFF", std::nullopt},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(::testing::PrintToString(row.charset) + " " + row.bytes);
    EXPECT_EQ(decodeData(row.bytes, textEncodingFromIANACharSetName(row.charset)), row.text);
  }
}

TEST(CharsetsContract, AnUnknownNameHasAnIdentifierThatIsNot0AndDecodesNothing) {
  const String names[] = {
      u"",
      u"no-such-charset",
      u"utf-8//IGNORE",
      u"windows-1252//TRANSLIT",
      u"/",
      u"utf 8",
      u"utf-8,",
      u"utf-8\u00E9",
      u"utf{-8",
      u"(koi8-r)",
      u"koi8-r+",
      u"koi8-r'",
      std::u16string(1, u'\0'),
      u"koi8-r ",
      std::u16string(u"koi8-r\0", 7),
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
