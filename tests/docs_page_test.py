#!/usr/bin/env python3
"""Makes the page about the project, opens it in headless Chromium and uses it.

usage: docs_page_test.py TKMJPG CHROMEDRIVER CHROMIUM [FOLDER]

FOLDER gets screenshots, to look at.
"""
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

from browser import Browser

TKMJPG, CHROMEDRIVER, CHROMIUM = (str(Path(name).resolve()) for name in sys.argv[1:4])
SCREENSHOTS = Path(sys.argv[4]) if len(sys.argv) > 4 else None
MAKE_PAGE = Path(__file__).resolve().parents[1] / "docs/make_page.py"


class DocsPage(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = tempfile.TemporaryDirectory()
        cls.addClassCleanup(cls.folder.cleanup)
        cls.page = Path(cls.folder.name) / "index.html"
        subprocess.run([MAKE_PAGE, TKMJPG, "1.2.3", cls.page], check=True)
        cls.browser = Browser(CHROMEDRIVER, CHROMIUM, Path(cls.folder.name) / "profile")
        cls.addClassCleanup(cls.browser.close)

    def setUp(self):
        self.browser.set_screen(1600)
        self.browser.open(self.page)

    def tearDown(self):
        self.assertEqual(self.browser.log(), [])  # errors of scripts, refused requests

    def test_links_lead_somewhere(self):
        links = self.browser.run("""return [...document.querySelectorAll("a")].map((link) =>
            [link.getAttribute("href"), document.querySelector(link.getAttribute("href")) != null]
          );""")
        self.assertGreaterEqual(len(links), 8)
        self.assertEqual([href for href, found in links if not found], [])

    def test_pictures_are_there(self):
        sizes = self.browser.run("""return Promise.all([...document.images].map((image) =>
            image.decode().then(() => image.naturalWidth)));""")
        self.assertEqual(sizes, [640] * 5)

    def test_slider_moves_and_qualities_change_the_picture(self):
        seen = set()
        for place in (0, 50, 100):
            self.browser.run("""const cut = document.getElementById("cut");
                cut.value = arguments[0]; cut.dispatchEvent(new Event("input"));""", place)
            seen.add(self.browser.screenshot("#slider"))
        self.assertEqual(len(seen), 3)
        self.browser.run("""const cut = document.getElementById("cut");
            cut.value = 0; cut.dispatchEvent(new Event("input"));""")
        choices = self.browser.run(
            "return [...document.querySelectorAll('#choices input')].map((one) => one.value);")
        for number, _ in enumerate(choices):
            self.browser.run(
                "document.querySelectorAll('#choices input')[arguments[0]].click();", number)
            seen.add(self.browser.screenshot("#slider"))
        self.assertEqual(len(seen), 2 + len(choices))

    def test_interface_is_told(self):
        text = self.browser.run("return document.body.textContent;")
        for name in ("CompressBuffer_MJPG", "DecompressBuffer_MJPG", "TkmjpgMaxStreamSize",
                     "TKMJPG_D_ONE_FIELD_SMART", "output_size"):
            self.assertIn(name, text)
        self.assertNotIn("{{", text)

    def test_fits_every_screen(self):
        for width in (1600, 400):
            for scheme in ("light", "dark"):
                self.browser.set_screen(width, scheme)
                with self.subTest(width=width, scheme=scheme):
                    self.assertLessEqual(*self.browser.run(
                        "const page = document.documentElement;"
                        "return [page.scrollWidth, page.clientWidth];"))
                if SCREENSHOTS:
                    SCREENSHOTS.mkdir(exist_ok=True)
                    name = f"docs_{width}_{scheme}.png"
                    (SCREENSHOTS / name).write_bytes(self.browser.screenshot())


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
