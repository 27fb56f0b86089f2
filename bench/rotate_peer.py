#!/usr/bin/python3
"""Times Pillow's rotations and mirrors on the same pixels as bench_rotate, for a side-by-side ratio.

Usage: rotate_peer.py REPEATS CASE...
Each CASE is "name:path:mode:width:height:op" where path holds the raw pixels (rows top to
bottom, mode "RGB" or "1" with rows packed to whole bytes) and op is "rotate17" (rotate by 17
degrees clockwise, NEAREST, size kept), "rotate90", "rotate180", "fliplr" or "fliptb"
(transpose ROTATE_90, ROTATE_180, FLIP_LEFT_RIGHT, FLIP_TOP_BOTTOM). For each case prints
"<name> <seconds> <cpu seconds>", the best of REPEATS of the wall clock and of the thread's
processor time (user and system), apart.
"""
import sys
import time

from PIL import Image

OPS = {
    "rotate17": lambda im: im.rotate(-17, Image.NEAREST),
    "rotate90": lambda im: im.transpose(Image.ROTATE_90),
    "rotate180": lambda im: im.transpose(Image.ROTATE_180),
    "fliplr": lambda im: im.transpose(Image.FLIP_LEFT_RIGHT),
    "fliptb": lambda im: im.transpose(Image.FLIP_TOP_BOTTOM),
}


def main():
    repeats = int(sys.argv[1])
    images = {}
    for case in sys.argv[2:]:
        name, path, mode, w, h, op = case.split(":")
        key = (path, mode, w, h)
        if key not in images:
            with open(path, "rb") as f:
                images[key] = Image.frombytes(mode, (int(w), int(h)), f.read())
        im = images[key]
        best = cpu = float("inf")
        for _ in range(repeats):
            start, start_cpu = time.perf_counter(), time.thread_time()
            OPS[op](im)
            cpu = min(cpu, time.thread_time() - start_cpu)
            best = min(best, time.perf_counter() - start)
        print(name, best, cpu, flush=True)


if __name__ == "__main__":
    main()
