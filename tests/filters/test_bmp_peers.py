#!/usr/bin/python3
"""Peer side of the BMP cross-checks (run with Debian's /usr/bin/python3).

  make DIR     writes BMP files that Pillow (and ImageMagick, for RLE8) make,
               plus RLE4 files from a small encoder here, each NAME.bmp with
               NAME.rgba: the expected pixels as R, G, B, A bytes, top row
               first, preceded by a line "WIDTH HEIGHT\\n".
  dump FILE... writes FILE.rgba for each file as Pillow decodes it (same form)
"""
import os
import subprocess
import sys

import numpy as np
from PIL import Image


def write_rgba(path, im):
    a = np.asarray(im.convert("RGBA"), dtype=np.uint8)
    with open(path, "wb") as f:
        f.write(b"%d %d\n" % (a.shape[1], a.shape[0]))
        f.write(a.tobytes())


def pattern(w, h, seed):
    rng = np.random.default_rng(seed)
    return rng.integers(0, 256, (h, w, 3), dtype=np.uint8)


def rle4_encode(idx):
    """RLE4 codes for rows of 4-bit indices (bottom row first in the file):
    runs of one value, absolute runs for stretches of changing values."""
    out = bytearray()
    for row in idx[::-1]:
        x, w = 0, len(row)
        while x < w:
            n = 1
            while x + n < w and n < 255 and row[x + n] == row[x]:
                n += 1
            if n >= 3 or w - x < 3:
                out += bytes([n, (row[x] << 4) | row[x]])
                x += n
                continue
            n = 3
            while x + n < w and n < 20 and row[x + n] != row[x + n - 1]:
                n += 1
            vals = list(row[x:x + n]) + [0]
            data = bytes((vals[i] << 4) | vals[i + 1] for i in range(0, n, 2))
            out += bytes([0, n]) + data + (b"\0" if len(data) & 1 else b"")
            x += n
        out += b"\0\0"
    return bytes(out + b"\0\1")


def bmp_rle4(path, idx, palette):
    h, w = idx.shape
    codes = rle4_encode(idx)
    head = 14 + 40 + 64
    f = bytearray(b"BM") + (head + len(codes)).to_bytes(4, "little") + bytes(4)
    f += head.to_bytes(4, "little") + (40).to_bytes(4, "little")
    f += w.to_bytes(4, "little") + h.to_bytes(4, "little") + (1).to_bytes(2, "little")
    f += (4).to_bytes(2, "little") + (2).to_bytes(4, "little") + len(codes).to_bytes(4, "little")
    f += bytes(16)
    for r, g, b in palette:
        f += bytes([b, g, r, 0])
    with open(path, "wb") as out:
        out.write(bytes(f) + codes)


def make(d):
    cases = {}
    rgb = pattern(37, 23, 1)
    cases["rgb24"] = Image.fromarray(rgb)
    cases["rgba32"] = Image.fromarray(np.dstack([rgb, rgb[:, :, 0]]), "RGBA")
    cases["grey8"] = Image.fromarray(rgb[:, :, 1])
    cases["pal8"] = Image.fromarray(rgb).quantize(200)
    cases["pal4"] = Image.fromarray(rgb).quantize(16)
    cases["bw1"] = Image.fromarray(rgb[:, :, 2] > 100)
    cases["wide1"] = Image.fromarray(pattern(203, 5, 2)[:, :, 0] > 128)
    cases["odd8"] = Image.fromarray(pattern(1, 7, 3)[:, :, 0])
    for name, im in cases.items():
        im.save(os.path.join(d, name + ".bmp"))
        write_rgba(os.path.join(d, name + ".rgba"), Image.open(os.path.join(d, name + ".bmp")))
    # RLE8 from ImageMagick, when it is installed.
    src = os.path.join(d, "rgb24.bmp")
    for name, colors in (("rle8", 200), ("rle8few", 7)):
        out = os.path.join(d, name + ".bmp")
        if subprocess.call(["convert", src, "-colors", str(colors), "-compress", "RLE", "BMP3:" + out],
                           stderr=subprocess.DEVNULL) == 0:
            write_rgba(os.path.join(d, name + ".rgba"), Image.open(out))
    # RLE4 from the encoder above; the truth is the index array itself.
    rng = np.random.default_rng(4)
    idx = np.repeat(rng.integers(0, 16, (19, 9)), 4, axis=1)[:, :33].astype(np.uint8)
    idx[5, 3:9] = [1, 2, 3, 4, 5, 6]
    palette = [(i * 16, 255 - i * 16, (i * 37) & 255) for i in range(16)]
    bmp_rle4(os.path.join(d, "rle4.bmp"), idx, palette)
    truth = np.array(palette, dtype=np.uint8)[idx]
    write_rgba(os.path.join(d, "rle4.rgba"), Image.fromarray(truth, "RGB"))


def dump(files):
    for path in files:
        write_rgba(path + ".rgba", Image.open(path))


if __name__ == "__main__":
    if sys.argv[1] == "make":
        make(sys.argv[2])
    else:
        dump(sys.argv[2:])
