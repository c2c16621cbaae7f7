"""A headless Chromium, driven as a person would: it looks at labels, clicks and types.

The DevTools protocol is spoken over two pipes, as JSON texts that a NUL ends, so that neither a
port nor a package is needed. Every wait ends after PATIENCE seconds.
"""
import base64
import contextlib
import json
import os
import select
import shutil
import signal
import subprocess
import tempfile
import time

PROGRAM = "chromium"
PATIENCE = 20  # seconds
OPTIONS = (
    "--headless", "--remote-debugging-pipe", "--disable-gpu", "--disable-quic", "--no-first-run",
    "--disable-background-networking", "--disable-component-update", "--disable-sync",
    "--disable-breakpad", "--disable-dev-shm-usage", "--no-proxy-server", "--hide-scrollbars")
# The program expects its pipes under the numbers 3 and 4.
WITH_PIPES = 'exec "$@" 3<&"$COMMANDS" 4>&"$REPORTS"'
# What a page may report that nobody wants to hear.
COMPLAINTS = {"Log.entryAdded", "Runtime.consoleAPICalled", "Runtime.exceptionThrown",
              "Network.loadingFailed", "Audits.issueAdded"}


class ChromiumError(Exception):
    """It does not start, does not answer in time, or refuses a command."""


class Chromium:
    """One browser with one empty page, from the start of a with block to its end."""

    def __enter__(self):
        program = shutil.which(PROGRAM)
        if not program:
            raise ChromiumError("No Chromium found: install Debian's package chromium.")
        self.folder = tempfile.mkdtemp(prefix="quintora-chromium-")
        self.buffer, self.events, self.last_id, self.session = b"", [], 0, None
        command_end, self.commands = os.pipe()
        self.reports, report_end = os.pipe()
        # The sandbox does not work for root.
        rights = ["--no-sandbox"] if os.geteuid() == 0 else []
        self.process = subprocess.Popen(
            ["/bin/sh", "-c", WITH_PIPES, "sh", program, *OPTIONS, *rights,
             f"--user-data-dir={self.folder}/profile", "about:blank"],
            env={**os.environ, "HOME": self.folder, "COMMANDS": str(command_end),
                 "REPORTS": str(report_end)},
            pass_fds=(command_end, report_end), stdin=subprocess.DEVNULL,
            stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, start_new_session=True)
        os.close(command_end)
        os.close(report_end)
        try:
            self._attach()
        except BaseException:
            self.__exit__()
            raise
        return self

    def __exit__(self, *_):
        with contextlib.suppress(ChromiumError, OSError):
            self.session = None
            self.call("Browser.close")
        try:
            self.process.wait(PATIENCE)
        except subprocess.TimeoutExpired:
            os.killpg(self.process.pid, signal.SIGKILL)
            self.process.wait()
        os.close(self.commands)
        os.close(self.reports)
        shutil.rmtree(self.folder, ignore_errors=True)

    def _attach(self):
        page = next(target for target in self.call("Target.getTargets")["targetInfos"]
                    if target["type"] == "page")
        self.session = self.call("Target.attachToTarget", targetId=page["targetId"],
                                 flatten=True)["sessionId"]
        for domain in "Page", "Runtime", "Log", "Network", "Audits":
            self.call(f"{domain}.enable")

    def call(self, method, **parameters):
        """The result of a command; events that come before it are kept."""
        self.last_id += 1
        message = {"id": self.last_id, "method": method, "params": parameters}
        if self.session:
            message["sessionId"] = self.session
        os.write(self.commands, json.dumps(message).encode() + b"\0")
        deadline = time.monotonic() + PATIENCE
        while (answer := self._receive(deadline, method)).get("id") != self.last_id:
            self.events.append(answer)
        if "error" in answer:
            raise ChromiumError(f"{method}: {answer['error']}")
        return answer["result"]

    def _receive(self, deadline, what):
        while b"\0" not in self.buffer:
            left = max(deadline - time.monotonic(), 0)
            if not select.select([self.reports], [], [], left)[0]:
                raise ChromiumError(f"No answer to {what} within {PATIENCE} seconds.")
            data = os.read(self.reports, 1 << 20)
            if not data:
                raise ChromiumError(f"Chromium ended before it answered {what}.")
            self.buffer += data
        message, _, self.buffer = self.buffer.partition(b"\0")
        return json.loads(message)

    @contextlib.contextmanager
    def next_page(self):
        """Whatever the block does must lead to another page; ends when that is loaded."""
        self.events.clear()
        yield
        deadline = time.monotonic() + PATIENCE
        while not any(event.get("method") == "Page.loadEventFired" for event in self.events):
            self.events.append(self._receive(deadline, "a click"))

    def open(self, url):
        with self.next_page():
            self.call("Page.navigate", url=url)

    def complaints(self):
        """What the browser had to say about the page since it was asked for."""
        self.evaluate("0")  # events that are under way come before this answer
        return [event for event in self.events if event.get("method") in COMPLAINTS]

    def responses(self):
        """Path and query, status and type of all that was loaded for the page over HTTP."""
        found = [event["params"]["response"] for event in self.events
                 if event.get("method") == "Network.responseReceived"]
        return [("/" + answer["url"].split("/", 3)[3], answer["status"], answer["mimeType"])
                for answer in found if answer["url"].startswith("http:")]

    def evaluate(self, expression):
        """The value of a JavaScript expression; works on pages whose own scripts are disabled."""
        answer = self.call("Runtime.evaluate", expression=expression, returnByValue=True)
        if "exceptionDetails" in answer:
            raise ChromiumError(f"{expression}: {answer['exceptionDetails']}")
        return answer["result"].get("value")

    def click(self, tag, text):
        """Clicks in the middle of the one element with this tag and this text."""
        spot = self.evaluate("""(([element, ...others]) => {
          if (!element || others.length) return null;
          element.scrollIntoView({block: "center", behavior: "instant"});
          const box = element.getBoundingClientRect();
          return [box.left + box.width / 2, box.top + box.height / 2];
        })([...document.querySelectorAll(%s)].filter(found => found.textContent.trim() === %s))"""
                             % (json.dumps(tag), json.dumps(text)))
        if not spot:
            raise ChromiumError(f"There is not one {tag} with the text {text}.")
        for kind in "mousePressed", "mouseReleased":
            self.call("Input.dispatchMouseEvent", type=kind, x=spot[0], y=spot[1], button="left",
                      clickCount=1)

    def type(self, label, text):
        """Clicks the label and types the text in the place of what stands in its field."""
        self.click("label", label)
        self.press("a", 65, modifiers=2, commands=["selectAll"])
        self.call("Input.insertText", text=text)

    def press(self, key, code, **details):
        for kind in "rawKeyDown", "keyUp":
            self.call("Input.dispatchKeyEvent", type=kind, key=key, windowsVirtualKeyCode=code,
                      **(details if kind == "rawKeyDown" else {}))

    def show_as(self, width, height, scheme="light"):
        """Sets the size of the window and the colours that its user prefers."""
        self.call("Emulation.setDeviceMetricsOverride", width=width, height=height,
                  deviceScaleFactor=1, mobile=False)
        self.call("Emulation.setEmulatedMedia",
                  features=[{"name": "prefers-color-scheme", "value": scheme}])

    def screenshot(self, **details):
        """What the window shows, as the bytes of a PNG file."""
        return base64.b64decode(self.call("Page.captureScreenshot", **details)["data"])
