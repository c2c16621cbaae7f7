"""The demo's arrangement for a browser: its form and the bridge under an Apache, and its server."""
import contextlib
import http.client
import os
import re
import shutil
import signal
import subprocess

from tests.support.harness import (BRIDGE, ROOT, SANITIZERS, PrivateApache, example_server,
                                   open_folder, write_preferences)


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
        self.process.stdout.close()
        self.process.wait(30)

    def url(self):
        return self.address


class DemoSite:
    """Serves the form from the start of a with block to its end, in tunnel mode at first."""

    def __enter__(self):
        with contextlib.ExitStack() as stack:
            folder = stack.enter_context(open_folder("config", "runtime", "site"))
            shutil.copy(os.path.join(ROOT, "examples", "form.html"), os.path.join(folder, "site"))
            self.config = os.path.join(folder, "config")
            environment = {"XDG_CONFIG_HOME": self.config, "XDG_CONFIG_DIRS": folder,
                           "XDG_RUNTIME_DIR": os.path.join(folder, "runtime"), **SANITIZERS}
            self.server_port = stack.enter_context(
                example_server("--apple-events", environment=environment))
            self.apache = stack.enter_context(PrivateApache(
                BRIDGE, environment=environment, document_root=os.path.join(folder, "site")))
            self.choose("TCP/IP")
            self.stack = stack.pop_all()
        return self

    def __exit__(self, *details):
        return self.stack.__exit__(*details)

    def choose(self, protocol):
        """The mode from the next request on."""
        write_preferences(self.config, QZQuintoraServerPort=self.server_port,
                          QZCGIConnectionProtocol=protocol)

    def url(self, path="/form.html"):
        return self.apache.url(path)

    def load(self, path, form=None):
        """The body of a page without a browser; a form makes it a POST."""
        connection = http.client.HTTPConnection("127.0.0.1", self.apache.port, timeout=30)
        with contextlib.closing(connection):
            head = {"Content-Type": "application/x-www-form-urlencoded"}
            connection.request("GET" if form is None else "POST", path, form, head if form else {})
            answer = connection.getresponse()
            if answer.status != 200:
                raise OSError(f"{path} gives {answer.status} {answer.reason}")
            return answer.read()
