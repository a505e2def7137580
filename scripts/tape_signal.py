"""Draws the tape signal: the picture in recordings.md."""

import argparse
import math
import pathlib

SAMPLE_RATE = 44100

# A tone by the lengths of its half-periods in samples, and the bit that it makes.
HIGH = {"name": "high", "bit": "1", "length": 12, "range": (5, 19), "count": 12, "color": "#c2410c"}
LOW = {"name": "low", "bit": "0", "length": 42, "range": (35, 49), "count": 4, "color": "#1d4ed8"}

WIDTH, HEIGHT = 1120, 620
LEFT, RIGHT = 40, WIDTH - 40
INK, FAINT = "#1f2937", "#6b7280"

elements = []


def add(element):
    elements.append(element)


def text(x, y, content, size=15, color=INK, anchor="middle", weight="normal"):
    add(f'<text x="{x:.1f}" y="{y:.1f}" font-size="{size}" fill="{color}" text-anchor="{anchor}"'
        f' font-weight="{weight}">{content}</text>')


def line(x1, y1, x2, y2, color=FAINT, width=1.0):
    add(f'<path d="M{x1:.1f} {y1:.1f}L{x2:.1f} {y2:.1f}" stroke="{color}"'
        f' stroke-width="{width}"/>')


def box(x1, y1, x2, y2, color, opacity):
    add(f'<rect x="{x1:.1f}" y="{y1:.1f}" width="{x2 - x1:.1f}" height="{y2 - y1:.1f}"'
        f' fill="{color}" fill-opacity="{opacity}"/>')


def bracket(x1, x2, y):
    add(f'<path d="M{x1:.1f} {y + 8:.1f}V{y:.1f}H{x2:.1f}V{y + 8:.1f}" stroke="{FAINT}"/>')


def half_period(width, height):
    """Half a sine as two Bezier curves, from where the pen is; upwards for a positive height."""
    quarter, near, far = width / 2, 0.1631 * width, 0.3190 * width
    return (f"c{near:.2f} {-0.5123 * height:.1f} {far:.2f} {-height:.1f}"
            f" {quarter:.2f} {-height:.1f}"
            f"c{quarter - far:.2f} 0 {quarter - near:.2f} {0.4877 * height:.1f}"
            f" {quarter:.2f} {height:.1f}")


def draw_signal(top):
    """The end of the leader, the start marker and the first two data bits."""
    bits = [HIGH, HIGH, LOW, LOW, HIGH]
    duration = sum(tone["count"] * tone["length"] for tone in bits)
    scale = (RIGHT - LEFT - 60) / duration
    middle, height = top + 130, 48
    edges = [LEFT + 30.0]
    for tone in bits:
        edges.append(edges[-1] + scale * tone["count"] * tone["length"])

    for tone, start, end in zip(bits, edges, edges[1:]):
        box(start + 1, middle - 72, end - 1, middle + 72, tone["color"], 0.07)
        text((start + end) / 2, middle + 96, tone["bit"], 19, tone["color"], weight="bold")
        curve = "".join(half_period(scale * tone["length"], height if i % 2 == 0 else -height)
                        for i in range(tone["count"]))
        add(f'<path d="M{start:.1f} {middle}{curve}" stroke="{tone["color"]}" stroke-width="2"/>')
    line(LEFT + 4, middle, RIGHT - 4, middle)
    for x in (LEFT + 14, RIGHT - 14):
        text(x, middle - 8, "…", 24, FAINT)

    for start, end, title, detail in (
            (edges[0], edges[2], "leader", "ten 1 bits or more"),
            (edges[2], edges[3], "start marker", "one 0 bit"),
            (edges[3], edges[5], "data", "7,680 bits: 40 presets of 24 bytes")):
        bracket(start + 4, end - 4, middle - 92)
        text((start + end) / 2, middle - 102,
             f'<tspan font-weight="bold">{title}</tspan>: {detail}')

    text((edges[3] + edges[4]) / 2, middle + 118, "4 half-periods of the low tone", 14, FAINT)
    text((edges[4] + edges[5]) / 2, middle + 118, "12 of the high tone", 14, FAINT)
    two_milliseconds = scale * 0.002 * SAMPLE_RATE
    line(edges[0], middle + 112, edges[0] + two_milliseconds, middle + 112, FAINT, 2)
    text(edges[0] + two_milliseconds + 8, middle + 117, "2 ms", 14, FAINT, "start")


def draw_tone(tone, left, base, scale):
    """The samples of a half-period, and where it may end."""
    height, color = 120, tone["color"]
    shortest, longest = tone["range"]

    def x(samples):
        return left + scale * samples

    def draw_half_period(length, style, weight):
        add(f'<path d="M{x(0):.1f} {base}{half_period(scale * length, height)}" stroke="{color}"'
            f" {style}/>")
        line(x(length), base, x(length), base + 8, color, 1.5)
        text(x(length), base + 26, str(length), 16, color, weight=weight)

    box(x(shortest), base - height - 20, x(longest), base, color, 0.1)
    draw_half_period(shortest, 'stroke-width="1.5" stroke-dasharray="5 4"', "normal")
    draw_half_period(longest, 'stroke-width="1.5" stroke-dasharray="5 4"', "normal")
    draw_half_period(tone["length"], 'stroke-width="2.5"', "bold")
    for sample in range(tone["length"]):
        y = base - height * math.sin(math.pi * (sample + 0.5) / tone["length"])
        add(f'<circle cx="{x(sample + 0.5):.1f}" cy="{y:.1f}" r="3" fill="{color}"/>')
    line(x(0) - 8, base, x(longest) + 24, base)
    text(x(longest), base - height - 32,
         f'<tspan font-weight="bold">{tone["name"]} tone</tspan>: {shortest} to {longest} samples',
         15, color, "end")


def draw_speeds(left, base, scale):
    """What speed of the tape makes the low tone end at the ends of its range."""
    shortest, longest = LOW["range"]
    for length, word in ((shortest, "fast"), (longest, "slow")):
        percent = abs(round(100 * (LOW["length"] / length - 1)))
        text(left + scale * length, base + 46, f"{percent} % too {word}", 14, FAINT)


def draw_ranges(top):
    base, scale = top + 205, 12.8
    text(LEFT + 30, top, "How long a half-period may be", 17, anchor="start", weight="bold")
    text(RIGHT - 30, top, "at 44,100 samples a second; every other length is ignored", 14, FAINT,
         "end")
    draw_tone(HIGH, LEFT + 30, base, scale)
    left_of_low = RIGHT - 80 - scale * LOW["range"][1]
    draw_tone(LOW, left_of_low, base, scale)
    draw_speeds(left_of_low, base, scale)


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("picture", type=pathlib.Path, nargs="?",
                        default=pathlib.Path(__file__).parent.parent / "docs/tape-signal.svg",
                        help="the SVG file to write; docs/tape-signal.svg if none")
    arguments = parser.parse_args()

    draw_signal(28)
    draw_ranges(346)
    content = "\n".join(elements)
    picture = (f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {WIDTH} {HEIGHT}"'
               ' font-family="Helvetica, Arial, sans-serif" fill="none">\n'
               "<title>The tape signal: leader, start marker and data</title>\n"
               f'<rect width="{WIDTH}" height="{HEIGHT}" rx="12" fill="#ffffff"/>\n'
               f"{content}\n</svg>\n")
    arguments.picture.write_text(picture, encoding="utf-8")


if __name__ == "__main__":
    main()
