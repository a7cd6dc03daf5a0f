"""The way of one block through the codec, as a row of small pictures."""
import math

SIDE = 8
# ITU T.81 Annex K, table K.1.
LUMA_STEPS = [
    16, 11, 10, 16, 24, 40, 51, 61, 12, 12, 14, 19, 26, 58, 60, 55,
    14, 13, 16, 24, 40, 57, 69, 56, 14, 17, 22, 29, 51, 87, 80, 62,
    18, 22, 37, 56, 68, 109, 103, 77, 24, 35, 55, 64, 81, 104, 113, 92,
    49, 64, 78, 87, 103, 121, 120, 101, 72, 92, 95, 98, 112, 100, 103, 99]


def zigzag():
    """Places of a block, row by row numbers, in the order of figure A.6 of ITU T.81."""
    diagonals = [[] for _ in range(2 * SIDE - 1)]
    for place in range(SIDE * SIDE):
        diagonals[place // SIDE + place % SIDE].append(place)
    return [place for number, diagonal in enumerate(diagonals)
            for place in (diagonal if number % 2 else reversed(diagonal))]


def transform(samples):
    """The DCT of equation A.3.3, of samples around 0."""
    def scale(u):
        return math.sqrt(0.5) if u == 0 else 1.0

    def cosine(x, u):
        return math.cos((2 * x + 1) * u * math.pi / 16)
    return [scale(v) * scale(u) / 4 * sum(
        samples[y * SIDE + x] * cosine(x, u) * cosine(y, v)
        for y in range(SIDE) for x in range(SIDE)) for v in range(SIDE) for u in range(SIDE)]


def tiles(values, colour, text=None):
    cells = []
    for place, value in enumerate(values):
        x, y = place % SIDE * 24, place // SIDE * 24
        cells.append(f'<rect x="{x}" y="{y}" width="23" height="23" fill="{colour(value)}"/>')
        if text and text(value):
            cells.append(f'<text x="{x + 11.5}" y="{y + 15}" text-anchor="middle">'
                         f'{text(value)}</text>')
    return f'<svg viewBox="0 0 191 191" role="img">{"".join(cells)}</svg>'


def lines(rows):
    parts = [f'<text x="0" y="{14 + 15 * number}">{row}</text>' for number, row in enumerate(rows)]
    return f'<svg viewBox="0 0 191 191" role="img">{"".join(parts)}</svg>'


def signed(value):
    """Orange above 0, blue below, by its logarithm."""
    strength = min(1.0, math.log2(1 + abs(value)) / 9)
    return f"rgb({'230 140 40' if value > 0 else '60 130 220'} / {strength:.2f})"


def runs(levels):
    """Runs of 0 and the level after them, as the Huffman codes of an AC coefficient hold them."""
    pairs, run = [f"DC {levels[0]}"], 0
    for level in levels[1:]:
        if level == 0:
            run += 1
            continue
        pairs.append(f"{run} x 0, {level}")
        run = 0
    return pairs + (["end of block"] if run else [])


def figure(picture, title, text):
    return f"<figure>{picture}<b>{title}</b><figcaption>{text}</figcaption></figure>"


def draw(block, stream, quality_scale):
    """`block`: 64 samples; `stream`: bytes of the image's scan; `quality_scale`: of the steps."""
    coefficients = transform([sample - 128 for sample in block])
    steps = [max(1, round(step * quality_scale)) for step in LUMA_STEPS]
    levels = [round(value / step) for value, step in zip(coefficients, steps)]
    codes = runs([levels[place] for place in zigzag()])
    shown = codes if len(codes) <= 12 else codes[:11] + [f"and {len(codes) - 11} more"]
    data = [stream[at:at + 10].hex(" ") for at in range(0, 110, 10)] + ["..."]
    return "".join([
        figure(tiles(block, lambda v: f"rgb({v} {v} {v})"), "1. Samples",
               "Brightness of 64 pixels. Colour has half as many across: 4:2:2."),
        figure(tiles(coefficients, signed), "2. Transform",
               "How much of each pattern is in there: flat at the top left, fine at the bottom "
               "right. Here the exact DCT; the codec's arithmetic comes within a step of it."),
        figure(tiles(levels, signed, lambda v: str(v) if v else ""), "3. Quantisation",
               "Divided by steps that are coarse where the eye is. Many become 0: this is what "
               "quality sets."),
        figure(lines(shown), "4. Codes", "In zig-zag order, runs of 0 and what comes after them. "
               "Frequent pairs get short codes."),
        figure(lines(data), "5. Bytes", "Codes joined: the first bytes of this picture's scan."),
    ])
