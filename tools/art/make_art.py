#!/usr/bin/python3
"""Draws Lamina's raster art: the editor's backgrounds and overlays for both layouts and the five sheet
textures, each at 1x and as its "@2x" twin.

    /usr/bin/python3 tools/art/make_art.py            # writes into resource/
    /usr/bin/python3 tools/art/make_art.py --out DIR  # writes into DIR/images and DIR/textures
    /usr/bin/python3 tools/art/make_art.py --check    # draws into a temporary folder, compares with resource/

Everything is drawn at 2x in layout units (the editor's logical pixels) and the 1x files are the 2x ones
averaged over 2 x 2 blocks. Shapes are signed distance fields, noise comes from an integer hash, so the
pixels depend on nothing but this file (numpy and Pillow from Debian: python3-numpy, python3-pil).
The check compares decoded pixels, since PNG encoders may differ in their bytes, and lets a rare pixel
move by a step or two: vectorised maths in numpy may round differently on another processor.
"""

import argparse
import os
import sys
import tempfile

import numpy as np
from PIL import Image

sys.dont_write_bytecode = True  # keep the source tree clean when ctest runs the check
sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
import lettering  # noqa: E402

S = 2  # pixels per layout unit of the drawn master

EXPANDED = (1058, 555)
CONDENSED = (508, 555)

# Where the widgets sit, in layout units (window coordinates). The art is drawn around these.
SHEET_BAY = (10, 92, 456, 276)  # the sheet's recess; the sheet widget is 10, 92, 456, 296
READOUT_GLASS = (28, 372, 429, 23)  # the read-outs are at y 372, height 20
READOUT_SPANS = [("AREA", 35, 49), ("ASPECT", 90, 49), ("ANISOTROPY", 150, 67), ("TENSION", 221, 67),
                 ("MODULATION", 293, 63), ("QUALITY", 357, 93)]
READOUT_CAPTION_Y = 400  # top of the printed captions under the values, cap height 6
MATERIAL_RAIL = (47, 59, 384, 31)  # behind the material buttons at y 63, x 54 .. 424
MAIN_KNOBS = [(62, 488), (210, 488), (347, 488)]  # centres of the 56 x 56 knobs at y 460
MAIN_WELL_R = 26.5
METERS = {True: ([1015, 1031], 67, 360), False: ([465, 481], 67, 301)}
PLATE_SEAM_X = 497  # right edge of the main plate in the expanded layout
DISPLAY = (514, 68, 486, 253)  # the decay / EQ / spectrum displays (panel-local 32, 23, 486, 253)
PAGE_TRAY = (503, 326, 501, 83)  # behind the knob columns at y 327 and 370
LOWER_KNOB_Y = 475  # lower row of the right panel: 33 x 33 knobs at y 475 (panel-local 430)
LOWER_KNOBS_X = [514, 641, 777, 898]  # panel-local 32, 159, 295, 416
LOWER_WELL_R = 19.0
TOOLBAR_H = 45
FOOTER_Y = 535
PRESET_SLOT = (60, 8, 336, 30)  # the preset name with its buttons

# Colours, sRGB 0..1.
def rgb(h):
    return np.array([(h >> 16) & 255, (h >> 8) & 255, h & 255], dtype=np.float64) / 255.0


PANEL = rgb(0x2B2E31)
PANEL_RIGHT = rgb(0x2F3236)
TOOLBAR = rgb(0x1D1F21)
FOOTER = rgb(0x17181A)
WELL = rgb(0x17191B)
BAY = rgb(0x131517)
GLASS = rgb(0x0A0F11)
PRINT = rgb(0xA7ADB1)
TEAL = rgb(0x00C9AF)


# ---------------------------------------------------------------- noise

def hash2(ix, iy, seed):
    """A 32-bit integer hash of a grid point, as floats in [0, 1)."""
    h = (ix.astype(np.uint32) * np.uint32(0x8DA6B343)) ^ (iy.astype(np.uint32) * np.uint32(0xD8163841))
    h = h ^ np.uint32((seed * 0x9E3779B9) & 0xFFFFFFFF)
    h ^= h >> np.uint32(16)
    h *= np.uint32(0x7FEB352D)
    h ^= h >> np.uint32(15)
    h *= np.uint32(0x846CA68B)
    h ^= h >> np.uint32(16)
    return (h >> np.uint32(8)).astype(np.float64) / float(1 << 24)


