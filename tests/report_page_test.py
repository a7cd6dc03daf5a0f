#!/usr/bin/env python3
"""The page that `tkmjpg compare --report` writes, in use; see browser.py."""
import base64
import struct
import subprocess
import unittest
import zlib

import browser

COLUMNS, LINES, FRAMES = 160, 96, 30
WORST = 17  # this frame is damaged
# A name that would run a script if the page took it for HTML.
SOURCE = "<img src=x onerror=alert(1)>&'.y4m"


def read_png(data):
    """Lines of pixels, each a tuple of its channels without alpha, of a PNG of 8 bits."""
    width, height, depth, colour = struct.unpack(">IIBB", data[16:26])
    assert depth == 8 and colour in (0, 2, 6)
    step = {0: 1, 2: 3, 6: 4}[colour]
    packed, at = b"", 8
    while at < len(data):
        size, kind = struct.unpack(">I4s", data[at:at + 8])
        packed += data[at + 8:at + 8 + size] if kind == b"IDAT" else b""
        at += 12 + size
    raw, lines = zlib.decompress(packed), []
    above = bytearray(width * step)
    for y in range(height):
        start = y * (width * step + 1)
        above = unfilter(raw[start], bytearray(raw[start + 1:start + 1 + width * step]), above,
                         step)
        lines.append([tuple(above[i:i + min(step, 3)]) for i in range(0, width * step, step)])
    return lines


def unfilter(kind, line, above, step):
    """Undoes the filter of one line (RFC 2083, 6)."""
    for i, _ in enumerate(line):
        left = line[i - step] if i >= step else 0
        corner = above[i - step] if i >= step else 0
        guess = (0, left, above[i], (left + above[i]) // 2,
                 min((left, above[i], corner), key=lambda v: abs(left + above[i] - corner - v)))
        line[i] = (line[i] + guess[kind]) & 255
    return line


class ReportPage(browser.PageTest):
    name = "report"
    widths = (1600, 700, 400)

    @staticmethod
    def make_page(folder):
        """Of a film with one frame that is far worse than the others."""
        def tkmjpg(*arguments):
            subprocess.run([browser.TKMJPG, *arguments], cwd=folder, check=True,
                           stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)

        card = f"testcard:{COLUMNS}x{LINES}@25:{FRAMES}"
        tkmjpg("encode", card, "card.avi", "--quality", "95")
        tkmjpg("decode", "card.avi", "card.y4m")
        (folder / "card.y4m").rename(folder / SOURCE)
        tkmjpg("encode", card, "film_%02d.jpg", "--quality", "40")
        tkmjpg("encode", card, "bad_%02d.jpg", "--quality", "2")
        (folder / f"bad_{WORST:02d}.jpg").replace(folder / f"film_{WORST:02d}.jpg")
        tkmjpg("compare", SOURCE, "film_%02d.jpg", "--report", "report.html")
        return folder / "report.html"

    def choose(self, select, value):
        self.browser.run("""const select = document.getElementById(arguments[0]);
            select.value = arguments[1];
            select.dispatchEvent(new Event("change"));""", select, value)

    def move_slider(self, percent):
        """As a user does: the mouse goes down on the slider."""
        x, y = self.browser.run("""const slider = document.getElementById("cut");
            slider.scrollIntoView({ block: "center" });
            const box = slider.getBoundingClientRect(), thumb = 16;
            return [box.left + thumb / 2 + (box.width - thumb) * arguments[0] / 100,
              box.top + box.height / 2];""", percent)
        for kind in ("mousePressed", "mouseReleased"):
            self.browser.devtools("Input.dispatchMouseEvent", type=kind, x=x, y=y, button="left",
                                  buttons=1, clickCount=1)

    def shown(self):
        return read_png(self.browser.screenshot("article:not([hidden]) .stage"))

    def embedded(self, kind):
        url = self.browser.run(
            "return document.querySelector(`article:not([hidden]) .${arguments[0]}`).src", kind)
        return read_png(base64.b64decode(url.partition(",")[2]))

    def test_slider_moves_between_source_and_decoded(self):
        self.choose("zoom", "1")
        source, decoded = self.embedded("source"), self.embedded("decoded")
        self.assertNotEqual(source, decoded)
        self.move_slider(100)
        self.assertEqual(self.shown(), source)
        self.move_slider(0)
        self.assertEqual(self.shown(), decoded)
        self.move_slider(50)
        for line, left, right in zip(self.shown(), source, decoded):
            self.assertEqual(line[:COLUMNS // 2 - 4], left[:COLUMNS // 2 - 4])
            self.assertEqual(line[COLUMNS // 2 + 4:], right[COLUMNS // 2 + 4:])

    def test_difference_is_amplified(self):
        self.choose("zoom", "1")
        self.choose("right", "difference")
        self.move_slider(0)
        difference = [level for line in self.embedded("difference") for level, in line]
        self.assertGreater(max(difference), 20)
        for gain in (1, 8, 32):
            self.choose("gain", str(gain))
            levels = [level for line in self.shown() for level, _, _ in line]
            self.assertEqual(levels, [min(255, gain * level) for level in difference])

    def test_worst_frame_is_chosen_and_others_on_demand(self):
        names = self.browser.run("""
            return [...document.querySelectorAll(".tabs button")].map((tab) => tab.textContent);""")
        self.assertEqual(len(names), 4)
        self.assertRegex(names[0], rf"^Frame {WORST}\d\d\.\d\d dB$")
        before = self.browser.screenshot("article:not([hidden]) .stage")
        self.browser.run("document.querySelectorAll('.tabs button')[1].click();")
        self.assertNotEqual(self.browser.screenshot("article:not([hidden]) .stage"), before)
        self.assertEqual(self.browser.run(
            "return document.querySelectorAll('article:not([hidden])').length;"), 1)

    def test_readout_tells_the_frame_under_the_pointer(self):
        x, y = self.browser.run("""const svg = document.querySelector("#psnr svg");
            svg.scrollIntoView({ block: "center" });
            const mark = svg.querySelector(".worst-mark.chosen").getBoundingClientRect();
            return [mark.left + mark.width / 2, mark.top + mark.height / 2];""")
        self.browser.devtools("Input.dispatchMouseEvent", type="mouseMoved", x=x, y=y)
        self.assertRegex(self.browser.run("return document.querySelector('.readout').textContent"),
                         rf"^frame {WORST} \(0\.68 s\): Y \d+\.\d\d dB, Cb .* bytes$")

    def test_waveform_is_the_luma_of_the_picture(self):
        waveform = self.embedded("waveform")
        self.assertEqual(len(waveform), 256)
        lines = self.browser.run("""
            const monitor = document.querySelector("article:not([hidden]) .monitor img");
            const box = monitor.getBoundingClientRect();
            return [...monitor.parentElement.querySelectorAll("hr")].map(
              (line) => line.getBoundingClientRect().top - box.top);""")
        for line, level in zip(lines, (235, 16), strict=True):
            self.assertAlmostEqual(line, 255.5 - level, delta=0.6)
        # Grey pixels tell their luma.
        for x in range(COLUMNS):
            for r, g, b in (line[x] for line in self.embedded("source")[::16]):
                if r == g == b:
                    level = round(16 + r * 219 / 255)
                    self.assertGreater(waveform[255 - level][x][0], 0)

    def test_names_are_text(self):
        self.assertIn(SOURCE, self.browser.run("return document.querySelector('h1').textContent"))
        self.assertIn(SOURCE, self.browser.run("return document.title"))


if __name__ == "__main__":
    unittest.main(argv=["report_page_test"])
