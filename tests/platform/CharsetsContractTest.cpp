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
      {"utf-8", "caf\xC3\xA9", "caf\u00E9"},
      {"UTF-8", "caf\xE9", std::nullopt},
      {"iso-8859-1", "caf\xE9", "caf\u00E9"},
      {"macintosh", "caf\x8E", "caf\u00E9"},
      {"X-Mac-Roman", "\xDB", "\u20AC"},
      {"utf-16", "\xFF\xFE\x41\x01", "\u0141"},
      {"utf-16", "\x01\x41", "\u0141"},
      {"utf-16le", "\x41\x01", "\u0141"},
      {"utf-16be", "\x01\x41", "\u0141"},
      {"utf-16be", "\xD8\x01", std::nullopt},
      {"windows-1252", "\x80 caf\xE9", "\u20AC caf\u00E9"},
      {"Windows-1252", "", ""},
      {"iso-8859-2", "\xB1\x80", "\u0105\u0080"},
      {"iso-8859-3", "\xA5", std::nullopt},
      {"iso-8859-15", "\xA4\xE9", "\u20AC\u00E9"},
      {"koi8-r", "\xC1\xC2", "\u0430\u0431"},
      {"KOI8-R", "\xF0\xD2\xC9\xD7\xC5\xD4", "\u041F\u0440\u0438\u0432\u0435\u0442"},
      {"x-mac-cyrillic", "\xFF", "\u20AC"},
      // The system's.
      {"ibm437", "\x9B", "\u00A2"},
  };
  expectTexts(rows);
}

TEST(CharsetsContract, AReplysByteOrderMarkIsNoPartOfItsText) {
  expectTexts({
      {"utf-8",
       "\xEF\xBB\xBF"
       "Content-type: text/html",
       "Content-type: text/html"},
      {"utf-8", "\xEF\xBB\xBF", ""},
      {"utf-8",
       "\xEF\xBB\xBF\xEF\xBB\xBF"
       "a",
       "\uFEFFa"},
      {"utf-8",
       "a\xEF\xBB\xBF"
       "b",
       "a\uFEFFb"},
      {"utf-8", "\xEF\xBB", std::nullopt},
      {"iso-8859-1", "\xEF\xBB\xBF", "\u00EF\u00BB\u00BF"},
  });
}

TEST(CharsetsContract, ASCIIGoesOnAsISO88591) {
  expectTexts({
      {"us-ascii", "cafe\x7F", "cafe\u007F"},
      {"US-ASCII", "caf\xE9\x80\xFF", "caf\u00E9\u0080\u00FF"},
      {"ascii", "\xA0", "\u00A0"},
  });
}

TEST(CharsetsContract, AByteOfAWindowsCharsetWithoutACharacterIsTheOneWithItsNumber) {
  expectTexts({
      {"windows-1250", "\x81", "\u0081"},
      {"windows-1251", "\x98", "\u0098"},
      {"windows-1252", "caf\xE9\x81\x8D\x8F\x90\x9D", "caf\u00E9\u0081\u008D\u008F\u0090\u009D"},
      {"windows-1253", "\xAA\xD2\xFF", "\u00AA\u00D2\u00FF"},
      {"windows-1255", "\xD9\xCA", "\u00D9\u05BA"},
      {"windows-1257", "\xA1\xA5", "\u00A1\u00A5"},
      {"windows-874", "\x81\xDB\xFF", "\u0081\u00DB\u00FF"},
      {"iso-8859-7", "\xFF", std::nullopt},  // of Windows only
  });
}

