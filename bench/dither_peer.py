#!/usr/bin/python3
"""Times Pillow and ImageMagick on the picture bench_dither reduces.

Usage: dither_peer.py REPEATS SOURCE.ppm OUTDIR [pillow]
Prints one line per operation: "<tool> <operation> <best seconds> <output file>".
With "pillow" only Pillow is timed (bench_dither runs that once more after
its own timings, so a change of machine load between the two shows).
Pillow is timed in process on the decoded image (best of REPEATS). ImageMagick
is timed as whole runs of `convert` on an MPC copy of the source (memory
mapped, so reading costs little) less the best run that only reads and
discards it; its output for the quality figure is written by one more run.
"""
import os
import subprocess
import sys

from PIL import Image

from peer_timing import best


def pillow(repeats, src, outdir):
    im = Image.open(src)
    im.load()
    gray = im.convert("L")
    fs = Image.Dither.FLOYDSTEINBERG
    ops = [
        ("octree256+fs", lambda: im.quantize(256, method=Image.Quantize.FASTOCTREE, dither=fs)),
        ("1bit-fs", lambda: im.convert("1")),
        ("threshold-L", lambda: gray.point(lambda p: 255 if p >= 128 else 0, "1")),
        ("threshold-L-nodither", lambda: gray.convert("1", dither=Image.Dither.NONE)),
    ]
    for name, fn in ops:
        t = best(fn, repeats)
        path = os.path.join(outdir, "pil_" + name + ".ppm")
        fn().convert("RGB").save(path)
        print("pillow", name, t, path, flush=True)


def magick(repeats, src, outdir):
    mpc = os.path.join(outdir, "src.mpc")
    subprocess.run(["convert", src, mpc], check=True)

    def run(args):
        subprocess.run(["convert", mpc] + args + ["null:"], check=True)

    base = best(lambda: run([]), repeats)
    ops = [
        ("colors256", ["-colors", "256"]),
        ("monochrome", ["-monochrome"]),
        ("ordered-o8x8", ["-ordered-dither", "o8x8"]),
    ]
    for name, args in ops:
        t = best(lambda: run(args), repeats) - base
        path = os.path.join(outdir, "im_" + name + ".ppm")
        subprocess.run(["convert", mpc] + args + ["-type", "TrueColor", "ppm:" + path], check=True)
        print("magick", name, t, path, flush=True)


def main():
    repeats, src, outdir = int(sys.argv[1]), sys.argv[2], sys.argv[3]
    pillow(repeats, src, outdir)
    if sys.argv[4:] != ["pillow"]:
        magick(repeats, src, outdir)


if __name__ == "__main__":
    main()
