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

template <typename Rows>
void expectTexts(const Rows& rows) {
  for (const Row& row : rows) {
    SCOPED_TRACE(::testing::PrintToString(row.charset) + " " + ::testing::PrintToString(row.bytes));
    EXPECT_EQ(decodeData(row.bytes, textEncodingFromIANACharSetName(row.charset)), row.text);
  }
}

void expectTexts(std::initializer_list<Row> rows) { expectTexts<std::initializer_list<Row>>(rows); }

TEST(CharsetsContract, TextIsDecodedStrictlyByTheNameOfItsCharset) {
  const Row rows[] = {
      // Built in, so the same to the last byte on every system.
      {u"utf-8", "caf\xC3\xA9", u"caf\u00E9"},
      {u"UTF-8", "caf\xE9", std::nullopt},
      {u"iso-8859-1", "caf\xE9", u"caf\u00E9"},
      {u"macintosh", "caf\x8E", u"caf\u00E9"},
      {u"X-Mac-Roman", "\xDB", u"\u20AC"},
      {u"utf-16", "\xFF\xFE\x41\x01", u"\u0141"},
      {u"utf-16", "\x01\x41", u"\u0141"},
      {u"utf-16le", "\x41\x01", u"\u0141"},
      {u"utf-16be", "\x01\x41", u"\u0141"},
      {u"utf-16be", "\xD8\x01", std::nullopt},
      {u"windows-1252", "\x80 caf\xE9", u"\u20AC caf\u00E9"},
      {u"Windows-1252", "", u""},
      {u"iso-8859-2", "\xB1\x80", u"\u0105\u0080"},
      {u"iso-8859-3", "\xA5", std::nullopt},
      {u"iso-8859-15", "\xA4\xE9", u"\u20AC\u00E9"},
      {u"koi8-r", "\xC1\xC2", u"\u0430\u0431"},
      {u"KOI8-R", "\xF0\xD2\xC9\xD7\xC5\xD4", u"\u041F\u0440\u0438\u0432\u0435\u0442"},
      {u"x-mac-cyrillic", "\xFF", u"\u20AC"},
      // The system's.
      {u"ibm437", "\x9B", u"\u00A2"},
  };
  expectTexts(rows);
}

TEST(CharsetsContract, AReplysByteOrderMarkIsNoPartOfItsText) {
  expectTexts({
      {u"utf-8",
       "\xEF\xBB\xBF"
       "Content-type: text/html",
       u"Content-type: text/html"},
      {u"utf-8", "\xEF\xBB\xBF", u""},
      {u"utf-8",
       "\xEF\xBB\xBF\xEF\xBB\xBF"
       "a",
       u"\uFEFFa"},
      {u"utf-8",
       "a\xEF\xBB\xBF"
       "b",
       u"a\uFEFFb"},
      {u"utf-8", "\xEF\xBB", std::nullopt},
      {u"iso-8859-1", "\xEF\xBB\xBF", u"\u00EF\u00BB\u00BF"},
  });
}

TEST(CharsetsContract, ASCIIGoesOnAsISO88591) {
  expectTexts({
      {u"us-ascii", "cafe\x7F", u"cafe\u007F"},
      {u"US-ASCII", "caf\xE9\x80\xFF", u"caf\u00E9\u0080\u00FF"},
      {u"ascii", "\xA0", u"\u00A0"},
  });
}

TEST(CharsetsContract, AByteOfAWindowsCharsetWithoutACharacterIsTheOneWithItsNumber) {
  expectTexts({
      {u"windows-1250", "\x81", u"\u0081"},
      {u"windows-1251", "\x98", u"\u0098"},
      {u"windows-1252", "caf\xE9\x81\x8D\x8F\x90\x9D", u"caf\u00E9\u0081\u008D\u008F\u0090\u009D"},
      {u"windows-1253", "\xAA\xD2\xFF", u"\u00AA\u00D2\u00FF"},
      {u"windows-1255", "\xD9\xCA", u"\u00D9\u05BA"},
      {u"windows-1257", "\xA1\xA5", u"\u00A1\u00A5"},
      {u"windows-874", "\x81\xDB\xFF", u"\u0081\u00DB\u00FF"},
      {u"iso-8859-7", "\xFF", std::nullopt},  // of Windows only
  });
}

