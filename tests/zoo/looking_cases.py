"""Looking at films: `info` and `compare`."""
import json
import re

import film as films
import writers
from programs import Wrong
from own_command import coded, succeeded


def info_sums_up(command, folder):
    path = coded(command, folder, films.source(176, 144, 50, "t"))
    short = succeeded(command, "info", path).stdout.decode()
    if len(short.splitlines()) > 14:
        raise Wrong(f"{len(short.splitlines())} lines")
    missing = [word for word, pattern in {
        "duration": r"\b2(\.0+)? ?s|0:02", "size": "176x144", "bit rate": r"bit/s|bits a second",
        "aspect": r"shown as \d+:\d+", "range": "range|16.{1,4}235", "fields": "field|lines first",
        "damage": "damage"}.items() if not re.search(pattern, short)]
    if missing:
        raise Wrong(f"nothing about {', '.join(missing)}")
    if len(succeeded(command, "info", path, "--frames").stdout.splitlines()) < 50:
        raise Wrong("--frames does not list 50 frames")
    json.loads(succeeded(command, "info", path, "--json").stdout)


def info_counts_repeats(command, folder):
    path = writers.with_gaps(folder, "in.avi", films.source(176, 144, 6, full=True))
    said = succeeded(command, "info", path).stdout.decode()
    if not re.search(r"\b2\b[^\n]*(empty|repeat)", said):
        raise Wrong("info does not say that 2 frames repeat the one before")


def compare_writes(option, looks_right):
    def check(command, folder):
        path = coded(command, folder, films.source(176, 144, 5))
        extra = [folder / "page.html"] if option == "--report" else []
        done = succeeded(command, "compare", folder / "film.avi.y4m", path, option, *extra)
        looks_right((folder / "page.html").read_text() if extra else done.stdout.decode())
    return check


def is_json(text):
    keys = set(re.findall(r'"(\w+)":', text.lower()))
    json.loads(text)
    if not any("psnr" in key for key in keys) or not any("ssim" in key for key in keys):
        raise Wrong(f"no PSNR or SSIM among {sorted(keys)}")


def is_csv(text):
    lines = text.strip().splitlines()
    if len(lines) < 6 or len({line.count(",") for line in lines}) != 1 or "," not in lines[0]:
        raise Wrong(f"no table of five frames: {lines[:2]}")


def is_page(text):
    if not text.lstrip().lower().startswith("<!doctype html") or "data:image/png" not in text:
        raise Wrong("no page with pictures")
    outside = re.findall(r"""(?:src|href)=["'](?!data:|#)([^"']+)""", text)
    if outside:
        raise Wrong(f"the page asks for {outside[:3]}")


CASES = [
    ("looking/info", "11", info_sums_up),
    ("looking/info-repeats", "9", info_counts_repeats),
    ("looking/compare-json", "11", compare_writes("--json", is_json)),
    ("looking/compare-csv", "11", compare_writes("--csv", is_csv)),
    ("looking/compare-report", "11", compare_writes("--report", is_page)),
]


def cases():
    yield from CASES
