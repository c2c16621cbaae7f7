// The charsets that the bridge decodes itself, by tables of its own: the same on every system. A C
// library's converter needs files that a chroot lacks, and converters differ in some characters.
#pragma once

#include "extras/TextEncoding.h"

namespace quintora {

// The identifiers are those of macOS, on every system: for the oldest encodings those of
// NSStringEncoding, for the others those of CFStringEncodings, marked by kCoreFoundations.
inline constexpr TextEncoding kCoreFoundations = 0x80000000;
inline constexpr TextEncoding kEUCJPTextEncoding = 3;
inline constexpr TextEncoding kShiftJISTextEncoding = 8;
inline constexpr TextEncoding kISOLatin2TextEncoding = 9;
inline constexpr TextEncoding kWindowsCyrillicTextEncoding = 11;
inline constexpr TextEncoding kWindowsLatin1TextEncoding = 12;
inline constexpr TextEncoding kWindowsGreekTextEncoding = 13;
inline constexpr TextEncoding kWindowsLatin5TextEncoding = 14;
inline constexpr TextEncoding kWindowsLatin2TextEncoding = 15;
inline constexpr TextEncoding kISO2022JPTextEncoding = 21;
inline constexpr TextEncoding kMacCyrillicTextEncoding = kCoreFoundations | 0x0007;
inline constexpr TextEncoding kISOLatin3TextEncoding = kCoreFoundations | 0x0203;
inline constexpr TextEncoding kISOLatin4TextEncoding = kCoreFoundations | 0x0204;
inline constexpr TextEncoding kISOLatinCyrillicTextEncoding = kCoreFoundations | 0x0205;
inline constexpr TextEncoding kISOLatinArabicTextEncoding = kCoreFoundations | 0x0206;
inline constexpr TextEncoding kISOLatinGreekTextEncoding = kCoreFoundations | 0x0207;
inline constexpr TextEncoding kISOLatinHebrewTextEncoding = kCoreFoundations | 0x0208;
inline constexpr TextEncoding kISOLatin5TextEncoding = kCoreFoundations | 0x0209;
inline constexpr TextEncoding kISOLatin6TextEncoding = kCoreFoundations | 0x020A;
inline constexpr TextEncoding kISOLatinThaiTextEncoding = kCoreFoundations | 0x020B;
inline constexpr TextEncoding kISOLatin7TextEncoding = kCoreFoundations | 0x020D;
inline constexpr TextEncoding kISOLatin8TextEncoding = kCoreFoundations | 0x020E;
inline constexpr TextEncoding kISOLatin9TextEncoding = kCoreFoundations | 0x020F;
inline constexpr TextEncoding kISOLatin10TextEncoding = kCoreFoundations | 0x0210;
inline constexpr TextEncoding kDOSRussianTextEncoding = kCoreFoundations | 0x041B;
inline constexpr TextEncoding kWindowsThaiTextEncoding = kCoreFoundations | 0x041D;
inline constexpr TextEncoding kWindowsKoreanTextEncoding = kCoreFoundations | 0x0422;
inline constexpr TextEncoding kWindowsHebrewTextEncoding = kCoreFoundations | 0x0505;
inline constexpr TextEncoding kWindowsArabicTextEncoding = kCoreFoundations | 0x0506;
inline constexpr TextEncoding kWindowsBalticRimTextEncoding = kCoreFoundations | 0x0507;
inline constexpr TextEncoding kWindowsVietnameseTextEncoding = kCoreFoundations | 0x0508;
inline constexpr TextEncoding kGB2312TextEncoding = kCoreFoundations | 0x0630;
inline constexpr TextEncoding kGB18030TextEncoding = kCoreFoundations | 0x0632;
// ISO-2022-CN; see replacement() in BuiltInCharsets.cpp.
inline constexpr TextEncoding kReplacementTextEncoding = kCoreFoundations | 0x0830;
inline constexpr TextEncoding kISO2022KRTextEncoding = kCoreFoundations | 0x0840;
inline constexpr TextEncoding kEUCKRTextEncoding = kCoreFoundations | 0x0940;
inline constexpr TextEncoding kKOI8RTextEncoding = kCoreFoundations | 0x0A02;
inline constexpr TextEncoding kHZTextEncoding = kCoreFoundations | 0x0A05;
inline constexpr TextEncoding kBig5TextEncoding = kCoreFoundations | 0x0A06;
inline constexpr TextEncoding kKOI8UTextEncoding = kCoreFoundations | 0x0A08;

// Whether bytes of the encoding are decoded here, or by extras/TextEncoding.h.
bool isBuiltInCharset(TextEncoding encoding);

// Decodes a reply in such an encoding. Absent when a byte is not valid in it, or when the encoding
// is not one of these. A UTF-8 byte-order mark at the start is removed.
String decodedByOurselves(Data bytes, TextEncoding encoding);

// Converts bytes to UTF-8. Absent when one of them is not valid in the encoding, or when the
// encoding is none of those above.
std::optional<Data> decodedToUTF8(std::string_view bytes, TextEncoding encoding);

}  // namespace quintora
