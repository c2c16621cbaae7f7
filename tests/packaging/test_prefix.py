"""What `cmake --install --prefix` writes names that prefix, wherever the build was configured for."""
import os
import pathlib
import subprocess
import tempfile
import unittest

from tests.packaging.installed import PLACE, faults, man_pages, text_of

BUILD = os.environ["QUINTORA_BUILD"]


class Prefix(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)

    def install(self, prefix, **environment):
        subprocess.run(["cmake", "--install", BUILD, "--prefix", prefix], check=True,
                       stdout=subprocess.DEVNULL, env={**os.environ, **environment})

    def check(self, root, prefix):
        found, pages, rules = faults(root, prefix)
        self.assertEqual(([], 3, 1), (found, pages, rules))
        inside = root / str(prefix).lstrip("/")
        example = text_of(inside / "share/doc/quintora-cgi/examples/quintora-cgi.conf")
        self.assertEqual(PLACE.findall(example), [f"{prefix}/lib/cgi-bin"] * 2)
        for page in man_pages(inside):
            self.assertTrue(PLACE.findall(text_of(page)), page.name)

    def test_each_installation_names_its_own(self):
        for name in "first", "second", "second":
            prefix = self.folder / name
            self.install(prefix)
            self.check(pathlib.Path("/"), prefix)

    def test_prefix_is_where_the_tree_will_be_and_not_where_it_is_put(self):
        self.install("/opt/quintora", DESTDIR=str(self.folder))
        self.check(self.folder, "/opt/quintora")

    def test_prefix_that_ends_like_the_packages(self):
        prefix = self.folder / "usr"
        self.install(prefix)
        self.check(pathlib.Path("/"), prefix)

    def test_place_that_is_not_there_is_a_fault(self):
        self.install(self.folder)
        page = self.folder / "share/man/man8/Quintora.cgi.8"
        moved = f"{self.folder}/nowhere/lib"
        page.write_text(page.read_text().replace(f"{self.folder}/lib", moved) + ".Xr nowhere 7\n")
        guide = self.folder / "share/doc/quintora-cgi/docs/upgrading.md"
        guide.write_text(guide.read_text() + "[x](nowhere.md) [y](apache.md#nowhere)\n")
        found, _, _ = faults(pathlib.Path("/"), self.folder)
        self.assertEqual({(page.name, "nowhere.7"), (page.name, f"{moved}/cgi-bin/Quintora.cgi"),
                          (page.name, f"{moved}/cgi-bin"), (guide.name, "nowhere.md"),
                          (guide.name, "apache.md#nowhere")}, set(found))


if __name__ == "__main__":
    unittest.main()