def white_noise(h, w, seed):
    iy, ix = np.mgrid[0:h, 0:w]
    return hash2(ix, iy, seed) - 0.5


def value_noise(h, w, cell, seed, wrap=True):
    """Smooth noise with one lattice point per `cell` pixels; periodic over the image when `wrap`."""
    nx, ny = w // cell, h // cell
    y, x = np.mgrid[0:h, 0:w].astype(np.float64)
    fx, fy = x / cell, y / cell
    x0, y0 = np.floor(fx).astype(np.int64), np.floor(fy).astype(np.int64)
    tx, ty = fx - x0, fy - y0
    tx, ty = tx * tx * (3 - 2 * tx), ty * ty * (3 - 2 * ty)

    def at(ix, iy):
        if wrap:
            ix, iy = ix % nx, iy % ny
        return hash2(ix, iy, seed)

    a = at(x0, y0) * (1 - tx) + at(x0 + 1, y0) * tx
    b = at(x0, y0 + 1) * (1 - tx) + at(x0 + 1, y0 + 1) * tx
    return a * (1 - ty) + b * ty - 0.5


def box_blur_wrap(a, n, axis):
    """Mean over n neighbours along an axis, periodic, by a running sum."""
    if n <= 1:
        return a
    pad = n // 2
    ext = np.concatenate([a.take(range(-pad, 0), axis=axis), a, a.take(range(0, n - pad), axis=axis)], axis=axis)
    c = np.cumsum(ext, axis=axis, dtype=np.float64)
    length = a.shape[axis]
    hi = c.take(range(n - 1, n - 1 + length), axis=axis)
    lo = np.concatenate([np.zeros_like(c.take([0], axis=axis)), c.take(range(0, length - 1), axis=axis)], axis=axis)
    return (hi - lo) / n


def blur(a, n, axis=None, passes=3):
    """Close to a Gaussian: repeated box blurs, periodic at the borders."""
    for _ in range(passes):
        if axis in (None, 0):
            a = box_blur_wrap(a, n, 0)
        if axis in (None, 1):
            a = box_blur_wrap(a, n, 1)
    return a


# ---------------------------------------------------------------- canvas and shapes

def smoothstep(e0, e1, x):
    t = np.clip((x - e0) / (e1 - e0), 0.0, 1.0)
    return t * t * (3 - 2 * t)


class Canvas:
    """Premultiplied RGBA in floats at S pixels per layout unit."""

    def __init__(self, w, h, opaque_colour=None):
        self.w, self.h = w, h
        self.pw, self.ph = w * S, h * S
        self.c = np.zeros((self.ph, self.pw, 3))
        self.a = np.zeros((self.ph, self.pw))
        if opaque_colour is not None:
            self.c[:] = opaque_colour
            self.a[:] = 1.0

    def region(self, x, y, w, h, margin=2.0):
        """Pixel slices and centre coordinates (layout units) of a rectangle plus margin."""
        px0 = max(0, int(np.floor((x - margin) * S)))
        py0 = max(0, int(np.floor((y - margin) * S)))
        px1 = min(self.pw, int(np.ceil((x + w + margin) * S)))
        py1 = min(self.ph, int(np.ceil((y + h + margin) * S)))
        if px1 <= px0 or py1 <= py0:
            return None
        ys, xs = np.mgrid[py0:py1, px0:px1].astype(np.float64)
        return (slice(py0, py1), slice(px0, px1)), (xs + 0.5) / S, (ys + 0.5) / S

    def paint(self, sl, colour, alpha):
        """Source-over a colour (RGB triple or HxWx3 array) with coverage alpha."""
        alpha = np.clip(alpha, 0.0, 1.0)
        col = np.asarray(colour, dtype=np.float64)
        a3 = alpha[..., None]
        self.c[sl] = col * a3 + self.c[sl] * (1 - a3)
        self.a[sl] = alpha + self.a[sl] * (1 - alpha)

    def rgba8(self):
        """Straight-alpha 8-bit RGBA."""
        a = self.a
        c = np.where(a[..., None] > 1e-9, self.c / np.maximum(a, 1e-9)[..., None], 0.0)
        out = np.concatenate([c, a[..., None]], axis=2)
        return np.floor(np.clip(out, 0, 1) * 255 + 0.5).astype(np.uint8)


def cover(d):
    """Anti-aliased coverage of the inside (d < 0) of a distance field in layout units."""
    return np.clip(0.5 - d * S, 0.0, 1.0)


