#!/usr/bin/python3
"""Peer side of the simple raster formats' cross-checks (Debian's python3).

  md5 MODE FILE [SKIP]
                  prints the MD5 of Pillow's pixels of FILE converted to MODE
                  (P and LA files are converted as asked; mode 1 packed),
                  leaving out the first SKIP rows
  make DIR        writes files Pillow makes of one test picture, NAME.EXT,
                  and prints "NAME.EXT MODE MD5" per file
"""
import hashlib
import os
import sys

import numpy as np
from PIL import Image


def md5(im, mode, skip=0):
    if im.mode != mode:
        im = im.convert(mode)
    if skip:
        im = im.crop((0, skip, im.width, im.height))
    return hashlib.md5(im.tobytes()).hexdigest()


def picture(w, h, seed):
    return np.random.default_rng(seed).integers(0, 256, (h, w, 3), dtype=np.uint8)


def make(d):
    rgb = picture(37, 23, 1)
    im = Image.fromarray(rgb)
    cases = [("rgb.tga", im, "RGB"), ("rgba.tga", Image.fromarray(np.dstack([rgb, rgb[:, :, 0]]), "RGBA"), "RGBA"),
             ("grey.tga", im.convert("L"), "L"), ("pal.tga", im.quantize(200), "RGB"),
             ("rgb.ppm", im, "RGB"), ("grey.pgm", im.convert("L"), "L"), ("bw.pbm", im.convert("1"), "1"),
             ("rgb.sgi", im, "RGB"), ("grey.sgi", im.convert("L"), "L"),
             ("rgba.ico", Image.fromarray(np.dstack([rgb, rgb[:, :, 0]]), "RGBA").resize((32, 32)), "RGBA"),
             ("png.ico", Image.fromarray(np.dstack([rgb, rgb[:, :, 1]]), "RGBA").resize((48, 48)), "RGBA"),
             ("bw.msp", im.convert("1"), "1"),
             ("bw.xbm", im.convert("1"), "1")]
    for name, pic, mode in cases:
        path = os.path.join(d, name)
        kw = {"bitmap_format": "bmp"} if name == "rgba.ico" else {}
        try:
            pic.save(path, **kw)
        except Exception:  # a format this Pillow cannot write
            continue
        print(name, mode, md5(Image.open(path), mode))


if __name__ == "__main__":
    if sys.argv[1] == "md5":
        print(md5(Image.open(sys.argv[3]), sys.argv[2], int(sys.argv[4]) if len(sys.argv) > 4 else 0))
    else:
        make(sys.argv[2])