TEST(CharsetsContract, JapaneseCharsetsHaveMicrosoftsCharacters) {
  expectTexts({
      {"shift_jis", "\x82\xA0z", "\u3042z"},
      {"Shift_JIS", "\\~\x87\x40\xED\x40\xFA\x40", "\\~\u2460\u7E8A\u2170"},
      {"x-sjis", "\x81\x60\x81\x7C\x81\x7E", "\uFF5E\uFF0D\u00D7"},
      {"sjis", "\xB1\xDF\x80", "\uFF71\uFF9F\u0080"},
      {"sjis", "\xF0\x40\xF9\xFC", "\uE000\uE757"},
      {"euc-jp", "\xC6\xFC\xCB\xDC", "\u65E5\u672C"},
      {"euc-jp", "\xAD\xA1\xA1\xC1\xF9\xA1", "\u2460\uFF5E\u7E8A"},
      {"euc-jp", "\x8E\xB1\x8F\xB0\xA1\x8D", "\uFF71\u4E02\u008D"},
      {"iso-2022-jp", "\x1B$BF|K\\\x1B(B a", "\u65E5\u672C a"},
      {"iso-2022-jp", "\x1B$@F|\x1B(J\\~\x1B(I1", "\u65E5\u00A5\u203E\uFF71"},
      {"iso-2022-jp", "\x1B$BF|\na", "\u65E5\na"},  // a line begins anew
      {"iso-2022-jp", "\x1B(I1\ra", "\uFF71\ra"},
      {"iso-2022-jp", "\x1B(J\n\\", "\n\u00A5"},  // but not with another backslash
      {"iso-2022-jp", "\x1B(B\x1B$B\x1B(Ba", "a"},
  });
}

TEST(CharsetsContract, ChineseAndKoreanCharsetsHaveTheirExtensions) {
  expectTexts({
      {"euc-kr", "\xC7\xD1\xB1\xDB\x81", "\uD55C\uAE00\u0081"},
      {"ks_c_5601-1987", "\xC7\xD1\x81\x41\xC6\x52\xA1\xA1", "\uD55C\uAC02\uD7A3\u3000"},
      {"windows-949", "\xA0\xFE\xA1\x41", "\uC8A4\uC8A5"},
      {"gb2312", "\xC8\xD5\x80\x81\x40", "\u65E5\u20AC\u4E02"},
      {"gbk", "\xA1\xA4\xA1\xAA", "\u00B7\u2014"},
      {"gb_2312-80", "\xA1\xA4\xA1\xAA\xB0\xA1", "\u30FB\u2015\u554A"},
      {"gb18030", "\x81\x30\x81\x30\x84\x31\xA4\x39", "\u0080\uFFFF"},
      {"gb18030", "\x84\x31\xA4\x37\x90\x30\x81\x30", "\uFFFD\U00010000"},
      {"gb18030", "\xE3\x32\x9A\x35", "\U0010FFFF"},
      {"big5", "\xA4\xE9\xA5\xBB", "\u65E5\u672C"},
      {"big5-hkscs", "\x87\x40\x88\x62\x88\xA5", "\u43F0\u00CA\u0304\u00EA\u030C"},
      {"big5", "\xFE\xFE\x87\x45", "\u79D4\U00027267"},
  });
}

TEST(CharsetsContract, HZAndISO2022KRSwitchBetweenASCIIAndPairs) {
  expectTexts({
      {"hz-gb-2312", "a~{HU1>~}b", "a\u65E5\u672Cb"},
      {"HZ-GB-2312", "~{!$!*0!~}", "\u30FB\u2015\u554A"},
      {"hz-gb-2312", "~~{~~~{HU~}~~", "~{~\u65E5~"},
      {"hz-gb-2312", "a~\nb\nc", "ab\nc"},  // a line that goes on
      {"hz-gb-2312", "~{HU\nHU", "\u65E5\nHU"},
      {"hz-gb-2312", "~{HU\r\n~{HU", "\u65E5\r\n\u65E5"},
      {"hz-gb-2312", "~{~}\x7F", "\x7F"},
      {"iso-2022-kr", "\x1B$)Ca\x0EGQ1[\x0F b", "a\uD55C\uAE00 b"},
      {"ISO-2022-KR", "\x0EGQ\x1B$)CGQ\x0FGQ\x1B$)C", "\uD55C\uD55CGQ"},
      {"csiso2022kr", "\x1B$)C\x0EGQ\nGQ", "\uD55C\nGQ"},
      {"iso-2022-kr", "\x0EGQ\r\n\x0EGQ", "\uD55C\r\n\uD55C"},
      {"iso-2022-kr", "\x0F\x0E\x0E\x0F\x0F\\~\x7F", "\\~\x7F"},
  });
}