def sd_rrect(X, Y, x, y, w, h, r):
    cx, cy, hw, hh = x + w / 2, y + h / 2, w / 2 - r, h / 2 - r
    qx, qy = np.abs(X - cx) - hw, np.abs(Y - cy) - hh
    return np.hypot(np.maximum(qx, 0), np.maximum(qy, 0)) + np.minimum(np.maximum(qx, qy), 0) - r


def sd_circle(X, Y, cx, cy, r):
    return np.hypot(X - cx, Y - cy) - r


def sd_segments(X, Y, segs):
    d = np.full(X.shape, 1e9)
    for x0, y0, x1, y1 in segs:
        dx, dy = x1 - x0, y1 - y0
        ll = dx * dx + dy * dy
        if ll < 1e-12:
            t = 0.0
        else:
            t = np.clip(((X - x0) * dx + (Y - y0) * dy) / ll, 0.0, 1.0)
        d = np.minimum(d, np.hypot(X - (x0 + t * dx), Y - (y0 + t * dy)))
    return d


def normal_y(d):
    """The vertical part of the distance field's gradient (pointing outward), per pixel."""
    gy, gx = np.gradient(d)
    n = np.hypot(gx, gy) + 1e-12
    return gy / n, gx / n


# ---------------------------------------------------------------- elements of the panel

def fill_rect_noise(cv, x, y, w, h, colour, grain, seed, brushed=0):
    """A flat area with powder-coat speckle, or horizontal brushing when `brushed` > 0."""
    reg = cv.region(x, y, w, h, 0)
    if reg is None:
        return
    sl, X, Y = reg
    hh, ww = X.shape
    n = white_noise(hh, ww, seed)
    if brushed:
        n = blur(n, brushed, axis=1, passes=2) * np.sqrt(brushed) * 0.8 + white_noise(hh, ww, seed + 1) * 0.25
    else:
        n = blur(n, 2, passes=1) * 1.6 + white_noise(hh, ww, seed + 7) * 0.35
    cv.paint(sl, colour[None, None, :] + grain * n[..., None], np.ones(X.shape))


def gradient_v(cv, x, y, w, h, top, bottom, alpha_top, alpha_bottom):
    """A vertical wash of colour, for light that falls from above."""
    reg = cv.region(x, y, w, h, 0)
    if reg is None:
        return
    sl, X, Y = reg
    t = np.clip((Y - y) / h, 0, 1)
    col = top[None, None, :] * (1 - t[..., None]) + bottom[None, None, :] * t[..., None]
    cv.paint(sl, col, alpha_top * (1 - t) + alpha_bottom * t)


def hline(cv, x0, x1, y, colour, alpha, width=1.0):
    reg = cv.region(x0, y - width, x1 - x0, 2 * width, 1)
    if reg is None:
        return
    sl, X, Y = reg
    d = np.maximum(np.abs(Y - y) - width / 2, np.maximum(x0 - X, X - x1))
    cv.paint(sl, colour, cover(d) * alpha)


def vline(cv, x, y0, y1, colour, alpha, width=1.0):
    reg = cv.region(x - width, y0, 2 * width, y1 - y0, 1)
    if reg is None:
        return
    sl, X, Y = reg
    d = np.maximum(np.abs(X - x) - width / 2, np.maximum(y0 - Y, Y - y1))
    cv.paint(sl, colour, cover(d) * alpha)


def recess(cv, sdf, bounds, floor, depth=3.0, shadow=0.55, lip=0.16, floor_light=None, seed=1, grain=0.006):
    """A pocket milled into the panel: a darker floor, a soft shadow under the upper wall, a dark upper
    edge and a lit lower lip. `sdf` maps (X, Y) to the pocket's distance field."""
    x, y, w, h = bounds
    reg = cv.region(x, y, w, h, 3)
    if reg is None:
        return
    sl, X, Y = reg
    d = sdf(X, Y)
    inside = cover(d)
    col = np.broadcast_to(floor, X.shape + (3,)).copy()
    if floor_light is not None:
        col = col + floor_light(X, Y)[..., None]
    col = col + grain * white_noise(X.shape[0], X.shape[1], seed)[..., None]
    cv.paint(sl, col, inside)
    # Shadow of the upper wall: the pocket shifted down by its depth, softened.
    ds = sdf(X, Y - depth)
    sh = inside * smoothstep(-depth * 1.2, depth * 0.6, ds) * shadow
    # And a general darkening close to every wall.
    sh = np.maximum(sh, inside * np.exp(-np.maximum(-d, 0) / 1.6) * shadow * 0.55)
    cv.paint(sl, np.zeros(3), sh)
    # The chamfer outside the pocket: dark where it faces up (into the light's shadow side), lit below.
    ny, nx = normal_y(d)
    band = np.clip(1.0 - np.abs(d - 0.6) / 0.9, 0, 1)
    cv.paint(sl, np.ones(3), band * np.clip(ny, 0, 1) * lip)
    cv.paint(sl, np.zeros(3), band * np.clip(-ny, 0, 1) * 0.45)


