"""Every character of every charset that the bridge decodes itself, against Python's codecs."""
import unittest

from tests.support.harness import DEFAULT_HEADER, BridgeTest, reply

ASCII = [bytes([byte]) for byte in range(0x20, 0x7F)]
HIGH = [bytes([byte]) for byte in range(0x80, 0x100)]
PAIRS = [bytes([lead, trail]) for lead in range(0x80, 0x100) for trail in range(0x30, 0x100)]
EUC_TRIPLES = [b"\x8f" + pair for pair in PAIRS if pair[0] > 0xA0 and pair[1] > 0xA0]
FOURS = [bytes([first, 0x30 + second, third, 0x30 + fourth])
         for first in (*range(0x81, 0x85), *range(0x90, 0xE4, 7)) for second in range(10)
         for third in range(0x81, 0xFF) for fourth in range(10)]


def texts(codes, codec):
    """The characters of the codes for which the codec has a single character."""
    known = {}
    for code in codes:
        try:
            known[code] = code.decode(codec)
        except UnicodeDecodeError:
            continue
    return {code: text for code, text in known.items() if len(text) == 1}


def windows(page):
    """A Windows code page: a byte without a character is the character with the same number."""
    return {code: chr(code[0]) for code in HIGH} | texts(HIGH, f"cp{page}")


# The euro sign of GBK, and the changes of newer editions of GB 18030.
GB_18030 = {b"\x80": "€", b"\xA3\xA0": "\u3000", b"\xA8\xBC": "ḿ", b"\x81\x35\xF4\x37": "\uE7C7",
            b"\xA6\xD9": "︐", b"\xA6\xDA": "︒", b"\xA6\xDB": "︑", b"\xA6\xDC": "︓", b"\xA6\xDD": "︔",
            b"\xA6\xDE": "︕", b"\xA6\xDF": "︖", b"\xA6\xEC": "︗", b"\xA6\xED": "︘", b"\xA6\xF3": "︙",
            b"\xFE\x59": "龴", b"\xFE\x61": "龵", b"\xFE\x66": "龶", b"\xFE\x67": "龷", b"\xFE\x6D": "龸",
            b"\xFE\x7E": "龹", b"\xFE\x90": "龺", b"\xFE\xA0": "龻"}

# Signs of JIS X 0208 and 0212 for which Microsoft has other characters.
MICROSOFT = {ord(sign): other for sign, other in zip("〜‖−¢£¬~", "～∥－￠￡￢～")}
EUC_JP = {code: text.translate(MICROSOFT)
          for code, text in texts(PAIRS + EUC_TRIPLES, "euc_jp").items()}

# Signs are those of Windows, and four codes are two characters.
BIG5 = texts(PAIRS, "big5hkscs")
BIG5 |= {code: text for code, text in texts(PAIRS, "cp950").items()
         if b"\xA1\x40" <= code < b"\xA4" or b"\xF9\xE0" <= code < b"\xF9\xFE"}
BIG5 |= {b"\x88\x62": "\u00CA\u0304", b"\x88\x64": "\u00CA\u030C",
         b"\x88\xA3": "\u00EA\u0304", b"\x88\xA5": "\u00EA\u030C"}

CHARSETS = {
    **{f"iso-8859-{part}": texts(HIGH, f"iso8859_{part}") for part in range(1, 17) if part != 12},
    **{f"windows-{page}": windows(page) for page in (874, 1250, 1251, 1252, 1253, 1254)},
    **{f"windows-{page}": windows(page) for page in (1256, 1257, 1258)},
    "windows-1255": windows(1255) | {b"\xCA": "\u05BA"},
    "us-ascii": texts(HIGH, "latin_1"),
    "koi8-r": texts(HIGH, "koi8_r"),
    "koi8-u": texts(HIGH, "koi8_u"),
    "ibm866": texts(HIGH, "cp866"),
    "macintosh": texts(HIGH, "mac_roman"),
    "x-mac-cyrillic": texts(HIGH, "mac_cyrillic"),
    "shift_jis": texts(HIGH[:1] + HIGH[0x21:0x60] + PAIRS, "cp932"),
    "euc-jp": EUC_JP,
    "euc-kr": texts(PAIRS, "euc_kr"),
    "windows-949": texts(PAIRS, "cp949"),
    "gbk": texts(PAIRS, "gbk") | GB_18030,
    "gb18030": texts(PAIRS + FOURS, "gb18030") | GB_18030,
    "gb_2312-80": texts(PAIRS, "gb2312"),
    "big5": BIG5,
}


class Charsets(BridgeTest):
    def check(self, label, meanings):
        body = b"\n".join(meanings)
        page = self.page(reply(body, f"text/plain; charset={label}"))
        lines = page.removeprefix(DEFAULT_HEADER).decode().removesuffix("\r\n").split("\n")
        wrong = [(code.hex(), text, line) for (code, text), line in zip(meanings.items(), lines)
                 if text != line]
        self.assertEqual((len(lines), wrong[:20]), (len(meanings), []))

    def test_every_character_of_every_charset(self):
        for label, meanings in CHARSETS.items():
            with self.subTest(label=label):
                self.check(label, meanings)
                self.check(label.upper(), texts(ASCII, "ascii"))

    def test_iso_2022_jp_has_the_characters_of_euc_jp(self):
        self.check("iso-2022-jp", {
            b"\x1B$B" + bytes(byte & 0x7F for byte in code) + b"\x1B(B": text
            for code, text in EUC_JP.items() if len(code) == 2 and code[0] > 0xA0})

    def test_hz_and_iso_2022_kr(self):
        for label, codec, square in (("hz-gb-2312", "hz", "gb2312"),
                                     ("iso-2022-kr", "iso2022_kr", "euc_kr")):
            with self.subTest(label=label):
                characters = texts(PAIRS, square).values()
                self.check(label, {text.encode(codec): text for text in characters})

    def test_the_replacement(self):
        for label in "replacement", "iso-2022-cn", "iso-2022-cn-ext":
            with self.subTest(label=label):
                self.check(label, {b"\x1B$)A\x0EHU\x0F": "\uFFFD"})

    def test_charsets_of_the_systems(self):
        for label, codec in (("cp437",) * 2, ("IBM437", "cp437"), ("ibm-850", "cp850")):
            with self.subTest(label=label):
                self.check(label, texts(HIGH, codec))
        for label, codec in (("utf-32be",) * 2, ("utf-32le",) * 2, ("ucs-4be", "utf-32be"),
                             ("ucs-4le", "utf-32le")):
            with self.subTest(label=label):
                page = self.page(reply("Zürich €".encode(codec), f"text/plain; charset={label}"))
                self.assertEqual(page, DEFAULT_HEADER + "Zürich €\r\n".encode())
        self.assertEqual(self.page(reply(b"a", "text/plain; charset=x-user-defined")),
                         DEFAULT_HEADER)
        with self.subTest(label="cp1047"):  # which Python lacks
            page = self.page(reply(b"\x81\xAD\xBD\xF0", "text/plain; charset=cp1047"))
            self.assertEqual(page, DEFAULT_HEADER + b"a[]0\r\n")


if __name__ == "__main__":
    unittest.main()
