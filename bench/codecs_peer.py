#!/usr/bin/python3
"""Times Pillow on the same JPEG and PNG files as bench_codecs.

Usage: codecs_peer.py REPEATS JPEG PNG
Prints one line per operation, "<name> <CPU seconds>", the best of REPEATS
(the PNG encode, seconds long, runs once):
  jpeg_load   open + decode the JPEG
  jpeg_save   encode the photo (decoded from the PNG) as JPEG, quality 90
  png_load    open + decode the PNG
  png_save    encode it as PNG (zlib level 6, Pillow's default) into memory
  jpeg_thumb  draft() + thumbnail((256, 256)) of the JPEG
"""
import io
import sys
import time

from PIL import Image

import peer_timing


def best(fn, repeats):
    return peer_timing.best(fn, repeats, time.process_time)


def main():
    repeats = int(sys.argv[1])
    jpeg = open(sys.argv[2], "rb").read()
    png = open(sys.argv[3], "rb").read()

    def load(data):
        with Image.open(io.BytesIO(data)) as im:
            im.load()

    def thumb():
        with Image.open(io.BytesIO(jpeg)) as im:
            im.draft("RGB", (256, 256))
            im.thumbnail((256, 256))

    # Both encoders start from the photo's exact pixels (the lossless PNG).
    im = Image.open(io.BytesIO(png))
    im.load()
    print("jpeg_load", best(lambda: load(jpeg), repeats), flush=True)
    print("jpeg_save", best(lambda: im.save(io.BytesIO(), "JPEG", quality=90), repeats), flush=True)
    print("png_load", best(lambda: load(png), repeats), flush=True)
    print("png_save", best(lambda: im.save(io.BytesIO(), "PNG"), 1), flush=True)
    print("jpeg_thumb", best(thumb, repeats), flush=True)


if __name__ == "__main__":
    main()