def raised_edge(cv, sdf, bounds, light=0.10, dark=0.35):
    """Edges of a plate that stands proud: lit above, shadowed below."""
    x, y, w, h = bounds
    reg = cv.region(x, y, w, h, 4)
    if reg is None:
        return
    sl, X, Y = reg
    d = sdf(X, Y)
    ny, nx = normal_y(d)
    inner = np.clip(1.0 - np.abs(d + 0.6) / 0.8, 0, 1)
    cv.paint(sl, np.ones(3), inner * np.clip(-ny, 0, 1) * light)
    outer = np.clip(1.0 - np.maximum(d, 0) / 3.0, 0, 1) * (d > 0)
    cv.paint(sl, np.zeros(3), outer * np.clip(ny, 0, 1) * dark)


def screw(cv, cx, cy, r=4.6, angle=0.35):
    """A domed cross-head screw, lit from the upper left, with its shadow."""
    reg = cv.region(cx - r, cy - r, 2 * r, 2 * r, 4)
    sl, X, Y = reg
    dsh = sd_circle(X, Y, cx + 0.6, cy + 1.1, r + 0.4)
    cv.paint(sl, np.zeros(3), np.clip(0.5 - dsh / 1.6, 0, 1) * 0.55)
    d = sd_circle(X, Y, cx, cy, r)
    u, v = (X - cx) / r, (Y - cy) / r
    rr = np.clip(u * u + v * v, 0, 1)
    nz = np.sqrt(1 - rr * 0.75)
    L = np.array([-0.45, -0.6, 0.66])
    L = L / np.linalg.norm(L)
    lam = np.clip(u * 0.5 * L[0] + v * 0.5 * L[1] + nz * L[2], 0, 1)
    spec = np.clip(lam, 0, 1) ** 24
    base = rgb(0x5F656A)
    col = base[None, None, :] * (0.45 + 0.65 * lam[..., None]) + spec[..., None] * 0.3
    cv.paint(sl, col, cover(d))
    # Rim.
    cv.paint(sl, np.zeros(3), np.clip(1 - np.abs(d + 0.35) / 0.5, 0, 1) * 0.5)
    # The cross, turned a little so the screws do not look stamped.
    ca, sa = np.cos(angle), np.sin(angle)
    L2 = r * 0.62
    segs = [(cx - ca * L2, cy - sa * L2, cx + ca * L2, cy + sa * L2),
            (cx + sa * L2, cy - ca * L2, cx - sa * L2, cy + ca * L2)]
    ds = sd_segments(X, Y, segs) - 0.55
    cv.paint(sl, rgb(0x121416), cover(ds) * 0.9)
    ds2 = sd_segments(X, Y, [(a + 0.35, b + 0.45, c + 0.35, e + 0.45) for a, b, c, e in segs]) - 0.35
    cv.paint(sl, np.ones(3), cover(ds2) * (cover(ds + 0.1) < 0.5) * 0.12)


def printed_text(cv, text, x, y, cap, colour=PRINT, alpha=0.85, tracking=2.6, align="left", weight=None):
    """Silk-screened capitals, with a hair of shadow so that they sit on the surface."""
    segs = lettering.segments(text, x, y, cap, tracking, align)
    xs = [s[0] for s in segs] + [s[2] for s in segs]
    ys = [s[1] for s in segs] + [s[3] for s in segs]
    bx, by = min(xs), min(ys)
    reg = cv.region(bx, by, max(xs) - bx, max(ys) - by, 3)
    sl, X, Y = reg
    half = (weight if weight is not None else max(0.45, cap * 0.075))
    d = sd_segments(X, Y, segs) - half
    dsh = sd_segments(X, Y - 0.7, segs) - half
    cv.paint(sl, np.zeros(3), cover(dsh) * 0.35)
    cv.paint(sl, colour, cover(d) * alpha)


