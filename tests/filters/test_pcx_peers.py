#!/usr/bin/python3
"""Peer files for the PCX/DCX cross-checks.

  test_pcx_peers.py make DIR
      Writes PCX files with Pillow and PCX/DCX files with ImageMagick into DIR,
      each with the pixels its own writer's program decodes (R, G, B bytes,
      top row first) in NAME.pPAGE.rgb, and a list DIR/list.txt of
      "NAME PAGE WIDTH HEIGHT" lines.
  test_pcx_peers.py decode FILE PAGE OUT
      Pillow's decoding of page PAGE (from 1) of FILE as R, G, B bytes.
"""
import os
import random
import subprocess
import sys

from PIL import Image


def picture(mode, w, h, seed):
    rnd = random.Random(seed)
    im = Image.new(mode, (w, h))
    xy = [(x, y) for y in range(h) for x in range(w)]
    if mode == "1":
        im.putdata([rnd.randrange(2) * 255 for _ in xy])
    elif mode == "L":
        im.putdata([(x * 7 + y * 3 + (rnd.randrange(4) if (x + y) % 5 == 0 else 0)) % 256
                    for x, y in xy])
    elif mode == "P":
        im.putpalette([rnd.randrange(256) for _ in range(768)])
        # Runs of equal indices next to single high values exercise both paths.
        im.putdata([(x // 3 * 37 + y) % 256 if (x + y) % 4 else rnd.randrange(192, 256)
                    for x, y in xy])
    else:
        im.putdata([((x * 9) % 256, (y * 13) % 256, rnd.randrange(256) if x % 3 == 0 else 200)
                    for x, y in xy])
    return im


def rgb_of(path, page):
    with Image.open(path) as im:
        im.seek(page - 1)
        return im.convert("RGB").tobytes()


def make(out):
    os.makedirs(out, exist_ok=True)
    lines = []

    def add(name, page, size, data):
        with open(os.path.join(out, "%s.p%d.rgb" % (name, page)), "wb") as f:
            f.write(data)
        lines.append("%s %d %d %d" % (name, page, size[0], size[1]))

    # Pillow writes PCX: 1-bit, 8-bit palette and grey, 24-bit, odd widths.
    # The reference is the picture Pillow was given (its PCX writer is
    # lossless for these modes; its 9.x reader refuses some of its own files).
    pillow = [("1", 37, 23), ("1", 8, 3), ("1", 1, 1), ("P", 61, 17), ("P", 1, 5), ("L", 33, 9),
              ("RGB", 45, 31), ("RGB", 3, 2), ("RGB", 130, 7)]
    for i, (mode, w, h) in enumerate(pillow):
        name = "pil_%s_%dx%d" % (mode.lower(), w, h)
        im = picture(mode, w, h, i)
        im.save(os.path.join(out, name + ".pcx"), "PCX")
        add(name, 1, im.size, im.convert("RGB").tobytes())

    # ImageMagick writes PCX and DCX; its own decoding is the reference,
    # except for 1-bit pages: ImageMagick reads its own 1-bit PCX with bit 1
    # as black, where the format (and Pillow) has 0 black and 1 white, so
    # Pillow's decoding is the reference there.
    def magick_rgb(path, page):
        with Image.open(path) as im:
            im.seek(page - 1)
            if im.mode == "1":
                return im.convert("RGB").tobytes()
        return subprocess.run(["convert", "%s[%d]" % (path, page - 1), "-depth", "8", "rgb:-"],
                              check=True, capture_output=True).stdout

    sources = []
    for i, (mode, w, h) in enumerate([("1", 29, 11), ("P", 47, 13), ("L", 21, 6), ("RGB", 35, 19)]):
        src = os.path.join(out, "src%d.png" % i)
        # ImageMagick keeps a palette PNG's palette: 2 colours -> 1-bit PCX.
        im = picture(mode, w, h, 100 + i)
        (im if mode == "RGB" else im.convert("P")).save(src)
        sources.append((src, (w, h)))
        name = "im_%s_%dx%d" % (mode.lower(), w, h)
        path = os.path.join(out, name + ".pcx")
        subprocess.run(["convert", src, "-type", "truecolor" if mode == "RGB" else "palette", path],
                       check=True)
        add(name, 1, (w, h), magick_rgb(path, 1))
    dcx = os.path.join(out, "im_pages.dcx")
    subprocess.run(["convert"] + [s[0] for s in sources] + [dcx], check=True)
    for page, (src, size) in enumerate(sources, 1):
        add("im_pages", page, size, magick_rgb(dcx, page))

    with open(os.path.join(out, "list.txt"), "w") as f:
        f.write("\n".join(lines) + "\n")


if __name__ == "__main__":
    if sys.argv[1] == "make":
        make(sys.argv[2])
    else:
        with open(sys.argv[4], "wb") as f:
            f.write(rgb_of(sys.argv[2], int(sys.argv[3])))
