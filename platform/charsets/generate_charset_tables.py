#!/usr/bin/env python3
"""Writes CharsetTables.cpp from Python's codecs.

usage: generate_charset_tables.py [--check]

The codecs' tables are the same in all versions of Python that are in use. Where web pages use
another character than a codec, the difference is in this script. --check writes nothing and fails
when the file in the tree differs from what would be written.
"""
import pathlib
import sys

OUTPUT = pathlib.Path(__file__).with_name("CharsetTables.cpp")
NONE = "\uFFFD"  # no charset has it in a table

# The constant in BuiltInCharsets.h, the codec, and the codec's holes.
SINGLE_BYTE = (
    ("ISOLatin2", "iso8859_2"), ("ISOLatin3", "iso8859_3"), ("ISOLatin4", "iso8859_4"),
    ("ISOLatinCyrillic", "iso8859_5"), ("ISOLatinArabic", "iso8859_6"),
    ("ISOLatinGreek", "iso8859_7"), ("ISOLatinHebrew", "iso8859_8"), ("ISOLatin5", "iso8859_9"),
    ("ISOLatin6", "iso8859_10"), ("ISOLatinThai", "iso8859_11"), ("ISOLatin7", "iso8859_13"),
    ("ISOLatin8", "iso8859_14"), ("ISOLatin9", "iso8859_15"), ("ISOLatin10", "iso8859_16"),
    ("WindowsThai", "cp874"), ("WindowsLatin2", "cp1250"), ("WindowsCyrillic", "cp1251"),
    ("WindowsLatin1", "cp1252"), ("WindowsGreek", "cp1253"), ("WindowsLatin5", "cp1254"),
    ("WindowsHebrew", "cp1255"), ("WindowsArabic", "cp1256"), ("WindowsBalticRim", "cp1257"),
    ("WindowsVietnamese", "cp1258"), ("DOSRussian", "cp866"), ("KOI8R", "koi8_r"),
    ("KOI8U", "koi8_u"), ("MacCyrillic", "mac_cyrillic"),
)

# Of HKSCS-2008, which came after the codec: 877A to 877E and 87A1 to 87DF.
HKSCS_2008 = (
    "㡵𡵓𣚞𦀡㻬𥣞㫵竼龗𤅡𨤍𣇪𠪊𣉞䌊蒄龖鐯䤰蘓墖靊鈘秐稲晠権袝瑌篅枂稬剏遆㓦珄𥶹瓆鿇垳䤯呌䄱𣚎堘穲𧭥讏䚮𦺈䆁"
    "𥶙箮𢒼鿈𢓁𢓉𢓌鿉蔄𣖻䂴鿊䓡𪷿拁灮鿋")

# Codes of older editions of HKSCS for characters that Unicode has unified since, and the symbols
# for control characters: pages use them, and browsers decode them.
BIG5_OTHERS = (
    "8E69箸 8E6F簆 8E7E糎 8EAB緒 8EB4縝 8ECD者 8ED0耨 8F57菁 8F69蒨 8F6E萏 8FCB覦 8FCC覩 8FFE起 906D都 "
    "907A銹 90DC靜 90F1響 91BF鼖 9244蔃 92AF兙 92B0兛 92B1兝 92B2兞 92C8鍮 92D1瑹 9447浧 94CA禛 95D9邗 "
    "9644靝 96ED瀞 96FC嬨 9B76爁 9B78矗 9B7B纇 9BC6駖 9BDE釔 9BEC惞 9BF6澶 9C42輶 9C53侻 9C62營 9C68鄄 "
    "9C6B鷰 9C77菏 9CBC尐 9CBD秣 9CD0婧 9D57輋 9D5A筑 9DC4拐 9EA9恢 9EEF痹 9EFD汊 9F60鬮 9F66鼗 9FCB僭 "
    "9FD8弌 A063蠏 A077拎 A0D5瑨 A0DF煢 A0E4牐 C6CF廴 C6D3无 C6D5癶 C6D7隶 C6DE〃 C6DF仝 FA5F倩 FA66偽 "
    "FABD包 FAC5卄 FAD5卿 FB48嘅 FBB8婷 FBF3幵 FBF9廐 FC4F彘 FC6C悤 FCB9撐 FCE2晴 FCF1杞 FDB7沜 FDB8渝 "
    "FDBB港 FDF1煮 FE52猪 FE6F瑜 FEAA瓩 FEDD砉")

# New in GB 18030-2022; before, these codes stood for private-use characters.
GB_18030_2022 = {0xA6D9: "︐︒︑︓︔︕︖", 0xA6EC: "︗︘", 0xA6F3: "︙", 0xFE59: "龴", 0xFE61: "龵",
                 0xFE66: "龶龷", 0xFE6D: "龸", 0xFE7E: "龹", 0xFE90: "龺", 0xFEA0: "龻"}


def decoded(code, codec, prefix=b""):
    try:
        text = (prefix + bytes(code)).decode(codec)
    except UnicodeDecodeError:
        return NONE
    return text if len(text) == 1 else NONE


def grid(leads, trails, codec, prefix=b""):
    return {(lead, trail): decoded((lead, trail), codec, prefix)
            for lead in leads for trail in trails}


def put(table, code, text):
    """Puts the characters at consecutive codes of one row, from this code on."""
    for offset, character in enumerate(text):
        table[code >> 8, (code & 0xFF) + offset] = character


EUC = range(0xA1, 0xFF)