def led(cv, cx, cy, r=2.1):
    """A small lit lamp in the panel's teal, with its glow."""
    reg = cv.region(cx - 8, cy - 8, 16, 16, 0)
    sl, X, Y = reg
    d = sd_circle(X, Y, cx, cy, r)
    cv.paint(sl, np.zeros(3), cover(sd_circle(X, Y, cx, cy, r + 0.9)) * 0.7)
    cv.paint(sl, TEAL, np.exp(-np.maximum(d, 0) / 2.2) * 0.35 * (d > 0))
    core = np.clip(1 - np.hypot(X - cx + 0.5, Y - cy + 0.6) / r, 0, 1)
    col = TEAL[None, None, :] * (0.75 + 0.25 * core[..., None]) + core[..., None] ** 2 * 0.5
    cv.paint(sl, col, cover(d))


def knob_well(cv, cx, cy, r, seed):
    """A round pocket a knob sits in, with a fine turned chamfer around it."""
    reg_bounds = (cx - r, cy - r, 2 * r, 2 * r)
    recess(cv, lambda X, Y: sd_circle(X, Y, cx, cy, r), reg_bounds, WELL, depth=2.5, shadow=0.6, lip=0.18,
           seed=seed)
    # A turned ring just outside the pocket.
    reg = cv.region(cx - r - 3, cy - r - 3, 2 * r + 6, 2 * r + 6, 1)
    sl, X, Y = reg
    d = sd_circle(X, Y, cx, cy, r + 1.6)
    ring = np.clip(1 - np.abs(d) / 0.7, 0, 1)
    ang = np.arctan2(Y - cy, X - cx)
    cv.paint(sl, np.ones(3), ring * (0.05 + 0.06 * np.clip(-np.sin(ang), 0, 1)))


def meter_trough(cv, x, y, h, seed):
    recess(cv, lambda X, Y: sd_rrect(X, Y, x - 2, y - 2, 12, h + 4, 2.0), (x - 2, y - 2, 12, h + 4),
           rgb(0x0D0F10), depth=2.0, shadow=0.6, lip=0.14, seed=seed)


def glass(cv, x, y, w, h, r, seed, tint=GLASS):
    """A dark display window set in a thin bezel."""
    bezel = 3.0
    recess(cv, lambda X, Y: sd_rrect(X, Y, x - bezel, y - bezel, w + 2 * bezel, h + 2 * bezel, r + bezel),
           (x - bezel, y - bezel, w + 2 * bezel, h + 2 * bezel), rgb(0x121416), depth=2.0, shadow=0.5,
           lip=0.16, seed=seed)

    def light(X, Y):
        # The screen's own faint glow, strongest low in the middle.
        u = (X - (x + w / 2)) / (w / 2)
        v = (Y - (y + h * 0.6)) / (h * 0.8)
        return 0.018 * np.exp(-(u * u + v * v) * 1.5)

    reg = cv.region(x, y, w, h, 1)
    sl, X, Y = reg
    d = sd_rrect(X, Y, x, y, w, h, r)
    col = tint[None, None, :] + light(X, Y)[..., None] * np.array([0.6, 1.0, 1.0])[None, None, :]
    cv.paint(sl, col, cover(d))
    # Inner edge of the glass: a dark hairline, then a faint reflection along the top.
    cv.paint(sl, np.zeros(3), np.clip(1 - np.abs(d + 0.5) / 0.6, 0, 1) * 0.8)
    top = np.clip(1 - np.abs(Y - (y + 1.2)) / 0.6, 0, 1) * cover(d + 1.0)
    cv.paint(sl, np.ones(3), top * 0.05)


# ---------------------------------------------------------------- the two layouts

