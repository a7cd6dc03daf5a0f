#!/usr/bin/env python3
"""Makes one page of runs beside TurboJPEG, and prints the same as tables in markdown.

usage: bench/page.py PAGE RESULTS...

PAGE is the HTML file to write; RESULTS are what `./bench.sh --peers --json` wrote, one a rung.
"""
import json
import sys
from html import escape
from pathlib import Path

QUALITIES = 50, 75, 90
OPERATIONS = "encode packed YUV", "encode BGR", "decode packed YUV", "decode BGR"
# Lines of the markdown table: the operation, and how the names of the peers end.
LINES = [
    ("encode packed YUV", "encode packed YUV", ""),
    ("the same, without the peer's way from packed to planar", "encode packed YUV", ", planar"),
    ("encode BGR", "encode BGR", ""),
    ("decode to packed YUV", "decode packed YUV", ""),
    ("the same, without the peer's way from planar to packed", "decode packed YUV", ", planar"),
    ("decode to BGR", "decode BGR", ""),
]

STYLE = """
body { font: 16px/1.4 system-ui, sans-serif; margin: 0 auto; padding: 16px; max-width: 1560px;
       color: #1d2733; background: #fff; }
h1 { font-size: 26px; margin: 8px 0; } h2 { font-size: 21px; margin: 32px 0 4px; }
h3 { font-size: 17px; margin: 0 0 8px; } p { margin: 4px 0 12px; max-width: 75ch; }
.wide { overflow-x: auto; } table { border-collapse: collapse; font-size: 14px; }
td, th { padding: 3px 6px; border-bottom: 1px solid #d5dce4; text-align: right; }
td:first-child, th:first-child { text-align: left; padding-left: 0; }
summary { cursor: pointer; margin: 12px 0; }
"""

CHART_STYLE = """
.charts { display: grid; gap: 16px; grid-template-columns: repeat(auto-fit, minmax(340px, 1fr)); }
.charts section { border: 1px solid #d5dce4; border-radius: 6px; padding: 12px; }
.bars { display: grid; grid-template-columns: 116px 1fr 118px; gap: 3px 8px; align-items: center;
        font-size: 14px; }
.bars b { grid-column: 1 / 4; margin-top: 8px; } .bars svg { width: 100%; height: 16px; }
.figure { text-align: right; font-variant-numeric: tabular-nums; }
.figure small { color: #5b6875; } .own { fill: #0a7d5a; } .peer { fill: #8fa9c8; }
"""


def rows_of(run, operation, quality):
    return [row for row in run["rows"]
            if row["operation"] == operation and row["quality"] == quality]


def fastest_peer(run, operation, quality, ending):
    """The row of the faster one of TurboJPEG's two transforms."""
    names = ["turbo fast" + ending, "turbo accurate" + ending]
    rows = [row for row in rows_of(run, operation, quality) if row["candidate"] in names]
    return min(rows, key=lambda row: row["ratio"])


def peer_name(run):
    limit = f" with {run['peer_limit']}" if run["peer_limit"] else ""
    return f"TurboJPEG {run['turbojpeg']}{limit}"


def spread(rows):
    """How far the quartiles lie from their median at most, in per cent."""
    return max(100 * max(row["ratio_high"] / row["ratio"] - 1, 1 - row["ratio_low"] / row["ratio"])
               for row in rows)


def markdown(run):
    cells = [[fastest_peer(run, operation, quality, ending) for quality in QUALITIES]
             for _, operation, ending in LINES]
    percent = spread([cell for line in cells for cell in line])
    text = [f"`{run['rung']}` beside {peer_name(run)}, {run['processor']}, {run['frames']} frames, "
            f"median of {run['rounds']} rounds, quartiles within {percent:.0f} %:", "",
            "| | " + " | ".join(f"q{quality}" for quality in QUALITIES) + " |",
            "| --- |" + " --- |" * len(QUALITIES)]
    for (name, _, _), line in zip(LINES, cells):
        text.append(f"| {name} | " + " | ".join(f"{cell['ratio']:.1f}" for cell in line) + " |")
    return "\n".join(text) + "\n"


def bar(row, longest):
    """A bar in per cent of the longest, with a whisker from quartile to quartile."""
    def x(ratio):
        return f"{100 * ratio / longest:.2f}"

    kind = "own" if row["candidate"] == "tkmjpg" else "peer"
    whisker = "" if kind == "own" else (
        f'<path d="M{x(row["ratio_low"])} 5v6m0-3H{x(row["ratio_high"])}m0-3v6" '
        'fill="none" stroke="#1d2733" vector-effect="non-scaling-stroke"/>')
    return ('<svg viewBox="0 0 100 16" preserveAspectRatio="none" role="img" '
            f'aria-label="{row["ratio"]:.2f}"><rect class="{kind}" y="1" height="14" '
            f'width="{x(row["ratio"])}"/><path d="M{x(1)} 0v16" stroke="#0a7d5a" '
            f'vector-effect="non-scaling-stroke"/>{whisker}</svg>')


