"""The demo page in a real browser: the answer shows what a visitor types, in both modes."""
import functools
import itertools
import subprocess
import unittest
from urllib.parse import parse_qs, urlencode

from tests.browser.chromium import Chromium
from tests.browser.demo_site import DemoSite, FirstCommand

from apple_events import StatementReader
from quintora_server import decode_body

MODES = {"TCP/IP": "tunnel", "AppleEvents": "Apple-event"}
NAME = 'Zoë "Zed" Müller & Söhne + 100 %'
NOTE = """ <b>Ä ö ü ß</b>, 'einfach', "doppelt", “typografisch” </pre><script>
1 + 1 = 2 & 50 % von 4; %41 %zz &amp; ? # = \\ {Klammern} €

😀 👩‍👩‍👧 𝄞 (null) ")) """
SEARCH = 'Käse & "Brot" + 50 % = 😀 <i> %2B # ?'
# The form's limits in UTF-16 code units, and a character that costs most bytes in Apple-event mode.
LIMITS = {"Name": 60, "Note": 500}
COSTLIEST = "€"
PHONE = 375, 667
SIZES = ((320, 640), PHONE, (760, 1000), (1280, 800))
LOWEST_CONTRAST = 4.5

FORM = "/cgi-bin/Quintora.cgi?form"
STYLE = "/cgi-bin/Quintora.cgi?style"

PAIRS = """[...document.querySelectorAll("#%s dt")].map(
    name => [name.textContent, name.nextElementSibling.textContent])"""
# Finds the elements with text of their own whose colour is too close to the background's.
PALE_TEXTS = """(() => {
  const channels = colour => colour.match(/[\\d.]+/g).map(Number);
  const luminance = colour => channels(colour).slice(0, 3)
    .map(value => value / 255)
    .map(value => value <= .04045 ? value / 12.92 : ((value + .055) / 1.055) ** 2.4)
    .reduce((sum, value, index) => sum + value * [.2126, .7152, .0722][index], 0);
  const background = element => {
    const colour = getComputedStyle(element).backgroundColor;
    return channels(colour)[3] === 0 ? background(element.parentElement) : colour;
  };
  const contrast = element => {
    const both = [getComputedStyle(element).color, background(element)].map(luminance);
    return (Math.max(...both) + .05) / (Math.min(...both) + .05);
  };
  const texts = [...document.body.querySelectorAll("*")].filter(element =>
    element.matches("input:not([type=hidden], [type=checkbox])") ||
    [...element.childNodes].some(node => node.nodeType === 3 && node.data.trim()));
  return [texts.length, texts.filter(element => contrast(element) < %s)
    .map(element => `${element.outerHTML.slice(0, 80)}: ${contrast(element)}`)];
})()""" % LOWEST_CONTRAST


def in_each_mode(test):
    """Runs the test once for each mode, which it gets as an argument."""
    @functools.wraps(test)
    def run(self):
        for protocol, mode in MODES.items():
            with self.subTest(mode=mode):
                self.site.choose(protocol)
                test(self, mode)
    return run


class BrowserTest(unittest.TestCase):
    """One browser and one site for all tests of a class; each test chooses the mode it needs."""

    @classmethod
    def setUpClass(cls):
        cls.site, cls.browser = cls.enter(DemoSite()), cls.enter(Chromium())

    @classmethod
    def enter(cls, context):
        value = context.__enter__()
        cls.addClassCleanup(context.__exit__, None, None, None)
        return value

    def open_form(self):
        """Opens the site's address without a path, which leads to the form."""
        self.browser.open(self.site.url())
        self.check_page(FORM, STYLE)

    def check_page(self, *paths):
        """Exactly what the page needs was loaded, and the browser does not complain."""
        responses, complaints = self.browser.report()
        types = ["text/html", "text/css"]
        self.assertEqual(responses, [(path, 200, kind) for path, kind in zip(paths, types)])
        self.assertEqual(complaints, [])

    def shown(self, section):
        return [tuple(pair) for pair in self.browser.evaluate(PAIRS % section)]

    def text(self, selector):
        return self.browser.evaluate(f'document.querySelector("{selector}").textContent')

    def check_way(self, mode):
        """The page names the chosen mode and port."""
        port = self.site.port
        sentence = (f"came in tunnel mode, to port {port}." if mode == "tunnel" else
                    "came in Apple-event mode, which needs no port.")
        self.assertIn(sentence, self.text("header p"))
        self.assertEqual(self.text(".chosen"), f"HTTP to port {port}" if mode == "tunnel" else
                         "Apple event to QUIZ")

    def send_form(self, name=NAME, note=NOTE):
        self.open_form()
        self.browser.type("Name", name)
        self.browser.type("Note", note)
        self.browser.click("label", "Sunday")
        self.browser.follow("button", "Send by POST")
        self.check_page("/cgi-bin/Quintora.cgi?from=form", STYLE)

    def check_fields(self, mode, name=NAME, note=NOTE):
        """All fields arrived whole, except for the spare one; tunnel mode keeps no order."""
        fields = self.shown("fields")
        if mode == "tunnel":
            fields.sort(key=lambda field: (field[0] == "spare", field[0]))
        *fields, (spare, dots) = fields
        self.assertEqual(fields, [("name", name), ("note", note), ("saturday", "on"),
                                  ("sunday", "on")])
        self.assertEqual(spare, "spare")
        if mode == "tunnel":
            self.assertGreaterEqual(dots.count("."), 2 * sum(LIMITS.values()))

    def ask(self):
        self.open_form()
        self.browser.type("Search for", SEARCH)
        self.browser.follow("button", "Ask by GET")

    def check_query(self):
        query = self.browser.evaluate("location.search")
        self.assertEqual(parse_qs(query[1:]), {"search": [SEARCH]})
        self.check_page(f"/cgi-bin/Quintora.cgi{query}", STYLE)
        self.assertEqual(self.text("#query code"), query)
        self.assertEqual(self.shown("query"), [("search", SEARCH)])
        self.assertEqual(self.shown("fields"), [])


