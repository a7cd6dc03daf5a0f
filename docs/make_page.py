#!/usr/bin/env python3
"""Makes the page about the project. usage: make_page.py COMMAND VERSION OUTPUT [RESULTS...]

COMMAND is the built tkmjpg; ffmpeg reads its pictures. RESULTS are what `./bench.sh --page` left in
build/, the fastest instruction set last.
"""
import base64
import json
import subprocess
import sys
import tempfile
from html import escape
from pathlib import Path

import api_reference
import block_way

HERE = Path(__file__).resolve().parent
sys.path.append(str(HERE / "../bench"))
import page as bench_page  # noqa: E402
CARD, FRAME = "640x360@25", 12
QUALITIES = 10, 40, 75, 95
BLOCK_COLUMN, BLOCK_LINE = 21, 28  # of 8 by 8 pixels, in the picture


def run(*command):
    return subprocess.run([str(part) for part in command], check=True, stdout=subprocess.PIPE).stdout


def data_url(path, kind):
    return f"data:image/{kind};base64,{base64.b64encode(path.read_bytes()).decode()}"


def picture(path, kind, quality, attributes):
    return (f'<img src="{data_url(path, kind)}" width="640" height="360" '
            f'alt="the test picture, {quality}" {attributes}>')


def luma_block(path):
    grey = run("ffmpeg", "-v", "error", "-i", path, "-f", "rawvideo", "-pix_fmt", "gray", "-")
    left, top = BLOCK_COLUMN * 8, BLOCK_LINE * 8
    return [grey[(top + y) * 640 + left + x] for y in range(8) for x in range(8)]


def psnr_of(command, source, coded):
    text = run(command, "compare", source, coded).decode()
    return text.split(": Y ")[1].split()[0]


def scan_of(jpeg):
    begin = jpeg.index(b"\xff\xda")
    return jpeg[begin + 2 + int.from_bytes(jpeg[begin + 2:begin + 4], "big"):]


def slider(command, work):
    source = work / "source.png"
    run(command, "testcard", CARD, work / "alpha.png", "--frame", FRAME)
    run("ffmpeg", "-v", "error", "-i", work / "alpha.png", "-pix_fmt", "rgb24", source)
    parts = {"SOURCE": picture(source, "png", "source", ""), "CODED": "", "CHOICES": ""}
    for quality in QUALITIES:
        coded, film = work / f"{quality}.jpg", work / f"{quality}.mjpg"
        run(command, "encode", source, coded, "--quality", quality, "--range", "full", "--quiet")
        run(command, "encode", source, film, "--quality", quality, "--quiet")
        shown = quality == 75
        parts["CODED"] += picture(coded, "jpeg", f"quality {quality}", 'class="over" '
                                  f'data-quality="{quality}"{"" if shown else " hidden"}')
        size = film.stat().st_size
        parts["CHOICES"] += (
            f'<label><input type="radio" name="quality" value="{quality}"'
            f'{" checked" if shown else ""}> quality {quality}: {size / 1024:.0f} KiB, '
            f'{size * 8 / 640 / 360:.2f} bits a pixel, {psnr_of(command, source, film)} dB</label>')
    parts["WAY"] = block_way.draw(luma_block(source), scan_of((work / "75.jpg").read_bytes()), 0.5)
    return parts


def speed(results):
    if not results:
        return "<p>Not measured for this page: <code>./docs.sh --speed</code> does it.</p>"
    runs = [json.loads(Path(name).read_text("utf-8")) for name in results]
    best = runs[-1]
    return (f"<style>{bench_page.CHART_STYLE}</style>"
            f"<p>Beside {escape(bench_page.peer_name(best))}, one thread each, in turns, with "
            f"{escape(best['rung'])}. {escape(bench_page.machine_of(runs))} A bar is the time of a "
            "frame, where that of tkmjpg is 1 (the green line): longer is slower. "
            "<code>./bench.sh --page</code> measures every instruction set on your own machine."
            f"</p>{bench_page.charts(best)}")


def main(arguments):
    if len(arguments) < 3:
        sys.exit(__doc__)
    command, version, output = Path(arguments[0]).resolve(), arguments[1], Path(arguments[2])
    with tempfile.TemporaryDirectory() as work:
        parts = slider(command, Path(work))
    parts["VERSION"] = version
    parts["API"] = api_reference.page((HERE / "../include/tkmjpg.h").read_text("ascii"))
    parts["USE"] = (HERE / "use.html").read_text("ascii")
    parts["SPEED"] = speed(arguments[3:])
    page = (HERE / "page.html").read_text("ascii")
    for name, text in parts.items():
        page = page.replace("{{" + name + "}}", text)
    output.write_text(page, "ascii")


if __name__ == "__main__":
    main(sys.argv[1:])
