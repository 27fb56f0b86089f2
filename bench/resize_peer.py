#!/usr/bin/python3
"""Times Pillow's resize on the same pixels as bench_resize, for a side-by-side ratio.

Usage: resize_peer.py REPEATS CASE...
Each CASE is "name:path:mode:width:height:new_width:new_height:filter" where
path holds the raw pixels (rows top to bottom, mode "RGB", "L" or "1" with
rows packed to whole bytes) and filter is "nearest" or "bilinear". For each
case prints "<name> <seconds> <cpu seconds>", the best of at least REPEATS
resizes, more (up to 15) while they take less than half a second (reducing_gap
off), or "<name> - -" when Pillow does not offer the filter
for the mode.
"""
import sys
import time

from PIL import Image

FILTERS = {"nearest": Image.NEAREST, "bilinear": Image.BILINEAR}


def main():
    repeats = int(sys.argv[1])
    images = {}
    for case in sys.argv[2:]:
        name, path, mode, w, h, nw, nh, flt = case.split(":")
        key = (path, mode, w, h)
        if key not in images:
            with open(path, "rb") as f:
                images[key] = Image.frombytes(mode, (int(w), int(h)), f.read())
        im = images[key]
        if mode == "1" and flt != "nearest":
            print(name, "-", "-", flush=True)
            continue
        best = cpu = float("inf")
        began = time.perf_counter()
        runs = 0
        while runs < repeats or (runs < 15 and time.perf_counter() - began < 0.5):
            runs += 1
            start, start_cpu = time.perf_counter(), time.process_time()
            im.resize((int(nw), int(nh)), FILTERS[flt], reducing_gap=None)
            cpu = min(cpu, time.process_time() - start_cpu)
            best = min(best, time.perf_counter() - start)
        print(name, best, cpu, flush=True)


if __name__ == "__main__":
    main()