TEST(CharsetsContract, TextCutAnywhereEndsBeforeTheSequenceThatIsNotWhole) {
  const struct {
    const char* charset;
    std::string bytes;
    std::vector<String> texts;  // of its first bytes: of none, of one, ...
  } rows[] = {
      {"hz-gb-2312",
       "a~{HU\n~~~\n",
       {"", "a", {}, "a", {}, "a\u65E5", "a\u65E5\n", {}, "a\u65E5\n~", {}, "a\u65E5\n~"}},
      {"hz-gb-2312", "~{HU~}HU", {"", {}, "", {}, "\u65E5", {}, "\u65E5", "\u65E5H", "\u65E5HU"}},
      {"iso-2022-kr",
       "\x1B$)C\x0EGQ\x0FGQ",
       {"", {}, {}, {}, "", "", {}, "\uD55C", "\uD55C", "\uD55CG", "\uD55CGQ"}},
      {"replacement", "\x1B$)", {"", "\uFFFD", "\uFFFD", "\uFFFD"}},
  };
  for (const auto& row : rows) {
    const TextEncoding encoding = textEncodingFromIANACharSetName(row.charset);
    ASSERT_EQ(row.texts.size(), row.bytes.size() + 1);
    for (size_t size = 0; size < row.texts.size(); ++size)
      EXPECT_EQ(decodeData(row.bytes.substr(0, size), encoding), row.texts[size])
          << row.charset << " " << size;
  }
}

TEST(CharsetsContract, AnyBytesOfTheReplacementAreOneCharacter) {
  expectTexts({
      {"replacement", "<p>\xFF", "\uFFFD"},
      {"iso-2022-cn", "\x1B$)A\x0EHU\x0F", "\uFFFD"},
      {"ISO-2022-CN-EXT", "a", "\uFFFD"},
      {"iso-2022-cn", "", ""},
  });
}