def background(expanded):
    W, H = EXPANDED if expanded else CONDENSED
    cv = Canvas(W, H, PANEL)
    fill_rect_noise(cv, 0, 0, W, H, PANEL, 0.03, seed=11, brushed=140)
    # Light falls from above: the plate is a little brighter at the top.
    gradient_v(cv, 0, TOOLBAR_H, W, FOOTER_Y - TOOLBAR_H, np.ones(3), np.zeros(3), 0.025, 0.05)

    if expanded:
        fill_rect_noise(cv, PLATE_SEAM_X + 2, TOOLBAR_H, W - PLATE_SEAM_X - 2, FOOTER_Y - TOOLBAR_H,
                        PANEL_RIGHT, 0.03, seed=12, brushed=140)
        gradient_v(cv, PLATE_SEAM_X + 2, TOOLBAR_H, W - PLATE_SEAM_X - 2, FOOTER_Y - TOOLBAR_H,
                   np.ones(3), np.zeros(3), 0.02, 0.05)
        # The seam between the two plates.
        vline(cv, PLATE_SEAM_X + 1.0, TOOLBAR_H, FOOTER_Y, np.zeros(3), 0.75, 1.6)
        vline(cv, PLATE_SEAM_X + 2.4, TOOLBAR_H, FOOTER_Y, np.ones(3), 0.07, 0.8)
        vline(cv, PLATE_SEAM_X - 0.3, TOOLBAR_H, FOOTER_Y, np.ones(3), 0.04, 0.8)

    # Toolbar: a brushed dark strip with an edge to the plate.
    fill_rect_noise(cv, 0, 0, W, TOOLBAR_H, TOOLBAR, 0.05, seed=21, brushed=80)
    gradient_v(cv, 0, 0, W, TOOLBAR_H, np.ones(3), np.zeros(3), 0.04, 0.0)
    hline(cv, 0, W, TOOLBAR_H - 0.5, np.zeros(3), 0.8, 1.0)
    hline(cv, 0, W, TOOLBAR_H + 0.5, np.ones(3), 0.07, 1.0)
    x, y, w, h = PRESET_SLOT
    glass(cv, x, y, w, h, 4, seed=22)
    # The name of the instrument at the right end of the toolbar.
    right, cap, tracking = W - 16, 11, 4.2
    printed_text(cv, "LAMINA", right, 16, cap, colour=rgb(0xC9CED1), alpha=0.9, tracking=tracking,
                 align="right", weight=0.85)
    led(cv, right - lettering.advance_units("LAMINA", tracking) * cap / 10 - 9, 21.5)

    # Footer.
    fill_rect_noise(cv, 0, FOOTER_Y, W, H - FOOTER_Y, FOOTER, 0.03, seed=31, brushed=60)
    hline(cv, 0, W, FOOTER_Y + 0.5, np.zeros(3), 0.8, 1.0)
    hline(cv, 0, W, FOOTER_Y - 0.5, np.ones(3), 0.05, 1.0)

    # The sheet's bay: deep, with a soft pool of light in which the sheet hangs.
    bx, by, bw, bh = SHEET_BAY

    def bay_light(X, Y):
        u = (X - (bx + bw / 2)) / (bw * 0.55)
        v = (Y - (by + bh * 0.45)) / (bh * 0.6)
        return 0.045 * np.exp(-(u * u + v * v))

    recess(cv, lambda X, Y: sd_rrect(X, Y, bx, by, bw, bh, 6), SHEET_BAY, BAY, depth=5.0, shadow=0.6,
           lip=0.18, floor_light=bay_light, seed=41, grain=0.008)

    # Read-outs: a glass strip for the values and the captions printed under it, flush left with the values
    # (the right ends of the spans hold the padlocks).
    x, y, w, h = READOUT_GLASS
    glass(cv, x, y, w, h, 3, seed=42)
    for name, sx, sw in READOUT_SPANS:
        printed_text(cv, name, sx + 1, READOUT_CAPTION_Y, 6, alpha=0.8)
    for _, sx, sw in READOUT_SPANS[1:]:
        # Hairlines that part the read-outs inside the glass.
        vline(cv, sx - 3, y + 4, y + h - 4, rgb(0x3A4A4E), 0.5, 0.8)

    # The material buttons' rail.
    x, y, w, h = MATERIAL_RAIL
    recess(cv, lambda X, Y: sd_rrect(X, Y, x, y, w, h, 5), MATERIAL_RAIL, rgb(0x1E2022), depth=2.0,
           shadow=0.45, lip=0.14, seed=43)

    # The three main knobs.
    for i, (cx, cy) in enumerate(MAIN_KNOBS):
        knob_well(cv, cx, cy, MAIN_WELL_R, seed=50 + i)

    # The meters.
    xs, my, mh = METERS[expanded]
    for i, mx in enumerate(xs):
        meter_trough(cv, mx, my, mh, seed=60 + i)

    if expanded:
        x, y, w, h = DISPLAY
        glass(cv, x, y, w, h, 4, seed=70)
        x, y, w, h = PAGE_TRAY
        recess(cv, lambda X, Y: sd_rrect(X, Y, x, y, w, h, 5), PAGE_TRAY, rgb(0x26292C), depth=1.6,
               shadow=0.35, lip=0.12, seed=71)
        for i, kx in enumerate(LOWER_KNOBS_X):
            knob_well(cv, kx + 16.5, LOWER_KNOB_Y + 16.5, LOWER_WELL_R, seed=72 + i)
        # A printed rule above the lower row.
        hline(cv, 510, 1004, 426.5, PRINT, 0.16, 0.8)

    # Screws at the plates' corners.
    main_right = PLATE_SEAM_X - 14 if expanded else W - 11
    for sx, sy, a in [(17, 57, 0.3), (main_right, 57, 1.1), (17, 523, 0.8), (main_right, 523, 0.1)]:
        screw(cv, sx, sy, angle=a)
    if expanded:
        for sx, sy, a in [(PLATE_SEAM_X + 13, 57, 0.6), (W - 11, 57, 1.3), (PLATE_SEAM_X + 13, 523, 0.2),
                          (W - 11, 523, 0.9)]:
            screw(cv, sx, sy, angle=a)
    return cv


