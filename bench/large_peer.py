#!/usr/bin/python3
"""Times Pillow on the files bench_large wrote, for its table of ratios.

Usage: large_peer.py REPEATS FILE...
For each file prints "<file> <decode from memory s> <read + decode s>
<PCX encode to memory s>", each the best of REPEATS runs: decode from memory
opens the file's bytes from a BytesIO and loads every pixel; read + decode
reads the file first (Pillow would map an uncompressed 8-bit BMP instead of
reading it, which leaves the pixels unread); the encode writes the decoded
image as PCX into a BytesIO.
"""
import io
import sys

from PIL import Image

from peer_timing import best


def main():
    repeats = int(sys.argv[1])
    for path in sys.argv[2:]:
        with open(path, "rb") as f:
            data = f.read()

        def from_memory():
            with Image.open(io.BytesIO(data)) as im:
                im.load()

        def from_file():
            with open(path, "rb") as f:
                raw = f.read()
            with Image.open(io.BytesIO(raw)) as im:
                im.load()

        im = Image.open(io.BytesIO(data))
        im.load()

        def save():
            im.save(io.BytesIO(), "PCX")

        print(path, best(from_memory, repeats), best(from_file, repeats), best(save, repeats), flush=True)


if __name__ == "__main__":
    main()
