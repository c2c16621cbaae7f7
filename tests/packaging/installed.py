"""What an installed tree says about itself: its documents' links, its man pages' references, and the
places that they and Apache's rules name.
"""
import gzip
import re

from tests.documents.test_links import dangling

# Pages of other packages of Debian's: coreutils and apache2.
OTHERS_PAGES = {"env.1", "a2enconf.8", "apache2.8"}
# A place of something that is installed, below whatever prefix; a URL is none.
PLACE = re.compile(r"(?<![:/\w])/[^\s\"()]*?/(?:bin/quintora-doctor|cgi-bin(?:/Quintora\.cgi)?"
                   r"|doc/quintora-cgi(?:/[\w./]*\w)?)(?=[\s/\"]|$)")


def text_of(file):
    return (gzip.decompress(file.read_bytes()) if file.suffix == ".gz"
            else file.read_bytes()).decode()


def man_pages(prefix):
    """The product's own."""
    return [file for file in prefix.glob("share/man/man?/*") if "quintora" in file.name.lower()]


def faults(root, prefix):
    """What leads nowhere in a tree that was installed below prefix, a place inside root."""
    inside = root / str(prefix).lstrip("/")
    documents = inside / "share/doc/quintora-cgi"
    rules = [*documents.glob("examples/quintora-cgi.conf"),
             *root.glob("etc/apache2/conf-available/quintora-cgi.conf")]
    pages = man_pages(inside)
    installed = {page.name.removesuffix(".gz") for page in pages}
    found = dangling(documents.rglob("*.md"), documents)
    for file in pages + rules:
        text = text_of(file)
        references = {".".join(words) for words in re.findall(r"^\.Xr (\S+) (\d)", text, re.M)}
        found += [(file.name, name) for name in references - installed - OTHERS_PAGES]
        found += [(file.name, place) for place in PLACE.findall(text)
                  if not (root / place.lstrip("/")).exists()]
    return found, len(pages), len(rules)
