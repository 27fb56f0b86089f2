#!/usr/bin/python3
"""Times Pillow on the same PCX files as bench_pcx, for a side-by-side ratio.

Usage: pcx_peer.py REPEATS FILE...
For each file prints one line: "<file> <load seconds> <save seconds>", the
best of REPEATS runs. Load = open + decode; save = encode the decoded image
as PCX into memory.
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

        def load():
            with Image.open(io.BytesIO(data)) as im:
                im.load()

        im = Image.open(io.BytesIO(data))
        im.load()

        def save():
            im.save(io.BytesIO(), "PCX")

        print(path, best(load, repeats), best(save, repeats), flush=True)


if __name__ == "__main__":
    main()
