"""Engraving letters: a single-stroke capital alphabet drawn for Lamina's panel and buttons.

Glyphs live on a grid with the cap height 10 (y grows downward, the baseline at y = 10). Each glyph is a
list of strokes, each stroke a polyline; curves are flattened here, so both the PNG generator (which
measures distances to segments) and the SVG lettering (plain M/L paths, stroked with round caps) use the
same points.

    python3 tools/art/lettering.py "BAND EQ" --x 30 --y 11 --cap 7.5 [--tracking 2.6] [--align left|centre]

prints the SVG path data for a word, ready to paste into a hand-written SVG as
<path d="..." fill="none" stroke="..." stroke-width="..." stroke-linecap="round" stroke-linejoin="round"/>.
"""

import argparse
import math


def _arc(cx, cy, rx, ry, a0, a1, steps=None):
    """Points on an elliptical arc, angles in degrees, counter-clockwise on screen for a1 > a0."""
    span = a1 - a0
    if steps is None:
        steps = max(2, int(abs(span) / 15) + 1)
    pts = []
    for i in range(steps + 1):
        a = math.radians(a0 + span * i / steps)
        pts.append((cx + rx * math.cos(a), cy - ry * math.sin(a)))
    return pts


def _stadium(w):
    """A closed O of width w: straight sides, round top and bottom."""
    r = w / 2
    return _arc(r, r, r, r, 0, 180) + _arc(r, 10 - r, r, r, 180, 360) + [(w, r)]


def _glyphs():
    g = {}
    g["A"] = (7.0, [[(0, 10), (3.5, 0), (7, 10)], [(1.25, 6.4), (5.75, 6.4)]])
    g["B"] = (6.0, [[(0, 4.8)] + [(0, 0), (3.1, 0)] + _arc(3.1, 2.4, 2.5, 2.4, 90, -90) + [(0, 4.8)],
                    [(0, 4.8), (3.4, 4.8)] + _arc(3.4, 7.4, 2.6, 2.6, 90, -90) + [(0, 10), (0, 4.8)]])
    g["C"] = (6.0, [_arc(3, 3, 3, 3, 25, 180) + _arc(3, 7, 3, 3, 180, 335)])
    g["D"] = (6.0, [[(0, 0), (2.6, 0)] + _arc(2.6, 3.4, 3.4, 3.4, 90, 0) + _arc(2.6, 6.6, 3.4, 3.4, 0, -90)
                    + [(0, 10), (0, 0)]])
    g["E"] = (5.4, [[(5.4, 0), (0, 0), (0, 10), (5.4, 10)], [(0, 4.9), (4.6, 4.9)]])
    g["F"] = (5.4, [[(5.4, 0), (0, 0), (0, 10)], [(0, 4.9), (4.6, 4.9)]])
    g["G"] = (6.0, [_arc(3, 3, 3, 3, 25, 180) + _arc(3, 7, 3, 3, 180, 360) + [(6, 5.2), (3.5, 5.2)]])
    g["H"] = (6.0, [[(0, 0), (0, 10)], [(6, 0), (6, 10)], [(0, 4.9), (6, 4.9)]])
    g["I"] = (0.0, [[(0, 0), (0, 10)]])
    g["K"] = (6.0, [[(0, 0), (0, 10)], [(6, 0), (0, 6.2)], [(2.0, 4.2), (6, 10)]])
    g["L"] = (5.0, [[(0, 0), (0, 10), (5, 10)]])
    g["M"] = (7.6, [[(0, 10), (0, 0), (3.8, 7.2), (7.6, 0), (7.6, 10)]])
    g["N"] = (6.0, [[(0, 10), (0, 0), (6, 10), (6, 0)]])
    g["O"] = (6.0, [_stadium(6.0)])
    g["P"] = (5.8, [[(0, 10), (0, 0), (3.1, 0)] + _arc(3.1, 2.6, 2.7, 2.6, 90, -90) + [(0, 5.2)]])
    g["Q"] = (6.0, [_stadium(6.0), [(3.6, 7.0), (6.4, 10.6)]])
    g["R"] = (5.9, [[(0, 10), (0, 0), (3.1, 0)] + _arc(3.1, 2.6, 2.7, 2.6, 90, -90) + [(0, 5.2)],
                    [(2.8, 5.2), (5.9, 10)]])
    g["S"] = (5.8, [_arc(2.9, 2.55, 2.9, 2.55, 30, 270) + _arc(2.9, 7.45, 2.9, 2.55, 90, -150)])
    g["T"] = (6.0, [[(0, 0), (6, 0)], [(3, 0), (3, 10)]])
    g["U"] = (6.0, [[(0, 0)] + _arc(3, 7, 3, 3, 180, 360) + [(6, 0)]])
    g["V"] = (6.4, [[(0, 0), (3.2, 10), (6.4, 0)]])
    g["W"] = (9.0, [[(0, 0), (2.1, 10), (4.5, 1.6), (6.9, 10), (9, 0)]])
    g["X"] = (6.0, [[(0, 0), (6, 10)], [(6, 0), (0, 10)]])
    g["Y"] = (6.4, [[(0, 0), (3.2, 5.2), (6.4, 0)], [(3.2, 5.2), (3.2, 10)]])
    g["Z"] = (6.0, [[(0, 0), (6, 0), (0, 10), (6, 10)]])
    g["0"] = (6.0, [_stadium(6.0)])
    g["1"] = (3.2, [[(0, 2.2), (3.2, 0), (3.2, 10)]])
    g["2"] = (5.8, [_arc(2.9, 2.9, 2.9, 2.9, 160, -40) + [(0, 10), (5.8, 10)]])
    g["/"] = (4.4, [[(0, 10.6), (4.4, -0.6)]])
    g["-"] = (3.6, [[(0, 5.6), (3.6, 5.6)]])
    g[">"] = (4.2, [[(0, 1.8), (4.2, 5), (0, 8.2)]])
    g["<"] = (4.2, [[(4.2, 1.8), (0, 5), (4.2, 8.2)]])
    g["."] = (0.0, [[(0, 10), (0, 10)]])
    g[" "] = (3.2, [])
    return g