TEST(CharsetsContract, JapaneseCharsetsHaveMicrosoftsCharacters) {
  expectTexts({
      {u"shift_jis", "\x82\xA0z", u"\u3042z"},
      {u"Shift_JIS", "\\~\x87\x40\xED\x40\xFA\x40", u"\\~\u2460\u7E8A\u2170"},
      {u"x-sjis", "\x81\x60\x81\x7C\x81\x7E", u"\uFF5E\uFF0D\u00D7"},
      {u"sjis", "\xB1\xDF\x80", u"\uFF71\uFF9F\u0080"},
      {u"sjis", "\xF0\x40\xF9\xFC", u"\uE000\uE757"},
      {u"euc-jp", "\xC6\xFC\xCB\xDC", u"\u65E5\u672C"},
      {u"euc-jp", "\xAD\xA1\xA1\xC1\xF9\xA1", u"\u2460\uFF5E\u7E8A"},
      {u"euc-jp", "\x8E\xB1\x8F\xB0\xA1\x8D", u"\uFF71\u4E02\u008D"},
      {u"iso-2022-jp", "\x1B$BF|K\\\x1B(B a", u"\u65E5\u672C a"},
      {u"iso-2022-jp", "\x1B$@F|\x1B(J\\~\x1B(I1", u"\u65E5\u00A5\u203E\uFF71"},
      {u"iso-2022-jp", "\x1B$BF|\na", u"\u65E5\na"},  // a line begins anew
      {u"iso-2022-jp", "\x1B(I1\ra", u"\uFF71\ra"},
      {u"iso-2022-jp", "\x1B(J\n\\", u"\n\u00A5"},  // but not with another backslash
      {u"iso-2022-jp", "\x1B(B\x1B$B\x1B(Ba", u"a"},
  });
}

TEST(CharsetsContract, ChineseAndKoreanCharsetsHaveTheirExtensions) {
  expectTexts({
      {u"euc-kr", "\xC7\xD1\xB1\xDB\x81", u"\uD55C\uAE00\u0081"},
      {u"ks_c_5601-1987", "\xC7\xD1\x81\x41\xC6\x52\xA1\xA1", u"\uD55C\uAC02\uD7A3\u3000"},
      {u"windows-949", "\xA0\xFE\xA1\x41", u"\uC8A4\uC8A5"},
      {u"gb2312", "\xC8\xD5\x80\x81\x40", u"\u65E5\u20AC\u4E02"},
      {u"gbk", "\xA1\xA4\xA1\xAA", u"\u00B7\u2014"},
      {u"gb_2312-80", "\xA1\xA4\xA1\xAA\xB0\xA1", u"\u30FB\u2015\u554A"},
      {u"gb18030", "\x81\x30\x81\x30\x84\x31\xA4\x39", u"\u0080\uFFFF"},
      {u"gb18030", "\x84\x31\xA4\x37\x90\x30\x81\x30", u"\uFFFD\U00010000"},
      {u"gb18030", "\xE3\x32\x9A\x35", u"\U0010FFFF"},
      {u"big5", "\xA4\xE9\xA5\xBB", u"\u65E5\u672C"},
      {u"big5-hkscs", "\x87\x40\x88\x62\x88\xA5", u"\u43F0\u00CA\u0304\u00EA\u030C"},
      {u"big5", "\xFE\xFE\x87\x45", u"\u79D4\U00027267"},
  });
}

