"""Writes a picture of the demo's form and of its answer, side by side, for the documentation."""
import base64
import sys

from tests.browser.chromium import Chromium
from tests.browser.demo_site import DemoSite

WIDTH, HEIGHT = 620, 960
BOTH = """<!DOCTYPE html><title>Form and answer</title>
<style>body { margin: 0; display: flex; gap: 20px; background: #8d97a5 }</style>"""


def main():
    if len(sys.argv) != 2:
        sys.exit(f"usage: {sys.argv[0]} FILE")
    pictures = []
    with DemoSite() as site, Chromium() as browser:
        browser.show_as(WIDTH, HEIGHT)
        browser.open(site.url())
        pictures.append(browser.get_screenshot_as_base64())
        browser.follow("button", "Send by POST")
        pictures.append(browser.get_screenshot_as_base64())
        # The browser itself puts them together.
        browser.show_as(2 * WIDTH + 20, HEIGHT)
        page = BOTH + "".join(
            f'<img src="data:image/png;base64,{picture}">' for picture in pictures)
        browser.open(f"data:text/html;base64,{base64.b64encode(page.encode()).decode()}")
        picture = browser.get_screenshot_as_png()
    with open(sys.argv[1], "wb") as file:
        file.write(picture)


if __name__ == "__main__":
    main()
