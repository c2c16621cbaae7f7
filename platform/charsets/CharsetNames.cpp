#include "platform/charsets/CharsetNames.h"

#include <algorithm>

#include "extras/Characters.h"
#include "platform/charsets/BuiltInCharsets.h"

namespace quintora {

namespace {

// The names are an array and not a pointer, which would have to be relocated at every start.
struct Charset {
  TextEncoding encoding;
  char names[136];  // lower-case, a blank after each
};

// The labels of the WHATWG Encoding Standard, which the web uses, and the IANA registry's names for
// the same charsets. A label means what it means on a Mac: browsers treat some as Windows'
// extension of a charset, such as iso-8859-1 as windows-1252; here it is the charset itself.
constexpr Charset kCharsets[] = {
    {kUTF8TextEncoding,
     "utf-8 utf8 csutf8 unicode-1-1-utf-8 unicode11utf8 unicode20utf8 x-unicode20utf8 "},
    {kISOLatin1TextEncoding,
     "iso-8859-1 iso8859-1 iso88591 iso_8859-1 iso_8859-1:1987 iso-ir-100 latin1 l1 ibm819 cp819 "
     "csisolatin1 "},
    // Browsers have always read pages that declare US-ASCII as ISO 8859-1.
    {kISOLatin1TextEncoding,
     "us-ascii ascii iso-ir-6 ansi_x3.4-1968 ansi_x3.4-1986 iso_646.irv:1991 iso646-us us ibm367 "
     "cp367 csascii "},
    {kWindowsLatin1TextEncoding, "windows-1252 cp1252 x-cp1252 cswindows1252 "},
    {kISOLatin9TextEncoding,
     "iso-8859-15 iso8859-15 iso885915 iso_8859-15 latin-9 l9 csisolatin9 csiso885915 "},
    {kMacOSRomanTextEncoding, "macintosh mac x-mac-roman csmacintosh "},
    {kUTF16TextEncoding,
     "utf-16 csutf16 unicode csunicode ucs-2 iso-10646-ucs-2 unicodefeff unicodefffe "},
    {kUTF16BigEndianTextEncoding, "utf-16be csutf16be "},
    {kUTF16LittleEndianTextEncoding, "utf-16le csutf16le "},
    {kWindowsLatin2TextEncoding, "windows-1250 cp1250 x-cp1250 cswindows1250 "},
    {kWindowsCyrillicTextEncoding, "windows-1251 cp1251 x-cp1251 cswindows1251 "},
    {kWindowsGreekTextEncoding, "windows-1253 cp1253 x-cp1253 cswindows1253 "},
    {kWindowsLatin5TextEncoding, "windows-1254 cp1254 x-cp1254 cswindows1254 "},
    {kWindowsHebrewTextEncoding, "windows-1255 cp1255 x-cp1255 cswindows1255 "},
    {kWindowsArabicTextEncoding, "windows-1256 cp1256 x-cp1256 cswindows1256 "},
    {kWindowsBalticRimTextEncoding, "windows-1257 cp1257 x-cp1257 cswindows1257 "},
    {kWindowsVietnameseTextEncoding, "windows-1258 cp1258 x-cp1258 cswindows1258 "},
    {kWindowsThaiTextEncoding, "windows-874 cp874 dos-874 tis-620 cstis620 cswindows874 "},
    {kISOLatin2TextEncoding,
     "iso-8859-2 iso8859-2 iso88592 iso_8859-2 iso_8859-2:1987 iso-ir-101 latin2 l2 csisolatin2 "},
    {kISOLatin3TextEncoding,
     "iso-8859-3 iso8859-3 iso88593 iso_8859-3 iso_8859-3:1988 iso-ir-109 latin3 l3 csisolatin3 "},
    {kISOLatin4TextEncoding,
     "iso-8859-4 iso8859-4 iso88594 iso_8859-4 iso_8859-4:1988 iso-ir-110 latin4 l4 csisolatin4 "},
    {kISOLatinCyrillicTextEncoding,
     "iso-8859-5 iso8859-5 iso88595 iso_8859-5 iso_8859-5:1988 iso-ir-144 cyrillic "
     "csisolatincyrillic "},
    // The suffixes -e and -i concern the direction of the letters, not their codes.
    {kISOLatinArabicTextEncoding,
     "iso-8859-6 iso8859-6 iso88596 iso_8859-6 iso_8859-6:1987 iso-ir-127 ecma-114 asmo-708 arabic "
     "csisolatinarabic "},
    {kISOLatinArabicTextEncoding,
     "iso-8859-6-e iso_8859-6-e csiso88596e iso-8859-6-i iso_8859-6-i csiso88596i "},
    {kISOLatinGreekTextEncoding,
     "iso-8859-7 iso8859-7 iso88597 iso_8859-7 iso_8859-7:1987 iso-ir-126 ecma-118 elot_928 greek "
     "greek8 sun_eu_greek csisolatingreek "},
    {kISOLatinHebrewTextEncoding,
     "iso-8859-8 iso8859-8 iso88598 iso_8859-8 iso_8859-8:1988 iso-ir-138 hebrew visual "
     "csisolatinhebrew "},
    {kISOLatinHebrewTextEncoding,
     "iso-8859-8-e iso_8859-8-e csiso88598e iso-8859-8-i iso_8859-8-i csiso88598i logical "},
    {kISOLatin5TextEncoding,
     "iso-8859-9 iso8859-9 iso88599 iso_8859-9 iso_8859-9:1989 iso-ir-148 latin5 l5 csisolatin5 "},
    {kISOLatin6TextEncoding,
     "iso-8859-10 iso8859-10 iso885910 iso_8859-10:1992 iso-ir-157 latin6 l6 csisolatin6 "},
    {kISOLatinThaiTextEncoding, "iso-8859-11 iso8859-11 iso885911 "},
    {kISOLatin7TextEncoding, "iso-8859-13 iso8859-13 iso885913 csiso885913 "},
    {kISOLatin8TextEncoding,
     "iso-8859-14 iso8859-14 iso885914 iso_8859-14 iso_8859-14:1998 iso-ir-199 iso-celtic latin8 "
     "l8 csiso885914 "},
    {kISOLatin10TextEncoding,
     "iso-8859-16 iso_8859-16 iso_8859-16:2001 iso-ir-226 latin10 l10 csiso885916 "},
    {kKOI8RTextEncoding, "koi8-r koi8_r koi8 koi cskoi8r "},
    {kKOI8UTextEncoding, "koi8-u koi8-ru cskoi8u "},
    {kDOSRussianTextEncoding, "ibm866 cp866 866 csibm866 "},
    {kMacCyrillicTextEncoding, "x-mac-cyrillic x-mac-ukrainian "},
    {kShiftJISTextEncoding,
     "shift_jis shift-jis sjis x-sjis ms_kanji csshiftjis windows-31j cswindows31j ms932 "
     "cp932 "},
    {kEUCJPTextEncoding,
     "euc-jp x-euc-jp cseucpkdfmtjapanese extended_unix_code_packed_format_for_japanese "},
    {kISO2022JPTextEncoding, "iso-2022-jp csiso2022jp "},
    {kEUCKRTextEncoding, "euc-kr cseuckr "},
    {kWindowsKoreanTextEncoding,
     "windows-949 ks_c_5601-1987 ks_c_5601-1989 ksc_5601 ksc5601 korean iso-ir-149 "
     "csksc56011987 cp949 ms949 "},
    {kISO2022KRTextEncoding, "iso-2022-kr csiso2022kr "},
    {kGB18030TextEncoding,
     "gb18030 csgb18030 gbk x-gbk csgbk cp936 ms936 windows-936 gb2312 gb_2312 csgb2312 euc-cn "},
    {kGB2312TextEncoding, "gb_2312-80 iso-ir-58 chinese csiso58gb231280 "},
    {kHZTextEncoding, "hz-gb-2312 "},
    {kBig5TextEncoding,
     "big5 cn-big5 x-x-big5 csbig5 cp950 ms950 windows-950 big5-hkscs csbig5hkscs "},
    {kReplacementTextEncoding, "replacement iso-2022-cn iso-2022-cn-ext "},
};

constexpr std::string_view kMarks = "-_:.";

void skipMarks(std::string_view& name) {
  name.remove_prefix(std::min(name.find_first_not_of(kMarks), name.size()));
}

bool isSameName(std::string_view name, std::string_view other) {
  for (;; name.remove_prefix(1), other.remove_prefix(1)) {
    skipMarks(name);
    skipMarks(other);
    if (name.empty() || other.empty())
      return name.empty() && other.empty();
    if (!isEqualIgnoringASCIICase(name.substr(0, 1), other.substr(0, 1)))
      return false;
  }
}

}  // namespace

bool isAmongCharsetNames(std::string_view name, std::string_view names) {
  for (size_t end; (end = names.find(' ')) != names.npos; names.remove_prefix(end + 1)) {
    if (isSameName(name, names.substr(0, end)))
      return true;
  }
  return false;
}

TextEncoding builtInTextEncoding(std::string_view name) {
  const auto* const charset =
      std::find_if(std::begin(kCharsets), std::end(kCharsets),
                   [name](const Charset& known) { return isAmongCharsetNames(name, known.names); });
  return charset == std::end(kCharsets) ? kNoTextEncoding : charset->encoding;
}

// RFC 2978 and older registered names allow more characters. The GNU C library ignores those, and
// would take "utf{-8" for UTF-8.
bool isCharsetName(std::string_view name) {
  constexpr size_t kMostBytes = 100;
  return !name.empty() && name.size() <= kMostBytes &&
         std::all_of(name.begin(), name.end(), [](char c) {
           return isASCIILetter(c) || isASCIIDigit(c) || kMarks.find(c) != kMarks.npos;
         });
}

}  // namespace quintora