def overlay(expanded):
    """Light that lies over the art but under the widgets: reflections on the glass and a vignette."""
    W, H = EXPANDED if expanded else CONDENSED
    cv = Canvas(W, H)
    # Vignette: the far corners of the panel fall off a little.
    reg = cv.region(0, 0, W, H, 0)
    sl, X, Y = reg
    u = (X - W / 2) / (W * 0.62)
    v = (Y - H * 0.45) / (H * 0.72)
    cv.paint(sl, np.zeros(3), np.clip((u * u + v * v) - 0.55, 0, 1) * 0.45)

    def sheen(x, y, w, h, r, strength):
        reg = cv.region(x, y, w, h, 0)
        sl, X, Y = reg
        inside = cover(sd_rrect(X, Y, x, y, w, h, r))
        # A broad diagonal band, as from a window behind the player.
        t = (X - x) / w * 0.55 + (Y - y) / h * 0.45
        band = np.exp(-((t - 0.32) / 0.16) ** 2) + 0.5 * np.exp(-((t - 0.52) / 0.05) ** 2)
        cv.paint(sl, np.ones(3), inside * band * strength)

    sheen(*READOUT_GLASS, 3, 0.045)
    sheen(*PRESET_SLOT, 4, 0.04)
    if expanded:
        sheen(*DISPLAY, 4, 0.03)
    return cv


# ---------------------------------------------------------------- sheet textures

TEXTURES = {
    # name: base colour, grain, streak length (pixels at 2x), mottling, hue of the grain
    "steel": (rgb(0x8D9FA9), 0.060, 160, 0.035, np.array([0.96, 1.0, 1.05])),
    "gold": (rgb(0xD2A545), 0.080, 140, 0.055, np.array([1.08, 0.95, 0.62])),
    "silver": (rgb(0xD5D9DC), 0.075, 200, 0.040, np.array([1.0, 1.0, 1.02])),
    "titanium": (rgb(0x67696D), 0.050, 120, 0.030, np.array([0.98, 1.0, 1.04])),
    "aluminum": (rgb(0xAEB2B5), 0.035, 90, 0.020, np.array([1.0, 1.0, 1.01])),
}
TEXTURE_SIZE = 256  # 1x; the "@2x" twin is 512


def texture(name):
    """A seamless tile of brushed sheet metal, at 2x."""
    base, grain, streak, mottle, hue = TEXTURES[name]
    n = TEXTURE_SIZE * S
    seed = {"steel": 101, "gold": 102, "silver": 103, "titanium": 104, "aluminum": 105}[name]
    # Fine grain: noise smeared along x, barely across.
    g = white_noise(n, n, seed)
    g = blur(g, streak, axis=1, passes=2) * np.sqrt(streak) * 0.9
    g = g + blur(white_noise(n, n, seed + 1), 9, axis=1, passes=2) * 1.6
    g = g + white_noise(n, n, seed + 2) * 0.22
    # A few longer, brighter scratches.
    s = white_noise(n, n, seed + 3)
    s = np.where(s > 0.4985, 1.0, 0.0)
    s = blur(s, 120, axis=1, passes=1) * 40.0
    s = blur(s, 2, axis=0, passes=1)
    # Broad mottling, and a slow wave across the brushing.
    m = value_noise(n, n, 128, seed + 4) + 0.5 * value_noise(n, n, 64, seed + 5)
    yy = np.arange(n, dtype=np.float64)[:, None] / n
    wave = np.sin(yy * 2 * np.pi * 3) * 0.5
    lum = grain * g + mottle * (m + 0.35 * wave) + 0.05 * np.clip(s, 0, 1)
    col = base[None, None, :] * (1 + lum[..., None] * hue[None, None, :] / np.maximum(base, 0.2) * 0.9)
    col = np.clip(col, 0, 1)
    out = np.floor(col * 255 + 0.5).astype(np.uint8)
    return out


