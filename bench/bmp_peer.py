#!/usr/bin/python3
"""Times Pillow on the same BMP files as bench_bmp, for a side-by-side ratio.

Usage: bmp_peer.py REPEATS FILE...
For each file prints one line:
  "<file> <load seconds> <read+decode seconds> <save seconds>"
the best of REPEATS runs. Load = Image.open(path) + load(): Pillow maps an
uncompressed file it can use as it is (8-bit palette rows) instead of
reading it, so that time leaves the pixel read out; read+decode = read the
file's bytes, then open and decode them from memory, which always reads
every pixel. Save = encode the decoded image as BMP into a file next to it
(removed afterwards), so both sides pay for the same file I/O.
"""
import io
import os
import sys

from PIL import Image

from peer_timing import best


def main():
    repeats = int(sys.argv[1])
    for path in sys.argv[2:]:
        out = path + ".peer.bmp"

        def load():
            with Image.open(path) as im:
                im.load()

        def read_decode():
            with open(path, "rb") as f:
                data = f.read()
            with Image.open(io.BytesIO(data)) as im:
                im.load()

        im = Image.open(path)
        im.load()

        def save():
            im.save(out, "BMP")

        print(path, best(load, repeats), best(read_decode, repeats), best(save, repeats), flush=True)
        os.remove(out)


if __name__ == "__main__":
    main()