TEST(CharsetsContract, ASequenceThatIsNotWholeOrStandsForNothingMakesTheTextAbsent) {
  const Row rows[] = {
      {"shift_jis", "z\x82", {}},
      {"shift_jis", "\x82\xFFz", {}},
      {"shift_jis", "\x93\x20z", {}},
      {"shift_jis", "\xA0", {}},
      {"shift_jis", "\xFDz", {}},
      {"shift_jis", "\x85\x40", {}},
      {"euc-jp", "\xC6", {}},
      {"euc-jp", "a\xC6\xFC\xFF z", {}},
      {"euc-jp", "\x8E\xE0", {}},
      {"euc-jp", "\x8F\xB0", {}},
      {"euc-jp", "\x8F\xA1\xA1", {}},
      {"euc-jp", "\x8F\xB0\x40", {}},
      {"euc-jp", "\xA0", {}},
      {"euc-jp", "\xC6 z", {}},
      {"iso-2022-jp", "\x1B$BF|K\x1B(B", {}},
      {"iso-2022-jp", "\x1B$BF|K", {}},
      {"iso-2022-jp", "a\x80z", {}},
      {"iso-2022-jp", "a\x1B$", {}},
      {"iso-2022-jp", "\x1B(Z", {}},
      {"iso-2022-jp", "\x0E", {}},
      {"iso-2022-jp", "\x1B$BF\xFC", {}},
      {"iso-2022-jp", "\x1B(I`", {}},
      {"hz-gb-2312", "a\x80z", {}},
      {"hz-gb-2312", "\xC8\xD5", {}},
      {"hz-gb-2312", "~{H\xD5", {}},
      {"hz-gb-2312", "~{\xC8U", {}},
      {"hz-gb-2312", "~{H~}", {}},
      {"hz-gb-2312", "~{H\n", {}},
      {"hz-gb-2312", "~{HU 1>", {}},
      {"hz-gb-2312", "~{~{", {}},
      {"hz-gb-2312", "~{~~~}", {}},
      {"hz-gb-2312", "~{~\n", {}},
      {"hz-gb-2312", "~{~!", {}},
      {"hz-gb-2312", "~}", {}},
      {"hz-gb-2312", "~a", {}},
      {"hz-gb-2312", "~", {}},
      {"iso-2022-kr", "a\x80z", {}},
      {"iso-2022-kr", "\xC7\xD1", {}},
      {"iso-2022-kr", "\x0EG\xD1", {}},
      {"iso-2022-kr", "\x0E\xC7Q", {}},
      {"iso-2022-kr", "\x0EG\x0F", {}},
      {"iso-2022-kr", "\x0EG\n", {}},
      {"iso-2022-kr", "\x0EGQ GQ", {}},
      {"iso-2022-kr", "\x0E\x7F!", {}},
      {"iso-2022-kr", "\x1B$)A", {}},
      {"iso-2022-kr", "\x1B$)", {}},
      {"iso-2022-kr", "a\x1Bz", {}},
      {"euc-kr", "\xC7\x20", {}},
      {"euc-kr", "\xC7", {}},
      {"euc-kr", "\xA0", {}},
      {"windows-949", "\x80", {}},
      {"windows-949", "\x81\x5B", {}},
      {"windows-949", "\xC6\x53", {}},
      {"windows-949", "\xC9\xA1", {}},
      {"windows-949", "\xFF\x41", {}},
      {"gbk", "\x81", {}},
      {"gbk", "\x81\x7F", {}},
      {"gb18030", "\x94\x39\xDA", {}},
      {"gb18030", "a\xFFz", {}},
      {"gb18030", "\x84\x31\xA5\x30", {}},
      {"gb18030", "\xE3\x32\x9A\x36", {}},
      {"gb18030", "\x81\x30\x81", {}},
      {"gb18030", "\x81\x30\x80\x30", {}},
      {"big5", "\xA4", {}},
      {"big5", "\xA4\x7F", {}},
      {"big5", "\x86\x40", {}},
      {"big5-hkscs", "\x88\x66\xFF", {}},
      {"big5", "\x87\x66", {}},
      {"big5", "\xFFz", {}},
  };
  expectTexts(rows);
}

TEST(CharsetsContract, AByteThatDoesNotFitIsFoundWhereItStands) {
  const struct {
    const char* charset;
    std::string fits, doesNot;
  } rows[] = {
      {"utf-8", "caf\xC3\xA9 ", "\xE9 and more"},
      {"utf-8", "\xEF\xBB\xBF", "\xFF"},
      {"utf-8", "", "\xEF\xBB"},
      {"utf-8", "\xF0\x9F\x98\x80", "\xF0\x9F\x98"},
      {"utf-16",
       "\xFF\xFE"
       "a" +
           std::string(1, '\0'),
       "\x01\xD8"
       "b" +
           std::string(1, '\0')},
      {"utf-16be", std::string(1, '\0') + "a", std::string(1, '\0')},
      {"iso-8859-3", "\xA1", "\xA5\xA1"},
      {"shift_jis", "\x93\xFA", "\x93\x20 \x93\xFA"},
      {"iso-2022-jp", "\x1B$BF|", "F"},
      {"iso-2022-jp", "a\x1B$BF|\x1B(B", "\x1B(Q"},
      {"iso-2022-kr", "\x1B$)C\x0EGQ", "G"},
      {"hz-gb-2312", "~{HU~}~~", "~ "},
      {"gb18030", "\x94\x39\xDA\x33", "\x94\x39\xDA"},
      {"big5", "\x88\x62\x88\x62", "\x88"},
      {"no-such-charset", "", "a"},
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
  EXPECT_EQ(fittingBytes("", textEncodingFromIANACharSetName("utf-8")), 0u);
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
    EXPECT_EQ(decodeData("", encoding), std::nullopt);  // which tells it from a known one
  }
}

TEST(CharsetsContract, NoEncodingDecodesNothing) {
  EXPECT_EQ(decodeData("text", kNoTextEncoding), std::nullopt);
}

}  // namespace

}  // namespace quintora