# ---------------------------------------------------------------- output

def half(rgba):
    """The 1x image: 2 x 2 block means of the 2x master (premultiplied, so edges stay clean)."""
    f = rgba.astype(np.float64) / 255.0
    if f.shape[2] == 4:
        f[..., :3] *= f[..., 3:4]
    h, w = f.shape[0] // 2, f.shape[1] // 2
    f = f[: h * 2, : w * 2].reshape(h, 2, w, 2, f.shape[2]).mean(axis=(1, 3))
    if f.shape[2] == 4:
        a = f[..., 3:4]
        f[..., :3] = np.where(a > 1e-9, f[..., :3] / np.maximum(a, 1e-9), 0.0)
    return np.floor(np.clip(f, 0, 1) * 255 + 0.5).astype(np.uint8)


def images():
    """Every file this tool writes: relative path -> uint8 array (RGB or RGBA)."""
    out = {}
    for expanded, tag in [(True, "exp"), (False, "cnd")]:
        bg = background(expanded).rgba8()[..., :3]
        out["images/_bkg_%s@2x.png" % tag] = bg
        out["images/_bkg_%s.png" % tag] = half(bg)
        ov = overlay(expanded).rgba8()
        out["images/_overlay_%s@2x.png" % tag] = ov
        out["images/_overlay_%s.png" % tag] = half(ov)
    for name in TEXTURES:
        t = texture(name)
        out["textures/lamina_tex_%s@2x.png" % name] = t
        out["textures/lamina_tex_%s.png" % name] = half(t)
    return out


def write(folder, only=None, fast=False):
    made = images()
    for rel, arr in sorted(made.items()):
        if only and not any(o in rel for o in only):
            continue
        path = os.path.join(folder, rel)
        os.makedirs(os.path.dirname(path), exist_ok=True)
        mode = "RGBA" if arr.shape[2] == 4 else "RGB"
        if fast:
            Image.fromarray(arr, mode).save(path, compress_level=1)
        else:
            Image.fromarray(arr, mode).save(path, optimize=True)
    return made


def check(resource):
    """Draws everything into a temporary folder and compares the decoded pixels with the committed files."""
    bad = []
    with tempfile.TemporaryDirectory() as tmp:
        made = write(tmp, fast=True)
        for rel in sorted(made):
            path = os.path.join(resource, rel)
            if not os.path.exists(path):
                bad.append("%s: missing" % rel)
                continue
            fresh = Image.open(os.path.join(tmp, rel))
            mode = fresh.mode
            want = np.asarray(fresh)
            have = np.asarray(Image.open(path).convert(mode))
            if have.shape != want.shape:
                bad.append("%s: size %s, the generator draws %s" % (rel, have.shape, want.shape))
            else:
                # numpy may pick other vector code for exp or sin on another processor; that moves a rare pixel
                # by one step. A change to the drawing moves many.
                diff = np.abs(have.astype(int) - want.astype(int)).max(axis=2)
                changed = int((diff > 0).sum())
                if diff.max() > 2 or changed > diff.size // 2000:
                    bad.append("%s: %d pixels differ (max %d)" % (rel, changed, diff.max()))
    for line in bad:
        print(line)
    if bad:
        print("The committed art differs from what tools/art/make_art.py draws: run it and commit the result.")
        return 1
    print("%d images match the generator" % len(made))
    return 0


def main():
    here = os.path.dirname(os.path.abspath(__file__))
    resource = os.path.normpath(os.path.join(here, "..", "..", "resource"))
    ap = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    ap.add_argument("--out", help="folder to write images/ and textures/ into (default: resource/)")
    ap.add_argument("--check", action="store_true", help="compare the committed files with a fresh drawing")
    ap.add_argument("--only", nargs="*", help="write only files whose path contains one of these")
    a = ap.parse_args()
    if a.check:
        return check(resource)
    write(a.out or resource, a.only)
    return 0


if __name__ == "__main__":
    sys.exit(main())
