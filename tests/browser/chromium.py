"""A headless Chromium, driven as a person would: Selenium looks at labels, clicks and types."""
import json
import os
import re
import tempfile

from selenium import webdriver
from selenium.common.exceptions import WebDriverException
from selenium.webdriver.chrome.service import Service
from selenium.webdriver.common.by import By
from selenium.webdriver.support.expected_conditions import staleness_of
from selenium.webdriver.support.wait import WebDriverWait

PATIENCE = 20  # seconds for a page
OPTIONS = (
    "--headless", "--disable-gpu", "--disable-quic", "--no-first-run",
    "--disable-background-networking", "--disable-component-update", "--disable-sync",
    "--disable-breakpad", "--disable-dev-shm-usage", "--no-proxy-server", "--hide-scrollbars")


class Chromium(webdriver.Chrome):
    """One browser with one empty page and a profile of its own, to the end of a with block."""

    def __init__(self):
        self._folder = tempfile.TemporaryDirectory(
            prefix="quintora-chromium-", ignore_cleanup_errors=True)
        log = os.path.join(self._folder.name, "driver.log")
        options = webdriver.ChromeOptions()
        options.binary_location = "/usr/bin/chromium"
        options.set_capability("goog:loggingPrefs", {"browser": "ALL", "performance": "ALL"})
        # The sandbox does not work for root.
        for option in (*OPTIONS, *(["--no-sandbox"] if os.geteuid() == 0 else [])):
            options.add_argument(option)
        # With the paths named, Selenium does not look for a browser to download.
        super().__init__(options=options, service=Service(
            "/usr/bin/chromedriver", service_args=["--verbose"], log_path=log,
            env={**os.environ, "HOME": self._folder.name, "TMPDIR": self._folder.name}))
        self._log = open(log, encoding="utf-8")
        self.set_page_load_timeout(PATIENCE)
        self.execute_cdp_cmd("Audits.enable", {})

    def quit(self):
        super().quit()
        self._log.close()
        self._folder.cleanup()

    def open(self, url):
        self.report()
        self.get(url)

    def report(self):
        """What happened since the last call: path and query, status and type of everything that was
        loaded over HTTP, and all complaints.
        """
        complaints = self.get_log("browser")
        events = [json.loads(entry["message"])["message"] for entry in self.get_log("performance")]
        complaints += [event for event in events if event["method"] == "Network.loadingFailed"]
        # The driver does not report the issues that the browser finds in a page, it only logs them.
        complaints += re.findall(r"Audits\.issueAdded .*?\n}\n", self._log.read(), re.DOTALL)
        found = [event["params"]["response"] for event in events
                 if event["method"] == "Network.responseReceived"]
        return [("/" + answer["url"].split("/", 3)[3], answer["status"], answer["mimeType"])
                for answer in found if answer["url"].startswith("http:")], complaints

    def evaluate(self, expression):
        """The value of a JavaScript expression; works on pages whose own scripts are disabled."""
        return self.execute_script(f"return {expression}")

    def click(self, tag, text):
        """Clicks the one element with this tag and this text."""
        element, = self.find_elements(By.XPATH, f"//{tag}[normalize-space() = '{text}']")
        element.click()

    def follow(self, tag, text):
        """Clicks a link or button that leads to another page, and waits until that is loaded."""
        self.report()
        page = self.find_element(By.TAG_NAME, "html")
        self.click(tag, text)
        # The driver may fail with an error of its own while one page replaces the other.
        WebDriverWait(self, PATIENCE, .01, [WebDriverException]).until(staleness_of(page))

    def type(self, label, text):
        """Clicks the label and replaces the content of its field by typing the text."""
        self.click("label", label)
        field = self.switch_to.active_element
        field.clear()
        field.send_keys(text)

    def show_as(self, width, height, scheme="light"):
        """Sets the size of the window and the colours that its user prefers."""
        self.execute_cdp_cmd("Emulation.setDeviceMetricsOverride", {
            "width": width, "height": height, "deviceScaleFactor": 1, "mobile": False})
        self.execute_cdp_cmd("Emulation.setEmulatedMedia", {
            "features": [{"name": "prefers-color-scheme", "value": scheme}]})
