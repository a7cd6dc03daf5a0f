#!/usr/bin/env python3
"""The page about the project, in use; see browser.py."""
import subprocess
import unittest
from pathlib import Path

import browser

MAKE_PAGE = Path(__file__).resolve().parents[1] / "docs/make_page.py"


class DocsPage(browser.PageTest):
    name = "docs"

    @staticmethod
    def make_page(folder):
        subprocess.run([MAKE_PAGE, browser.TKMJPG, "1.2.3", folder / "index.html"], check=True)
        return folder / "index.html"

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


if __name__ == "__main__":
    unittest.main(argv=["docs_page_test"])
