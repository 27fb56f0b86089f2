#!/usr/bin/python3
"""Peer data for the CCITT cross-checks (libtiff's tiffcp, tiffinfo, fax2tiff).

  test_ccitt_peers.py make DIR
      Writes bilevel pages as PBM, has tiffcp code them (g3, g3:2d, g3:fill,
      g4; both fill orders; widths 1728 and 2900), and keeps the coded strip
      of each in NAME.raw with the page's pixels in NAME.bits (rows of
      (w + 7) / 8 bytes, 1 = black) as libtiff decodes them back.
      DIR/list.txt has "NAME WIDTH HEIGHT CODING FILLORDER" lines (coding 3
      one-dimensional, 5 two-dimensional, 4 Group 4).
  test_ccitt_peers.py page NAME.pbm W H SEED
      One test page.
  test_ccitt_peers.py wrap RAW W H CODING FILLORDER OUT.tif
      A TIFF around raw coded data (one strip, min-is-white).
  test_ccitt_peers.py tiffbits TIFF OUT
      libtiff's decoding of a bilevel TIFF as rows of 1 = black.
"""
import os
import random
import struct
import subprocess
import sys


def page_bits(w, h, seed):
    """Text-like blocks and a halftone band: rows of (w + 7) // 8 bytes."""
    rnd = random.Random(seed)
    px = [[0] * w for _ in range(h)]
    # glyph-like rectangles in lines of "text"
    for y0 in range(4, h - 12, 14):
        x = 8
        while x < w - 20:
            gw = rnd.randrange(3, 12)
            for y in range(y0, y0 + rnd.randrange(5, 11)):
                for xx in range(x, min(x + gw, w)):
                    if rnd.random() < 0.8:
                        px[y][xx] = 1
            x += gw + rnd.randrange(2, 30)
    # a halftone band
    for y in range(h // 3, h // 3 + min(20, h // 4)):
        for x in range(w):
            if (x * 7 + y * 3) % 5 < 2:
                px[y][x] = 1
    # long black runs across the make-up codes
    if h > 4:
        for x in range(5, w - 3):
            px[h - 3][x] = 1
        for x in range(0, w):
            px[h - 2][x] = 1
    out = bytearray()
    for row in px:
        for b in range(0, w, 8):
            v = 0
            for i in range(8):
                if b + i < w and row[b + i]:
                    v |= 0x80 >> i
            out.append(v)
    return bytes(out)


def write_pbm(path, w, h, bits):
    with open(path, "wb") as f:
        f.write(b"P4\n%d %d\n" % (w, h))
        f.write(bits)


def tiff_strips(path):
    """(tags, strip bytes joined) of the first IFD."""
    data = open(path, "rb").read()
    bo = "<" if data[:2] == b"II" else ">"
    (ifd,) = struct.unpack(bo + "I", data[4:8])
    (n,) = struct.unpack(bo + "H", data[ifd:ifd + 2])
    tags = {}
    sizes = {1: 1, 3: 2, 4: 4}
    for i in range(n):
        e = data[ifd + 2 + 12 * i: ifd + 14 + 12 * i]
        tag, typ, cnt = struct.unpack(bo + "HHI", e[:8])
        if typ not in sizes:
            continue
        sz = sizes[typ]
        raw = e[8:12] if sz * cnt <= 4 else data[struct.unpack(bo + "I", e[8:12])[0]:][:sz * cnt]
        fmt = {1: "B", 3: "H", 4: "I"}.get(typ, "I")
        tags[tag] = list(struct.unpack(bo + fmt * cnt, raw[:sz * cnt]))
    strips = b"".join(data[o:o + c] for o, c in zip(tags[273], tags[279]))
    return tags, strips


def tiff_bits(path, out):
    tmp = out + ".none.tif"
    subprocess.run(["tiffcp", "-c", "none", "-f", "msb2lsb", "-r", "1000000", path, tmp], check=True)
    tags, strips = tiff_strips(tmp)
    os.remove(tmp)
    if tags.get(262, [0])[0] == 1:  # min-is-black: 1 = white
        strips = bytes(b ^ 0xFF for b in strips)
    with open(out, "wb") as f:
        f.write(strips)
    return strips


def make(d):
    os.makedirs(d, exist_ok=True)
    cases = [
        ("g3", 3, 1, 1728, 120), ("g3fill", 3, 1, 1728, 60), ("g3lsb", 3, 2, 1728, 60),
        ("g32d", 5, 1, 1728, 120), ("g32dfill", 5, 1, 2900, 50), ("g32dlsb", 5, 2, 1728, 60),
        ("g4", 4, 1, 1728, 120), ("g4wide", 4, 1, 2900, 60), ("g4lsb", 4, 2, 1728, 60),
        ("g3wide", 3, 1, 2900, 40), ("g4odd", 4, 1, 333, 41),
    ]
    opts = {"g3": "g3", "g3fill": "g3:fill", "g3lsb": "g3", "g32d": "g3:2d",
            "g32dfill": "g3:2d:fill", "g32dlsb": "g3:2d", "g4": "g4", "g4wide": "g4",
            "g4lsb": "g4", "g3wide": "g3", "g4odd": "g4"}
    lines = []
    for seed, (name, coding, fill, w, h) in enumerate(cases):
        pbm = os.path.join(d, name + ".pbm")
        write_pbm(pbm, w, h, page_bits(w, h, seed))
        plain = os.path.join(d, name + ".plain.tif")
        subprocess.run(["pnmtotiff", "-none", "-miniswhite", "-rowsperstrip", str(h), pbm],
                       check=True, stdout=open(plain, "wb"), stderr=subprocess.DEVNULL)
        coded = os.path.join(d, name + ".tif")
        cmd = ["tiffcp", "-c", opts[name], "-r", "1000000"]
        if fill == 2:
            cmd += ["-f", "lsb2msb"]
        subprocess.run(cmd + [plain, coded], check=True)
        tags, strips = tiff_strips(coded)
        open(os.path.join(d, name + ".raw"), "wb").write(strips)
        tiff_bits(coded, os.path.join(d, name + ".bits"))
        lines.append("%s %d %d %d %d" % (name, w, h, coding, fill))
    open(os.path.join(d, "list.txt"), "w").write("\n".join(lines) + "\n")


def wrap(raw, w, h, coding, fill, out):
    data = open(raw, "rb").read()
    entries = [(256, 4, w), (257, 4, h), (258, 3, 1), (259, 3, 4 if coding == 4 else 3),
               (262, 3, 0), (266, 3, fill), (273, 4, 0), (277, 3, 1), (278, 4, h),
               (279, 4, len(data))]
    if coding != 4:
        entries.append((292, 4, 1 if coding == 5 else 0))
    entries.sort()
    ifd_at = 8
    data_at = ifd_at + 2 + 12 * len(entries) + 4
    b = bytearray(b"II*\x00" + struct.pack("<I", ifd_at))
    b += struct.pack("<H", len(entries))
    for tag, typ, val in entries:
        if tag == 273:
            val = data_at
        if typ == 3:
            b += struct.pack("<HHIHH", tag, typ, 1, val, 0)
        else:
            b += struct.pack("<HHII", tag, typ, 1, val)
    b += struct.pack("<I", 0)
    b += data
    open(out, "wb").write(bytes(b))


if __name__ == "__main__":
    if sys.argv[1] == "make":
        make(sys.argv[2])
    elif sys.argv[1] == "page":
        w, h, seed = int(sys.argv[3]), int(sys.argv[4]), int(sys.argv[5])
        write_pbm(sys.argv[2], w, h, page_bits(w, h, seed))
    elif sys.argv[1] == "wrap":
        wrap(sys.argv[2], int(sys.argv[3]), int(sys.argv[4]), int(sys.argv[5]),
             int(sys.argv[6]), sys.argv[7])
    elif sys.argv[1] == "tiffbits":
        tiff_bits(sys.argv[2], sys.argv[3])