def single_byte(codec):
    """Bytes 80 to FF. Windows maps a byte without a character to the one with the same number."""
    windows = codec.startswith("cp") and codec != "cp866"
    characters = [decoded((byte,), codec) for byte in range(0x80, 0x100)]
    if codec == "cp1255":
        characters[0xCA - 0x80] = "\u05BA"  # in Windows since 2005
    return [chr(0x80 + at) if character == NONE and windows else character
            for at, character in enumerate(characters)]


def jis_x_0208():
    """Rows of 94, two of which share a lead byte of Shift_JIS, without those for private use."""
    leads = [*range(0x81, 0xA0), *range(0xE0, 0xF0), *range(0xFA, 0xFD)]
    return grid(leads, [*range(0x40, 0x7F), *range(0x80, 0xFD)], "cp932")


def jis_x_0212():
    """The rows A2 to ED; no others have characters."""
    table = grid(range(0xA2, 0xEE), EUC, "euc_jp", b"\x8F")
    put(table, 0xA2B7, "\uFF5E")
    return table


def ks_x_1001():
    return grid(EUC, EUC, "cp949")


def gb_18030():
    table = grid(range(0x81, 0xFF), [*range(0x40, 0x7F), *range(0x80, 0xFF)], "gb18030")
    for code, text in GB_18030_2022.items():
        put(table, code, text)
    put(table, 0xA8BC, "\u1E3F")  # since 2005
    put(table, 0xA3A0, "\u3000")  # no character, but pages have it for a blank
    return table


def gb_18030_ranges():
    """(number of a sequence of four bytes, its character), wherever characters leave a gap."""
    ranges = []
    for number in range(39420):
        rest, fourth = divmod(number, 10)
        rest, third = divmod(rest, 126)
        first, second = divmod(rest, 10)
        code = 0x81 + first, 0x30 + second, 0x81 + third, 0x30 + fourth
        character = ord(decoded(code, "gb18030"))
        if code == (0x81, 0x35, 0xF4, 0x37):
            character = 0xE7C7  # changed places with A8BC
        if not ranges or character - ranges[-1][1] != number - ranges[-1][0]:
            ranges.append((number, character))
    return ranges


def big5():
    """Windows' Big5 up to its hanzi of the first level, from there on with those of Hong Kong."""
    trails = [*range(0x40, 0x7F), *EUC]
    table = grid(range(0x87, 0xFF), trails, "big5hkscs")
    for code, character in grid(range(0xA1, 0xFA), trails, "cp950").items():
        if code < (0xC6, 0xA1) or (0xC9, 0x40) <= code < (0xF9, 0xFE):
            if character != NONE and not "\uE000" <= character <= "\uF8FF":
                table[code] = character
    put(table, 0x877A, HKSCS_2008[:5])
    put(table, 0x87A1, HKSCS_2008[5:])
    put(table, 0xA3C0, [chr(0x2400 + sign) for sign in [*range(0x20), 0x21]])
    for other in BIG5_OTHERS.split():
        put(table, int(other[:4], 16), other[4:])
    return table


def literal(text):
    """Escapes everything but East Asian letters, since editors may not show it."""
    return "".join(
        c if c == NONE or "\u3041" <= c <= "\u9FFF" or "\uAC00" <= c <= "\uD7A3" else "\\u%04X" % ord(c)
        for c in text)


def lines(text):
    return ['    u"%s"' % literal(text[at:at + 47]) for at in range(0, len(text), 47)]


def array(name, size, table):
    text = "".join(table.values())
    return ["const char16_t %s[%s + 1] =" % (name, size), *lines(text)[:-1],
            lines(text)[-1] + ";", ""]


def single_byte_rows():
    for name, codec in SINGLE_BYTE:
        rows = lines("".join(single_byte(codec)))
        yield from ["    {k%sTextEncoding," % name, *["    " + row for row in rows]]
        yield "    },"


def plane_2(table):
    """A bit for each code, set where the character is of plane 2."""
    bits = "".join(str(int(ord(character) >> 16 == 2)) for character in table.values())
    octets = [int(bits[at:at + 8][::-1], 2) for at in range(0, len(bits), 8)]
    return ["    " + " ".join("0x%02X," % octet for octet in octets[at:at + 16])
            for at in range(0, len(octets), 16)]


def source():
    big5_table = big5()
    low_halves = {code: chr(ord(character) & 0xFFFF) for code, character in big5_table.items()}
    return "\n".join([
        "// Written by generate_charset_tables.py from Python's codecs: do not edit.",
        '#include "platform/charsets/CharsetTables.h"',
        "",
        "namespace quintora {",
        "",
        "// clang-format off",
        "const SingleByteCharset kSingleByteCharsets[kSingleByteCharsetCount] = {",
        *single_byte_rows(),
        "};",
        "",
        *array("kJISX0208", "kJISX0208Size", jis_x_0208()),
        *array("kJISX0212", "kJISX0212Size", jis_x_0212()),
        *array("kKSX1001", "kKSX1001Size", ks_x_1001()),
        *array("kGB18030", "kGB18030Size", gb_18030()),
        "const GB18030Range kGB18030Ranges[kGB18030RangeCount] = {",
        *["    {%d, 0x%04X}," % row for row in gb_18030_ranges()],
        "};",
        "",
        *array("kBig5", "kBig5Size", low_halves),
        "const unsigned char kBig5IsPlane2[kBig5Size / 8] = {",
        *plane_2(big5_table),
        "};",
        "",
        "}  // namespace quintora",
        ""])


def main():
    text = source()
    if sys.argv[1:] != ["--check"]:
        OUTPUT.write_text(text, encoding="utf-8")
    elif OUTPUT.read_text(encoding="utf-8") != text:
        sys.exit("CharsetTables.cpp differs from what Python's codecs give")


if __name__ == "__main__":
    main()
