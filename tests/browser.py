"""Tests of pages in headless Chromium, driven through WebDriver.

usage of each: TKMJPG CHROMEDRIVER CHROMIUM [FOLDER]

FOLDER gets screenshots, to look at.
"""
import base64
import json
import re
import subprocess
import sys
import tempfile
import unittest
import urllib.request
from pathlib import Path

TKMJPG, CHROMEDRIVER, CHROMIUM = (str(Path(name).resolve()) for name in sys.argv[1:4])
SCREENSHOTS = Path(sys.argv[4]) if len(sys.argv) > 4 else None

CHROMIUM_OPTIONS = ["--headless", "--no-sandbox", "--disable-gpu", "--disable-quic",
                    "--no-first-run", "--disable-background-networking",
                    "--disable-component-update", "--disable-sync", "--force-color-profile=srgb",
                    "--hide-scrollbars"]  # a screenshot of the whole page has none either


class Browser:
    """A WebDriver session."""

    def __init__(self, folder):
        self.driver = subprocess.Popen([CHROMEDRIVER, "--port=0"], stdout=subprocess.PIPE,
                                       stderr=subprocess.DEVNULL, text=True)
        self.session = None
        port = next(int(match[1]) for line in self.driver.stdout
                    if (match := re.search(r"started successfully on port (\d+)", line)))
        self.url = f"http://127.0.0.1:{port}"
        options = {"binary": CHROMIUM,
                   "args": [*CHROMIUM_OPTIONS, f"--user-data-dir={folder}"]}
        wanted = {"browserName": "chrome", "goog:loggingPrefs": {"browser": "ALL"},
                  "goog:chromeOptions": options}
        answer = self.call("/session", {"capabilities": {"alwaysMatch": wanted}})
        self.session = f"/session/{answer['sessionId']}"

    def close(self):
        if self.session:
            self.call(self.session, None, "DELETE")
        self.driver.terminate()
        self.driver.wait()
        self.driver.stdout.close()

    def call(self, path, body, method="POST"):
        data = None if body is None else json.dumps(body).encode()
        request = urllib.request.Request(self.url + path, data, method=method)
        with urllib.request.urlopen(request, timeout=60) as answer:
            return json.load(answer)["value"]

    def open(self, path):
        self.call(self.session + "/url", {"url": path.as_uri()})

    def run(self, script, *arguments):
        return self.call(self.session + "/execute/sync",
                         {"script": script, "args": list(arguments)})

    def devtools(self, command, **parameters):
        return self.call(self.session + "/goog/cdp/execute",
                         {"cmd": command, "params": parameters})

    def set_screen(self, width, scheme="light"):
        self.devtools("Emulation.setDeviceMetricsOverride", width=width, height=900,
                      deviceScaleFactor=1, mobile=False)
        self.devtools("Emulation.setEmulatedMedia",
                      features=[{"name": "prefers-color-scheme", "value": scheme}])

    def screenshot(self, selector=None):
        """The PNG of an element, or of the whole page."""
        box = self.run("""const box = arguments[0]
              ? document.querySelector(arguments[0]).getBoundingClientRect()
              : document.documentElement.getBoundingClientRect();
            return [box.left + scrollX, box.top + scrollY, box.width, box.height];""", selector)
        clip = dict(zip(("x", "y", "width", "height"), box), scale=1)
        return base64.b64decode(self.devtools("Page.captureScreenshot", clip=clip,
                                              captureBeyondViewport=True)["data"])

    def log(self):
        return self.call(self.session + "/se/log", {"type": "browser"})


class PageTest(unittest.TestCase):
    """Tests of one page, which `make_page` writes into a folder that is gone with them."""
    name = None  # of the screenshots
    widths = (1600, 400)

    @classmethod
    def setUpClass(cls):
        folder = Path(cls.enterClassContext(tempfile.TemporaryDirectory()))
        cls.page = cls.make_page(folder)
        cls.browser = Browser(folder / "profile")
        cls.addClassCleanup(cls.browser.close)

    def setUp(self):
        self.browser.set_screen(1600)
        self.browser.open(self.page)

    def tearDown(self):
        self.assertEqual(self.browser.log(), [])  # errors of scripts, refused requests

    def test_fits_every_screen(self):
        looks = set()
        for width in self.widths:
            for scheme in ("light", "dark"):
                self.browser.set_screen(width, scheme)
                with self.subTest(width=width, scheme=scheme):
                    self.assertLessEqual(*self.browser.run(
                        "const page = document.documentElement;"
                        "return [page.scrollWidth, page.clientWidth];"))
                looks.add(self.browser.run(
                    "return getComputedStyle(document.body).backgroundColor;"))
                if SCREENSHOTS:
                    SCREENSHOTS.mkdir(exist_ok=True)
                    picture = SCREENSHOTS / f"{self.name}_{width}_{scheme}.png"
                    picture.write_bytes(self.browser.screenshot())
        self.assertEqual(len(looks), 2)
