#include "extras/TextEncoding.h"

#include <gmock/gmock.h>

#include <utility>

#include "extras/UTF16.h"
#include "tests/support/Units.h"

namespace quintora {

namespace {

using namespace std::string_literals;
using namespace std::string_view_literals;
using testing::IsEmpty;

constexpr auto kAbsent = std::nullopt;

String decodeUTF8(std::string_view bytes) {
  return initWithDataEncoding(Data(bytes), kUTF8TextEncoding);
}

std::string bytesOf(std::initializer_list<unsigned> values) {
  std::string bytes;
  for (const unsigned value : values)
    bytes += static_cast<char>(value);
  return bytes;
}

String decodeUTF16(std::u16string_view codeUnits) {
  std::string bytes;
  for (const char16_t unit : codeUnits) {
    bytes += static_cast<char>(unit / 0x100);
    bytes += static_cast<char>(unit % 0x100);
  }
  return initWithDataEncoding(bytes, kUTF16BigEndianTextEncoding);
}

// The well-formed sequences of Unicode, table 3-7; bytes after the second are 80 to BF.
constexpr struct {
  unsigned first, firstEnd, second, secondEnd;
  size_t length;
} kWellFormed[] = {
    // clang-format off
    {0x00, 0x7F, 0, 0, 1},
    {0xC2, 0xDF, 0x80, 0xBF, 2},
    {0xE0, 0xE0, 0xA0, 0xBF, 3},  // less would be overlong
    {0xE1, 0xEC, 0x80, 0xBF, 3},
    {0xED, 0xED, 0x80, 0x9F, 3},  // more would be surrogates
    {0xEE, 0xEF, 0x80, 0xBF, 3},
    {0xF0, 0xF0, 0x90, 0xBF, 4},  // less would be overlong
    {0xF1, 0xF3, 0x80, 0xBF, 4},
    {0xF4, 0xF4, 0x80, 0x8F, 4},  // more would be beyond U+10FFFF
    // clang-format on
};

// The length of the table's sequence at the start of the bytes; 0 where it has none.
size_t sequenceLength(std::string_view bytes) {
  const auto byte = [bytes](size_t at) { return static_cast<unsigned char>(bytes[at]); };
  for (const auto& row : kWellFormed) {
    if (byte(0) < row.first || byte(0) > row.firstEnd || bytes.size() < row.length)
      continue;
    bool matches = row.length == 1 || (byte(1) >= row.second && byte(1) <= row.secondEnd);
    for (size_t at = 2; at < row.length; ++at)
      matches = matches && byte(at) >= 0x80 && byte(at) <= 0xBF;
    return matches ? row.length : 0;
  }
  return 0;
}

bool isWellFormed(std::string_view bytes) {
  while (!bytes.empty()) {
    const size_t length = sequenceLength(bytes);
    if (length == 0)
      return false;
    bytes.remove_prefix(length);
  }
  return true;
}

TEST(UTF8, AcceptsTheSequencesOfTheTableAndNoOthers) {
  std::vector<std::string> wrong;
  const auto check = [&wrong](const std::string& bytes) {
    if (decodeUTF8(bytes).has_value() != isWellFormed(bytes))
      wrong.push_back(bytes);
  };
  for (unsigned first = 0; first < 0x100; ++first) {
    check(bytesOf({first}));
    for (unsigned second = 0; second < 0x100; ++second) {
      check(bytesOf({first, second}));
      for (const unsigned third : {0x7Fu, 0x80u, 0xBFu, 0xC0u}) {
        check(bytesOf({first, second, third}));
        for (const unsigned fourth : {0x7Fu, 0x80u, 0xBFu, 0xC0u})
          check(bytesOf({first, second, third, fourth}));
      }
    }
  }
  EXPECT_THAT(wrong, IsEmpty());
}

TEST(UTF8, NeedsContinuationBytesToTheEnd) {
  for (unsigned byte = 0; byte < 0x100; ++byte) {
    SCOPED_TRACE("byte " + std::to_string(byte));
    const bool isContinuation = byte >= 0x80 && byte <= 0xBF;
    EXPECT_EQ(decodeUTF8(bytesOf({0xE2, 0x82, byte})).has_value(), isContinuation);
    EXPECT_EQ(decodeUTF8(bytesOf({0xF0, 0x9F, byte, 0x80})).has_value(), isContinuation);
    EXPECT_EQ(decodeUTF8(bytesOf({0xF0, 0x9F, 0x98, byte})).has_value(), isContinuation);
  }
}

TEST(UTF8, RefusesASequenceThatIsCutOff) {
  for (const std::string_view whole : {"\xC3\xA9"sv, "\xE2\x82\xAC"sv, "\xF0\x9F\x98\x80"sv}) {
    for (size_t size = 1; size < whole.size(); ++size) {
      const std::string part(whole.substr(0, size));
      SCOPED_TRACE(testing::PrintToString(part));
      EXPECT_EQ(decodeUTF8(part), kAbsent);
      EXPECT_EQ(decodeUTF8("a" + part), kAbsent);
      EXPECT_EQ(decodeUTF8(part + "a"), kAbsent);
      EXPECT_EQ(decodeUTF8(part + std::string(whole)), kAbsent);
    }
  }
}

TEST(UTF8, RefusesTheWholeForOneSequence) {
  for (const std::string_view bad : {
           "\x80"sv,
           "\xBF"sv,
           "\xFE"sv,
           "\xFF"sv,  // no first bytes
           "\xC0\x80"sv,
           "\xC1\xBF"sv,
           "\xE0\x9F\xBF"sv,
           "\xF0\x8F\xBF\xBF"sv,  // overlong
           "\xED\xA0\x80"sv,
           "\xED\xBF\xBF"sv,
           "\xED\xA0\xBD\xED\xB8\x80"sv,  // surrogates
           "\xF4\x90\x80\x80"sv,
           "\xF5\x80\x80\x80"sv,  // beyond U+10FFFF
           "\xF8\x88\x80\x80\x80"sv,
           "\xFC\x84\x80\x80\x80\x80"sv,
       }) {
    SCOPED_TRACE(testing::PrintToString(bad));
    EXPECT_EQ(decodeUTF8(bad), kAbsent);
    EXPECT_EQ(decodeUTF8("good" + std::string(bad) + "good"), kAbsent);
  }
}

TEST(UTF8, KeepsZeroBytesAndAMark) {
  EXPECT_EQ(decodeUTF8(""), "");
  EXPECT_EQ(decodeUTF8("\0"sv), std::string(1, '\0'));
  EXPECT_EQ(decodeUTF8("a\0b"sv), "a\0b"s);
  EXPECT_EQ(decodeUTF8("\xEF\xBB\xBFx"), "\uFEFFx");
}

TEST(UTF8Slow, CarriesEveryCharacterBothWays) {
  std::vector<char32_t> wrong;
  std::string text;
  std::u16string unitsOfText;
  for (char32_t c = 0; c <= 0x10FFFF; ++c) {
    if (c >= 0xD800 && c <= 0xDFFF)
      continue;
    if (c >= 0x10000)
      unitsOfText += static_cast<char16_t>(0xD7C0 + c / 0x400);
    unitsOfText += static_cast<char16_t>(c >= 0x10000 ? 0xDC00 + c % 0x400 : c);
    const unsigned last = 0x80 + c % 64, third = 0x80 + c / 64 % 64, second = 0x80 + c / 4096 % 64;
    const std::string bytes = c < 0x80      ? bytesOf({c})
                              : c < 0x800   ? bytesOf({0xC0 + c / 64, last})
                              : c < 0x10000 ? bytesOf({0xE0 + c / 4096, third, last})
                                            : bytesOf({0xF0 + c / 262144, second, third, last});
    text += bytes;
    if (decodeUTF8(bytes) != bytes)
      wrong.push_back(c);
    if (c % 0x100 != 0xFF)
      continue;
    if (decodeUTF16(unitsOfText) != text || unitsOf(text) != unitsOfText ||
        units(unitsOfText) != text)
      wrong.push_back(c);
    text.clear();
    unitsOfText.clear();
  }
  EXPECT_THAT(wrong, IsEmpty());
}

// Characters of each length stand at every place of stretches of ASCII of every length, so that
// wherever texts are read or written in blocks, each falls on each place of one.
TEST(UTF8, CarriesCharactersAtEveryPlaceOfLongTexts) {
  const struct {
    std::string_view bytes, broken;
    std::u16string_view codeUnits;
  } characters[] = {
      {"\xC3\xA9"sv, "\xC3"sv, u"\u00E9"},
      {"\xE2\x82\xAC"sv, "\xE2\x82"sv, u"\u20AC"},
      {"\xF0\x9F\x98\x80"sv, "\xF0\x9F\x98"sv, u"\U0001F600"},
  };
  for (const auto& character : characters) {
    std::string bytes;
    std::u16string codeUnits;
    for (size_t length = 0; length < 80; ++length) {
      for (size_t count = 1; count < 30; count += 7) {
        bytes += std::string(length, 'x');
        codeUnits += std::u16string(length, u'x');
        for (size_t i = 0; i < count; ++i) {
          bytes += character.bytes;
          codeUnits += character.codeUnits;
        }
      }
      ASSERT_EQ(decodeUTF8(bytes), bytes) << length;
      ASSERT_EQ(decodeUTF16(codeUnits), bytes) << length;
      ASSERT_EQ(unitsOf(bytes), codeUnits) << length;
      ASSERT_EQ(units(codeUnits), bytes) << length;
      ASSERT_TRUE(isValidUTF8(bytes)) << length;
      for (const std::string& broken :
           {bytes + std::string(character.broken), bytes + std::string(character.broken) + "x",
            bytes + std::string(length, 'x') + "\x80" + bytes}) {
        ASSERT_EQ(decodeUTF8(broken), kAbsent) << length;
        ASSERT_FALSE(isValidUTF8(broken)) << length;
      }
      const std::u16string unpaired = codeUnits + std::u16string(length, u'x') + u'\xD83D';
      ASSERT_EQ(units(unpaired), bytes + std::string(length, 'x') + "\xED\xA0\xBD") << length;
      ASSERT_FALSE(isValidUTF8(units(unpaired))) << length;
      ASSERT_EQ(decodeUTF16(unpaired), kAbsent) << length;
    }
  }
}

// Half of a surrogate pair is kept as three bytes, which are no UTF-8.
TEST(UTF8, CannotHoldUnpairedSurrogatesWhichATextCan) {
  const struct {
    std::u16string codeUnits;
    std::string bytes;
    bool isUTF8;
  } rows[] = {
      {u"", "", true},
      {u"a\u00E9\U0001F600", "a\xC3\xA9\xF0\x9F\x98\x80", true},
      {u"a\0b"s, "a\0b"s, true},
      {u"\xD83D", "\xED\xA0\xBD", false},
      {u"\xDE00", "\xED\xB8\x80", false},
      {u"a\xD83D", "a\xED\xA0\xBD", false},
      {u"\xD83Dz", "\xED\xA0\xBDz", false},
      {u"\xDE00z", "\xED\xB8\x80z", false},
      {u"\xDE00\xD83D", "\xED\xB8\x80\xED\xA0\xBD", false},
      {u"\xD83D\xD83D\xDE00", "\xED\xA0\xBD\xF0\x9F\x98\x80", false},
      {u"\xD83D\xDE00\xDE00", "\xF0\x9F\x98\x80\xED\xB8\x80", false},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(testing::PrintToString(row.bytes));
    EXPECT_EQ(units(row.codeUnits), row.bytes);
    EXPECT_EQ(unitsOf(row.bytes), row.codeUnits);
    EXPECT_EQ(isValidUTF8(row.bytes), row.isUTF8);
    EXPECT_EQ(decodeUTF8(row.bytes), row.isUTF8 ? String(row.bytes) : kAbsent);
  }
}

TEST(UTF16, FollowsItsMarkAndIsBigEndianWithoutOne) {
  const struct {
    std::string_view bytes;
    String marked, bigEndian, littleEndian;
  } rows[] = {
      {""sv, "", "", ""},
      {"\0A"sv, "A", "A", "\u4100"},
      {"\0A\x20\xAC"sv, "A\u20AC", "A\u20AC", "\u4100\uAC20"},
      {"\xD8\x3D\xDE\0"sv, "\U0001F600", "\U0001F600", "\u3DD8\u00DE"},
      {"\x3D\xD8\0\xDE"sv, "\u3DD8\u00DE", "\u3DD8\u00DE", "\U0001F600"},
      {"A"sv, kAbsent, kAbsent, kAbsent},  // half a unit
      {"\0AB"sv, kAbsent, kAbsent, kAbsent},
      {"\xD8\x3D"sv, kAbsent, kAbsent, "\u3DD8"},  // half a pair
      {"\xDE\0"sv, kAbsent, kAbsent, "\u00DE"},
      {"\xD8\x3D\0A"sv, kAbsent, kAbsent, "\u3DD8\u4100"},
      {"\0A\xDE\0"sv, kAbsent, kAbsent, "\u4100\u00DE"},
      {"\xDE\0\xD8\x3D"sv, kAbsent, kAbsent, "\u00DE\u3DD8"},
      {"\xD8\x3D\xD8\x3D\xDE\0"sv, kAbsent, kAbsent, "\u3DD8\u3DD8\u00DE"},
      {"\x3D\xD8"sv, "\u3DD8", "\u3DD8", kAbsent},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(testing::PrintToString(row.bytes));
    EXPECT_EQ(initWithDataEncoding(Data(row.bytes), kUTF16TextEncoding), row.marked);
    EXPECT_EQ(initWithDataEncoding(Data(row.bytes), kUTF16BigEndianTextEncoding), row.bigEndian);
    EXPECT_EQ(initWithDataEncoding(Data(row.bytes), kUTF16LittleEndianTextEncoding),
              row.littleEndian);
  }
}

TEST(UTF16, DropsOneMark) {
  const struct {
    std::string_view bytes;
    String expected;
  } rows[] = {
      {"\xFE\xFF"sv, ""},
      {"\xFF\xFE"sv, ""},
      {"\xFE\xFF\0A"sv, "A"},
      {"\xFF\xFE\x41\0"sv, "A"},
      {"\xFE\xFF\xFE\xFF"sv, "\uFEFF"},
      {"\0A\xFE\xFF"sv, "A\uFEFF"},
      {"\xFE\xFF\xD8\x3D\xDE\0"sv, "\U0001F600"},
      {"\xFF\xFE\x3D\xD8\0\xDE"sv, "\U0001F600"},
      {"\xFE\xFF\0"sv, kAbsent},
      {"\xFF\xFE\0"sv, kAbsent},
      {"\xFF\xFE\x3D\xD8"sv, kAbsent},
      {"\xFE"sv, kAbsent},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(testing::PrintToString(row.bytes));
    EXPECT_EQ(initWithDataEncoding(Data(row.bytes), kUTF16TextEncoding), row.expected);
  }
}

TEST(UTF16, ReadsNothingBeyondTheEnd) {
  std::string bytes;
  for (size_t i = 0; i < 40; ++i)
    bytes += "x\0"s;
  bytes += "\x3D\xD8\0\xDE"s;  // a pair, of which the second half goes, but stays in memory
  bytes.resize(bytes.size() - 2);
  EXPECT_EQ(initWithDataEncoding(std::move(bytes), kUTF16LittleEndianTextEncoding), kAbsent);
}

// The upper halves of the one-byte encodings, in the order of their bytes from 80 on.
constexpr std::u16string_view kMacOSRoman =
    u"ÄÅÇÉÑÖÜáàâäãåçéè"
    u"êëíìîïñóòôöõúùûü"
    u"†°¢£§•¶ß®©™´¨≠ÆØ"
    u"∞±≤≥¥µ∂∑∏π∫ªº\u03A9æø"
    u"¿¡¬√ƒ≈\u2206«»…\u00A0ÀÃÕŒœ"
    u"–—“”‘’÷◊ÿŸ⁄€‹›ﬁﬂ"
    u"‡·‚„‰ÂÊÁËÈÍÎÏÌÓÔ"
    u"\uF8FFÒÚÛÙıˆ˜¯˘˙˚¸˝˛ˇ";

TEST(OneByteEncodings, HaveACharacterForEachByte) {
  ASSERT_EQ(kMacOSRoman.size(), 128u);
  for (unsigned byte = 0; byte < 0x100; ++byte) {
    SCOPED_TRACE("byte " + std::to_string(byte));
    const std::string bytes = bytesOf({byte});
    const String same = units(std::u16string{static_cast<char16_t>(byte)});
    const bool isASCII = byte < 0x80;
    EXPECT_EQ(initWithDataEncoding(bytes, kASCIITextEncoding), isASCII ? same : kAbsent);
    EXPECT_EQ(initWithDataEncoding(bytes, kISOLatin1TextEncoding), same);
    EXPECT_EQ(initWithDataEncoding(bytes, kMacOSRomanTextEncoding),
              isASCII ? same : units(kMacOSRoman.substr(byte - 0x80, 1)));
  }
}

TEST(OneByteEncodings, DecodeTextsOfAnyLength) {
  for (size_t size = 0; size < 5000; size += 1 + size / 100) {
    const std::string bytes = std::string(size, 'x');
    ASSERT_EQ(initWithDataEncoding(bytes, kASCIITextEncoding), bytes) << size;
    ASSERT_EQ(initWithDataEncoding(bytes + '\xE9', kASCIITextEncoding), kAbsent) << size;
    ASSERT_EQ(initWithDataEncoding(bytes + '\xE9', kISOLatin1TextEncoding), bytes + "\u00E9");
    ASSERT_EQ(initWithDataEncoding(bytes + '\x8E', kMacOSRomanTextEncoding), bytes + "\u00E9");
  }
}

// Other characters than ASCII stand at every place of stretches of ASCII of every length, as above.
TEST(OneByteEncodings, DecodeCharactersAtEveryPlaceOfLongTexts) {
  std::string bytes, latin, roman;
  for (size_t length = 0; length < 80; ++length) {
    for (size_t count = 1; count < 30; count += 7) {
      bytes += std::string(length, 'x');
      latin += std::string(length, 'x');
      roman += std::string(length, 'x');
      for (size_t i = 0; i < count; ++i) {
        const unsigned byte = 0x80 + static_cast<unsigned>((length + i) % 0x80);
        bytes += static_cast<char>(byte);
        latin += units(std::u16string{static_cast<char16_t>(byte)});
        roman += units(kMacOSRoman.substr(byte - 0x80, 1));
      }
    }
    ASSERT_EQ(initWithDataEncoding(bytes, kISOLatin1TextEncoding), latin) << length;
    ASSERT_EQ(initWithDataEncoding(bytes, kMacOSRomanTextEncoding), roman) << length;
    ASSERT_EQ(initWithDataEncoding(bytes, kASCIITextEncoding), kAbsent) << length;
  }
}

TEST(OneByteEncodings, DecodeByteByByte) {
  EXPECT_EQ(initWithDataEncoding("", kASCIITextEncoding), "");
  EXPECT_EQ(initWithDataEncoding("abc", kASCIITextEncoding), "abc");
  EXPECT_EQ(initWithDataEncoding("ab\x80", kASCIITextEncoding), kAbsent);
  EXPECT_EQ(initWithDataEncoding("\xC3\xA9!", kISOLatin1TextEncoding), "\u00C3\u00A9!");
  EXPECT_EQ(initWithDataEncoding("\xC3\xA9!", kMacOSRomanTextEncoding), "\u221A\u00A9!");
}

TEST(Identifiers, AreThoseOfThePlatform) {
  EXPECT_EQ(kNoTextEncoding, 0u);
  EXPECT_EQ(kUTF8TextEncoding, 4u);
  EXPECT_EQ(kUTF16TextEncoding, 10u);
  EXPECT_EQ(kMacOSRomanTextEncoding, 30u);
}

TEST(Identifiers, OfNoEncodingDecodeNothing) {
  for (const TextEncoding encoding :
       {TextEncoding{0}, TextEncoding{2}, TextEncoding{3}, TextEncoding{11}, TextEncoding{31},
        TextEncoding{0x80000000}, TextEncoding{0xFFFFFFFF}, TextEncoding{UINT64_MAX}}) {
    SCOPED_TRACE("identifier " + std::to_string(encoding));
    EXPECT_EQ(initWithDataEncoding("abc", encoding), kAbsent);
    EXPECT_EQ(initWithDataEncoding("", encoding), kAbsent);
  }
}

}  // namespace

}  // namespace quintora