GLYPHS = _glyphs()


def advance_units(text, tracking):
    """Width of the text in grid units: glyph widths plus tracking between glyphs."""
    widths = [GLYPHS[c][0] for c in text]
    return sum(widths) + tracking * max(0, len(text) - 1)


def strokes(text, x, y, cap, tracking=2.6, align="left"):
    """The text's polylines in target coordinates. (x, y) is the top left of the caps for align "left", the
    top centre for "centre" and the top right for "right"; cap is the cap height."""
    s = cap / 10.0
    width = advance_units(text, tracking) * s
    if align == "centre":
        x -= width / 2
    elif align == "right":
        x -= width
    out = []
    pen = 0.0
    for c in text:
        w, glyph = GLYPHS[c]
        for line in glyph:
            out.append([(x + (pen + px) * s, y + py * s) for px, py in line])
        pen += w + tracking
    return out


def segments(text, x, y, cap, tracking=2.6, align="left"):
    """The strokes as (x0, y0, x1, y1) segments."""
    out = []
    for line in strokes(text, x, y, cap, tracking, align):
        for a, b in zip(line, line[1:]):
            out.append((a[0], a[1], b[0], b[1]))
        if len(line) == 1:
            out.append((line[0][0], line[0][1], line[0][0], line[0][1]))
    return out


def svg_path(text, x, y, cap, tracking=2.6, align="left"):
    """SVG path data for the text, coordinates rounded to 0.01."""
    parts = []
    for line in strokes(text, x, y, cap, tracking, align):
        pts = ["%.2f %.2f" % p for p in line]
        parts.append("M" + pts[0] + "".join(" L" + p for p in pts[1:]))
    return " ".join(parts).replace(".00", "")


if __name__ == "__main__":
    ap = argparse.ArgumentParser(description="SVG path data for engraved capitals")
    ap.add_argument("text")
    ap.add_argument("--x", type=float, default=0)
    ap.add_argument("--y", type=float, default=0)
    ap.add_argument("--cap", type=float, default=10)
    ap.add_argument("--tracking", type=float, default=2.6)
    ap.add_argument("--align", choices=["left", "centre", "right"], default="left")
    a = ap.parse_args()
    print(svg_path(a.text, a.x, a.y, a.cap, a.tracking, a.align))