def chart(run, operation, longest):
    parts = [f"<section><h3>{escape(operation)}</h3><div class=bars>"]
    for quality in QUALITIES:
        parts.append(f"<b>quality {quality}</b>")
        for row in rows_of(run, operation, quality):
            name = row["candidate"].replace("turbo ", "").replace(", planar", " planar")
            speed = f"<small>{row['mp_per_second']:.0f} MP/s</small>"
            parts.append(f"<span>{escape(name)}</span>{bar(row, longest)}"
                         f"<span class=figure>{row['ratio']:.2f} {speed}</span>")
    return "".join(parts) + "</div></section>\n"


def table(head, lines):
    html = "".join(f"<th>{escape(cell)}</th>" for cell in head)
    for line in lines:
        html += "<tr>" + "".join(f"<td>{escape(cell)}</td>" for cell in line)
    return f"<div class=wide><table><tr>{html}</table></div>\n"


def figures(run):
    """All figures of times."""
    return table(("operation", "", "MP/s", "ratio", "quartiles"),
                 [(f"{row['operation']}, q{row['quality']}", row["candidate"],
                   f"{row['mp_per_second']:.0f}", f"{row['ratio']:.2f}",
                   f"{row['ratio_low']:.2f} to {row['ratio_high']:.2f}") for row in run["rows"]])


def streams(run):
    """Size and PSNR of what the encoders wrote."""
    def cell(row):
        bits = 8 * row["bytes"] / run["pixels"]
        return f"{row['bytes'] / 1e6:.2f} MB, {bits:.2f} bit/pixel, {row['psnr_y']:.2f} dB"

    lines = [(f"{operation}, q{quality}",
              *(cell(row) for row in rows_of(run, operation, quality)[:3]))
             for operation in OPERATIONS[:2] for quality in QUALITIES]
    return table(("", "tkmjpg", "turbo fast", "turbo accurate"), lines)


def charts(run):
    longest = max(row["ratio_high"] for row in run["rows"])
    parts = "".join(chart(run, operation, longest) for operation in OPERATIONS)
    return f"<div class=charts>{parts}</div>"


def rung_section(run):
    return (f"<h2>{escape(run['rung'])}</h2><p>Beside {escape(peer_name(run))}.</p>{charts(run)}"
            f"<details><summary>All figures of {escape(run['rung'])}</summary>{figures(run)}"
            "</details>\n")


def stream_sections(runs):
    """One table where all rungs gave the same one."""
    rungs = {}
    for run in runs:
        rungs.setdefault(streams(run), []).append(run["rung"])
    return "".join(f"<h3>{escape(', '.join(names))}</h3>{html}" for html, names in rungs.items())


def machine_of(runs):
    first = runs[0]
    return (f"{first['processor']}, {first['cores']} cores; tkmjpg {first['tkmjpg']} (compiler "
             f"{first['compiler']}), TurboJPEG {first['turbojpeg']}; {first['frames']} frames, "
               f"{first['pixels'] / first['frames'] / 1e6:.2f} million pixels each; "
             f"{first['rounds']} rounds.")


def page(runs):
    return f"""<!DOCTYPE html>
<html lang=en><meta charset=utf-8><meta name=viewport content="width=device-width">
<title>tkmjpg beside TurboJPEG</title><style>{STYLE}{CHART_STYLE}</style>
<h1>tkmjpg beside TurboJPEG</h1>
<p>{escape(machine_of(runs))}</p>
<p>A bar is the time of a frame, on one thread, where that of tkmjpg is 1 (the green line): shorter
is faster. The whisker goes from the lower to the upper quartile of the rounds. Beside it stand the
median of the ratio and of million pixels a second. A rung is an instruction set, and each has its
own scale. &ldquo;Fast&rdquo; and &ldquo;accurate&rdquo; are TurboJPEG's two transforms;
&ldquo;planar&rdquo; is without its way between packed and planar pixels. Its streams come as near
to the size of tkmjpg's as its quality numbers allow; the decoders all read tkmjpg's.</p>
<p>Times are ratios within one run on this machine, which may have had other work: another machine
gives others, and figures of different rungs come from different runs.</p>
{"".join(rung_section(run) for run in runs)}
<h2>Streams</h2>
<p>Of all frames together; PSNR of the luma in steps of 0 to 255, all decoded by TurboJPEG's
accurate transform.</p>
{stream_sections(runs)}</html>
"""


def main(arguments):
    if len(arguments) < 2:
        sys.exit(__doc__)
    runs = [json.loads(Path(name).read_text(encoding="utf-8")) for name in arguments[1:]]
    out = Path(arguments[0])
    out.parent.mkdir(parents=True, exist_ok=True)
    out.write_text(page(runs), encoding="utf-8")
    print("\n".join(markdown(run) for run in runs), end="")


if __name__ == "__main__":
    main(sys.argv[1:])
