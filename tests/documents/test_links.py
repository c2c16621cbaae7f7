"""The links of the documents lead to a file of the tree and to a heading in it, and those of a
package to a file that it ships.
"""
import pathlib
import re
import shutil
import subprocess
import tempfile
import unittest
from typing import NamedTuple

ROOT = pathlib.Path(__file__).resolve().parents[2]
LINK = re.compile(r"\[(?:[^\]\[]|\[[^\]]*\])*\]\(([^)\s]+)\)")
HTML_LINK = re.compile(r"""<[^>]*\s(?:href|src|srcset)=["']([^"'\s]+)""")
FENCE = re.compile(r"^(```|~~~).*?^\1[^\n]*$", re.MULTILINE | re.DOTALL)


class Link(NamedTuple):
    page: pathlib.Path
    target: str


def pages():
    return [ROOT / "README.md", ROOT / "CONTRIBUTING.md", ROOT / "CHANGELOG.md",
            *sorted((ROOT / "docs").rglob("*.md"))]


def text_of(page):
    """The page without its code blocks, in which nothing is a link or a heading."""
    return FENCE.sub("", page.read_text(encoding="utf-8"))


def links_of(page):
    # Code may contain what looks like a link.
    text = re.sub("`[^`]*`", lambda code: re.sub(r"[\[\]()]", "", code[0]), text_of(page))
    return [Link(page, target) for target in LINK.findall(text) + HTML_LINK.findall(text)]


def local_links_of(page):
    return [link for link in links_of(page) if not re.match(r"[a-z]+:", link.target)]


def dangling(pages, folder):
    """The links of the pages to files that are not below folder, or to headings that are not there."""
    return [(link.page.name, link.target) for page in pages for link in local_links_of(page)
            if not leads_into(folder.resolve(), link)]


def leads_into(folder, link):
    file, _, anchor = link.target.partition("#")
    target = ((link.page.parent / file) if file else link.page).resolve()
    return (target.is_relative_to(folder) and target.exists()
            and (not anchor or anchor in anchors_of(target)))


def anchors_of(page):
    """The anchors as the usual renderers make them of the headings."""
    anchors, seen = set(), {}
    for heading in re.findall(r"^#+ +(.*?) *#*$", text_of(page), re.MULTILINE):
        text = re.sub(r"\[([^\]]*)\]\([^)]*\)", r"\1", heading).lower()
        anchor = re.sub(r"[^\w\- ]", "", text).replace(" ", "-")
        count = seen[anchor] = seen.get(anchor, -1) + 1
        anchors.add(f"{anchor}-{count}" if count else anchor)
    return anchors


class Links(unittest.TestCase):
    def test_links_lead_to_a_file_and_to_a_heading_in_it(self):
        found = [link for page in pages() for link in local_links_of(page)]
        self.assertGreater(len(found), 20, "hardly any link was found")
        self.assertEqual([], dangling(pages(), ROOT))

    def test_readme_leads_to_every_page(self):
        linked = {(link.page.parent / link.target.partition("#")[0]).resolve()
                  for link in links_of(ROOT / "README.md")}
        for page in pages()[1:]:
            with self.subTest(page.name):
                self.assertIn(page, linked)

    def test_macos_package_has_what_its_pages_lead_to(self):
        run = subprocess.run([ROOT / "packaging/macos/package", "--dry-run"], check=True,
                             stdout=subprocess.PIPE, encoding="utf-8", timeout=60)
        with tempfile.TemporaryDirectory() as name:
            folder = pathlib.Path(name)
            for line in run.stdout.splitlines():
                source, target = line.split(" -> /")
                if (ROOT / source).is_file():  # a text; nothing is built here
                    (folder / target).parent.mkdir(parents=True, exist_ok=True)
                    shutil.copy(ROOT / source, folder / target)
            shipped = list(folder.rglob("*.md"))
            self.assertGreater(len(shipped), 5, "hardly any page is shipped")
            self.assertEqual([], dangling(shipped, folder))


if __name__ == "__main__":
    unittest.main()
