"""The demo as a site for a browser: its form and the bridge under an Apache, and its server."""
import contextlib
import http.client
import os
import re
import signal
import subprocess

from tests.support.harness import BRIDGE, ROOT

from demo import Demo


class FirstCommand:
    """The site that the README's first command makes, from that command to Ctrl-C."""

    def __enter__(self):
        with open(os.path.join(ROOT, "README.md"), encoding="utf-8") as readme:
            command = re.search(r"```sh\n(.*?) *(?:#.*)?\n", readme.read())[1]
        self.process = subprocess.Popen(command, shell=True, cwd=ROOT, stdout=subprocess.PIPE,
                                        text=True, start_new_session=True)
        for line in self.process.stdout:
            address = re.fullmatch("The form: (http://.*)\n", line)
            if address:
                self.address = address[1]
                return self
        self.__exit__()
        raise OSError(f"{command} ends with {self.process.returncode} and prints no address")

    def __exit__(self, *_):
        with contextlib.suppress(ProcessLookupError):
            os.killpg(self.process.pid, signal.SIGINT)
        self.process.communicate(timeout=30)

    def url(self):
        return self.address


class DemoSite(Demo):
    """The demo itself, running until the end of a with block, in tunnel mode at first."""

    def __init__(self):
        super().__init__(BRIDGE)

    def load(self, path, form=None):
        """Loads the body of a page without a browser, by a POST if there is a form."""
        connection = http.client.HTTPConnection("127.0.0.1", self.apache.port, timeout=30)
        with contextlib.closing(connection):
            head = {"Content-Type": "application/x-www-form-urlencoded"}
            connection.request("GET" if form is None else "POST", path, form, head if form else {})
            answer = connection.getresponse()
            if answer.status != 200:
                raise OSError(f"{path} gives {answer.status} {answer.reason}")
            return answer.read()
