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
        f.write(b"%d %d\n" % (a.shape[1], a.shape[0]) + a.tobytes())


def pattern(w, h, seed):
    return np.random.default_rng(seed).integers(0, 256, (h, w, 3), dtype=np.uint8)


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


def make(d):
    rgb = pattern(37, 23, 1)
    cases = {"rgb24": Image.fromarray(rgb),
             "rgba32": Image.fromarray(np.dstack([rgb, rgb[:, :, 0]]), "RGBA"),
             "grey8": Image.fromarray(rgb[:, :, 1]),
             "pal8": Image.fromarray(rgb).quantize(200),
             "pal4": Image.fromarray(rgb).quantize(16),
             "bw1": Image.fromarray(rgb[:, :, 2] > 100),
             "wide1": Image.fromarray(pattern(203, 5, 2)[:, :, 0] > 128),
             "odd8": Image.fromarray(pattern(1, 7, 3)[:, :, 0])}
    for name, im in cases.items():
        path = os.path.join(d, name)
        im.save(path + ".bmp")
        write_rgba(path + ".rgba", Image.open(path + ".bmp"))
    # RLE8 from ImageMagick, when it is installed.
    for name, colors in (("rle8", 200), ("rle8few", 7)):
        out = os.path.join(d, name)
        if subprocess.call(["convert", os.path.join(d, "rgb24.bmp"), "-colors", str(colors),
                            "-compress", "RLE", "BMP3:" + out + ".bmp"],
                           stderr=subprocess.DEVNULL) == 0:
            write_rgba(out + ".rgba", Image.open(out + ".bmp"))
    # RLE4 from the encoder above; the truth is the index array itself.
    rng = np.random.default_rng(4)
    idx = np.repeat(rng.integers(0, 16, (19, 9)), 4, axis=1)[:, :33].astype(np.uint8)
    idx[5, 3:9] = [1, 2, 3, 4, 5, 6]
    palette = [(i * 16, 255 - i * 16, (i * 37) & 255) for i in range(16)]
    codes, (h, w), head = rle4_encode(idx), idx.shape, 14 + 40 + 64
    le = lambda v, n: v.to_bytes(n, "little")
    f = b"BM" + le(head + len(codes), 4) + bytes(4) + le(head, 4) + le(40, 4) + le(w, 4) + le(h, 4)
    f += le(1, 2) + le(4, 2) + le(2, 4) + le(len(codes), 4) + bytes(16)
    f += b"".join(bytes([b, g, r, 0]) for r, g, b in palette)
    with open(os.path.join(d, "rle4.bmp"), "wb") as out:
        out.write(f + codes)
    truth = Image.fromarray(np.array(palette, np.uint8)[idx], "RGB")
    write_rgba(os.path.join(d, "rle4.rgba"), truth)


if __name__ == "__main__":
    if sys.argv[1] == "make":
        make(sys.argv[2])
    else:
        for path in sys.argv[2:]:
            write_rgba(path + ".rgba", Image.open(path))
