"""What cmake --install puts under a prefix: the example server starts from there."""
import os
import pathlib
import subprocess
import sys
import tempfile
import unittest

from tests.frameworks.frameworks import page_of

EXAMPLES = pathlib.Path(__file__).resolve().parents[2] / "examples"
# The demo needs a build, and a load balancer is not for a first server.
NOT_SHIPPED = "demo.py", "private_apache.py"


def example_files():
    """The names of the examples that every package has."""
    paths = [*EXAMPLES.glob("*.*"), *EXAMPLES.glob("servers/*.*")]
    return {str(path.relative_to(EXAMPLES)) for path in paths} - {*NOT_SHIPPED}


class Install(unittest.TestCase):
    def test_example_server_has_all_that_it_needs(self):
        with tempfile.TemporaryDirectory() as folder:
            subprocess.run([os.environ["QUINTORA_CMAKE"], "--install", os.environ["QUINTORA_BUILD"],
                            "--prefix", folder], check=True, stdout=subprocess.DEVNULL)
            program, = pathlib.Path(folder).rglob("examples/quintora_server.py")
            installed = {str(path.relative_to(program.parent))
                         for path in program.parent.rglob("*") if path.is_file()}
            self.assertEqual(example_files(), {name for name in installed if name[-5:] != ".conf"})
            environment = {name: value for name, value in os.environ.items()
                           if name != "PYTHONDONTWRITEBYTECODE"}
            with subprocess.Popen([sys.executable, program, "--port", "0"], env=environment,
                                  text=True, stdout=subprocess.PIPE) as server:
                self.addCleanup(server.kill)
                port = server.stdout.readline().split()[-1]
                self.assertIn("<dt>city</dt><dd>Bern</dd>", page_of(port))
                server.terminate()
            self.assertEqual([], list(program.parent.rglob("__pycache__")))


if __name__ == "__main__":
    unittest.main()
