#!/usr/bin/python3
"""Times Pillow loading the 1-bit BMP page of bench_onebit.

Usage: onebit_peer.py REPEATS FILE
Prints "<file load seconds> <memory load seconds>", the best of REPEATS runs
on the thread's CPU clock (as the benchmark times the library). File load =
Image.open(path) + load(); memory load = open and decode bytes already read.
"""
import io
import sys
import time

from PIL import Image

import peer_timing


def best(fn, repeats):
    return peer_timing.best(fn, repeats, time.thread_time)


def main():
    repeats, path = int(sys.argv[1]), sys.argv[2]
    with open(path, "rb") as f:
        data = f.read()

    def load_file():
        with Image.open(path) as im:
            im.load()

    def load_mem():
        with Image.open(io.BytesIO(data)) as im:
            im.load()

    print(best(load_file, repeats), best(load_mem, repeats), flush=True)


if __name__ == "__main__":
    main()