TEST(CharsetsContract, ASequenceThatIsNotWholeOrStandsForNothingMakesTheTextAbsent) {
  const Row rows[] = {
      {u"shift_jis", "z\x82", {}},
      {u"shift_jis", "\x82\xFFz", {}},
      {u"shift_jis", "\x93\x20z", {}},
      {u"shift_jis", "\xA0", {}},
      {u"shift_jis", "\xFDz", {}},
      {u"shift_jis", "\x85\x40", {}},
      {u"euc-jp", "\xC6", {}},
      {u"euc-jp", "a\xC6\xFC\xFF z", {}},
      {u"euc-jp", "\x8E\xE0", {}},
      {u"euc-jp", "\x8F\xB0", {}},
      {u"euc-jp", "\x8F\xA1\xA1", {}},
      {u"euc-jp", "\x8F\xB0\x40", {}},
      {u"euc-jp", "\xA0", {}},
      {u"euc-jp", "\xC6 z", {}},
      {u"iso-2022-jp", "\x1B$BF|K\x1B(B", {}},
      {u"iso-2022-jp", "\x1B$BF|K", {}},
      {u"iso-2022-jp", "a\x80z", {}},
      {u"iso-2022-jp", "a\x1B$", {}},
      {u"iso-2022-jp", "\x1B(Z", {}},
      {u"iso-2022-jp", "\x0E", {}},
      {u"iso-2022-jp", "\x1B$BF\xFC", {}},
      {u"iso-2022-jp", "\x1B(I`", {}},
      {u"euc-kr", "\xC7\x20", {}},
      {u"euc-kr", "\xC7", {}},
      {u"euc-kr", "\xA0", {}},
      {u"windows-949", "\x80", {}},
      {u"windows-949", "\x81\x5B", {}},
      {u"windows-949", "\xC6\x53", {}},
      {u"windows-949", "\xC9\xA1", {}},
      {u"windows-949", "\xFF\x41", {}},
      {u"gbk", "\x81", {}},
      {u"gbk", "\x81\x7F", {}},
      {u"gb18030", "\x94\x39\xDA", {}},
      {u"gb18030", "a\xFFz", {}},
      {u"gb18030", "\x84\x31\xA5\x30", {}},
      {u"gb18030", "\xE3\x32\x9A\x36", {}},
      {u"gb18030", "\x81\x30\x81", {}},
      {u"gb18030", "\x81\x30\x80\x30", {}},
      {u"big5", "\xA4", {}},
      {u"big5", "\xA4\x7F", {}},
      {u"big5", "\x86\x40", {}},
      {u"big5-hkscs", "\x88\x66\xFF", {}},
      {u"big5", "\x87\x66", {}},
      {u"big5", "\xFFz", {}},
  };
  expectTexts(rows);
}

TEST(CharsetsContract, AByteThatDoesNotFitIsFoundWhereItStands) {
  const struct {
    const char16_t* charset;
    std::string fits, doesNot;
  } rows[] = {
      {u"utf-8", "caf\xC3\xA9 ", "\xE9 and more"},
      {u"utf-8", "\xEF\xBB\xBF", "\xFF"},
      {u"utf-8", "", "\xEF\xBB"},
      {u"utf-8", "\xF0\x9F\x98\x80", "\xF0\x9F\x98"},
      {u"utf-16",
       "\xFF\xFE"
       "a" +
           std::string(1, '\0'),
       "\x01\xD8"
       "b" +
           std::string(1, '\0')},
      {u"utf-16be", std::string(1, '\0') + "a", std::string(1, '\0')},
      {u"iso-8859-3", "\xA1", "\xA5\xA1"},
      {u"shift_jis", "\x93\xFA", "\x93\x20 \x93\xFA"},
      {u"iso-2022-jp", "\x1B$BF|", "F"},
      {u"iso-2022-jp", "a\x1B$BF|\x1B(B", "\x1B(Q"},
      {u"gb18030", "\x94\x39\xDA\x33", "\x94\x39\xDA"},
      {u"big5", "\x88\x62\x88\x62", "\x88"},
      {u"no-such-charset", "", "a"},
  };
  for (const auto& row : rows) {
    const TextEncoding encoding = textEncodingFromIANACharSetName(row.charset);
    for (const size_t times : {1u, 2u, 1000u}) {
      std::string bytes;
      for (size_t time = 0; time < times; ++time)
        bytes += row.fits;
      SCOPED_TRACE(::testing::PrintToString(row.charset) + ::testing::PrintToString(row.doesNot));
      EXPECT_EQ(fittingBytes(bytes, encoding), bytes.size());
      EXPECT_EQ(fittingBytes(bytes + row.doesNot, encoding), bytes.size());
    }
  }
  EXPECT_EQ(fittingBytes("", textEncodingFromIANACharSetName(u"utf-8")), 0u);
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
    EXPECT_EQ(decodeData("", encoding), std::nullopt);  // which tells it from a known one
  }
}

TEST(CharsetsContract, NoEncodingDecodesNothing) {
  EXPECT_EQ(decodeData("text", kNoTextEncoding), std::nullopt);
}

}  // namespace

}  // namespace quintora