class RoundTrip(BrowserTest):
    @in_each_mode
    def test_form_sent_by_post_comes_back_as_it_was_typed(self, mode):
        self.send_form()
        self.check_way(mode)
        self.check_fields(mode)

    @in_each_mode
    def test_raw_request_holds_the_form_in_the_language_of_its_mode(self, mode):
        self.send_form()
        raw = self.text("pre")
        if mode == "tunnel":
            head, body = raw.split("\n\n")
            self.assertTrue(head.startswith("POST /apache-tunnel/ HTTP/1.1\nHost: localhost:"))
            _, fields = decode_body(body.encode())
        else:
            _, fields = StatementReader(raw.encode()).statement()
        fields = {name: value.replace("\r\n", "\n") for name, value in fields}
        self.assertEqual((fields["name"], fields["note"]), (NAME, NOTE))

    @in_each_mode
    def test_form_filled_to_its_limits_comes_back_whole(self, mode):
        for text, units in (COSTLIEST, 1), ("😀", 2):
            name, note = (text * (limit // units) for limit in LIMITS.values())
            self.send_form(name + "x", note + "x")
            self.check_way(mode)
            self.check_fields(mode, name, note)

    @in_each_mode
    def test_emptied_form_comes_back_empty(self, mode):
        self.send_form("", "")
        self.check_way(mode)
        self.check_fields(mode, "", "")

    @in_each_mode
    def test_query_sent_by_get_comes_back_raw_and_as_it_was_typed(self, mode):
        self.ask()
        self.check_way(mode)
        self.check_query()

    def test_answer_leads_back_to_the_form(self):
        self.site.choose("TCP/IP")
        self.send_form()
        self.browser.follow("a", "To the form")
        self.check_page(FORM, STYLE)


class Newcomer(BrowserTest):
    @classmethod
    def setUpClass(cls):
        cls.site, cls.browser = cls.enter(FirstCommand()), cls.enter(Chromium())

    def test_first_command_of_the_readme_leads_to_a_page_that_answers(self):
        self.send_form()
        self.assertIn("came in tunnel mode", self.text("header p"))
        self.check_fields("tunnel")


class WithoutScripts(BrowserTest):
    @in_each_mode
    def test_both_forms_work(self, mode):
        self.browser.execute_cdp_cmd("Emulation.setScriptExecutionDisabled", {"value": True})
        self.browser.open("data:text/html,<title>no</title><script>document.title='yes'</script>")
        self.assertEqual(self.browser.evaluate("document.title"), "no")
        self.send_form()
        self.check_way(mode)
        self.check_fields(mode)
        self.ask()
        self.check_way(mode)
        self.check_query()

    @in_each_mode
    def test_no_page_holds_any(self, mode):
        for visit in self.open_form, self.send_form, self.ask:
            visit()
            self.assertEqual(self.browser.evaluate("document.scripts.length"), 0, visit)


class Looks(BrowserTest):
    """What every visitor needs to read and to use the pages."""

    def test_text_stands_out_and_nothing_is_wider_than_the_window(self):
        for visit in self.open_form, self.send_form, self.ask:
            visit()
            for scheme, size in itertools.product(("light", "dark"), SIZES):
                with self.subTest(page=visit.__name__, scheme=scheme, size=size):
                    self.browser.show_as(*size, scheme)
                    self.fold(True)
                    self.check_width(size[0])
                    self.fold(False)
                    self.check_width(size[0])
                    count, pale = self.browser.evaluate(PALE_TEXTS)
                    self.assertGreater(count, 10)
                    self.assertEqual(pale, [])

    def check_width(self, width):
        self.assertLessEqual(
            self.browser.evaluate("document.documentElement.scrollWidth"), width)

    def fold(self, is_folded):
        """Folds everything foldable, or opens it."""
        self.browser.evaluate("document.querySelectorAll('details').forEach("
                              f"details => details.open = {'false' if is_folded else 'true'})")

    @in_each_mode
    def test_phone_shows_the_whole_answer_at_once(self, mode):
        self.browser.show_as(*PHONE)
        self.send_form("Zoë", "1 + 1 = 2")
        self.assertLess(self.bottom("#fields"), PHONE[1])
        self.ask()
        self.assertLess(self.bottom("#query"), PHONE[1])

    @in_each_mode
    def test_padding_raw_request_and_variables_are_folded_away(self, mode):
        self.send_form()
        folded = ["...", "ApacheTunnel_" if mode == "tunnel" else "initializeDictionary",
                  "REMOTE_PORT"]
        page = self.browser.evaluate("document.body.innerText")
        self.assertEqual([text for text in folded if text in page], [])
        self.fold(False)
        page = self.browser.evaluate("document.body.innerText")
        self.assertEqual([text for text in folded if text not in page], [])

    def bottom(self, selector):
        return self.browser.evaluate(
            f"document.querySelector('{selector}').getBoundingClientRect().bottom")

    def test_schemes_differ(self):
        colours = set()
        for scheme in "light", "dark":
            self.browser.show_as(*SIZES[0], scheme)
            self.open_form()
            colours.add(self.browser.evaluate("getComputedStyle(document.body).backgroundColor"))
        self.assertEqual(len(colours), 2)

    def test_every_control_has_a_name_and_every_page_an_outline(self):
        self.open_form()
        self.assertCountEqual(self.named("textbox", "searchbox", "checkbox", "button", "link"), [
            ("textbox", "Name"), ("textbox", "Note"), ("checkbox", "Saturday"),
            ("checkbox", "Sunday"), ("button", "Send by POST"), ("searchbox", "Search for"),
            ("button", "Ask by GET"), ("link", "a page"), ("link", "the same as plain text")])
        self.assertEqual(self.outline(), ["en", "H1", "H2", "H2"])
        self.send_form()
        self.assertEqual(self.named("link"), [("link", "To the form")])
        self.assertEqual(self.outline(), ["en", "H1", "H2", "H2", "H2", "H2"])

    def test_a_field_with_a_limit_says_so(self):
        self.open_form()
        limits = self.browser.evaluate("""[...document.querySelectorAll("[maxlength]")].map(
            field => [field.labels[0].textContent, field.maxLength, document.getElementById(
                field.getAttribute("aria-describedby")).innerText])""")
        self.assertEqual(limits, [[name, limit, f"{limit} characters, more is cut"]
                                  for name, limit in LIMITS.items()])

    def named(self, *roles):
        """Role and name of each of these controls, as a screen reader gets them."""
        nodes = self.browser.execute_cdp_cmd("Accessibility.getFullAXTree", {})["nodes"]
        return [(node["role"]["value"], node["name"]["value"]) for node in nodes
                if not node["ignored"] and node["role"]["value"] in roles]

    def outline(self):
        return self.browser.evaluate("""[document.documentElement.lang,
            ...[...document.querySelectorAll("h1, h2, h3")].map(heading => heading.tagName)]""")


class Markup(unittest.TestCase):
    """An HTML checker reads every kind of page."""

    def test_checker_has_nothing_to_say(self):
        form = urlencode({"a": NOTE, NAME: "", "b": "\0\r\n"}).encode() + b"&%C3=%zz"
        with DemoSite() as site:
            self.check("form", site.load(FORM))
            for protocol, mode in MODES.items():
                site.choose(protocol)
                body = form if mode == "Apple-event" else form.partition(b"&%C3")[0]
                self.check(f"POST, {mode}", site.load("/cgi-bin/Quintora.cgi?from=form", body))
                for query in "", f"?{urlencode({'search': SEARCH})}", "?a=%zz&&=&<>":
                    self.check(f"GET {query}, {mode}", site.load("/cgi-bin/Quintora.cgi" + query))

    def check(self, name, page):
        with self.subTest(page=name):
            self.assertIn(b"</html>", page)
            self.assertEqual(self.faults(page), (0, ""))

    def faults(self, page):
        # A visitor may send a field without a name, and the page shows it as it is.
        checker = subprocess.run(
            ["tidy", "-errors", "-quiet", "-utf8", "--drop-empty-elements", "no"], input=page,
            capture_output=True, timeout=20)
        return checker.returncode, checker.stderr.decode()

    def test_checker_speaks_up(self):
        with DemoSite() as site:
            page = site.load(FORM).replace(b"</form>", b"")
        status, text = self.faults(page)
        self.assertEqual(status, 1)
        self.assertIn("missing </form>", text)


if __name__ == "__main__":
    unittest.main()
