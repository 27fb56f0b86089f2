"""Peers of the TIFF reader's tests (Pillow, tiffcp).

  rgba OUTDIR FILE...   Pillow's first frame of each FILE as R, G, B, A bytes
                        in OUTDIR/<n>.rgba (n from 0; no file when Pillow fails)
  gray16 FILE OUT       a 16-bit grey image's values (from getdata, right for
                        both byte orders) as little-endian words
  make DIR              writes TIFFs of many layouts into DIR with Pillow and
                        tiffcp; list.txt names them: file pages
"""
import os
import subprocess
import sys

from PIL import Image


def rgba(outdir, files):
    for n, f in enumerate(files):
        try:
            im = Image.open(f)
            im.load()
            data = im.convert("RGBA").tobytes()
        except Exception:
            continue
        with open(os.path.join(outdir, "%d.rgba" % n), "wb") as o:
            o.write(data)
        with open(os.path.join(outdir, "%d.size" % n), "w") as o:
            o.write("%d %d\n" % im.size)


def gray16(path, out):
    import struct
    im = Image.open(path)
    v = list(im.getdata())
    with open(out, "wb") as f:
        f.write(struct.pack("<%dH" % len(v), *v))


def make(d):
    os.makedirs(d, exist_ok=True)
    w, h = 83, 57
    rgb = Image.new("RGB", (w, h))
    rgb.putdata([((x * 7 + y) % 256, (y * 5) % 256, (x * y) % 256) for y in range(h) for x in range(w)])
    grey = rgb.convert("L")
    names = []

    def save(im, name, **kw):
        im.save(os.path.join(d, name), **kw)
        names.append((name, 1))

    for comp in ("raw", "packbits", "tiff_lzw", "jpeg"):
        save(rgb, "rgb_%s.tif" % comp, compression=comp)
        save(grey, "grey_%s.tif" % comp, compression=comp)
    save(rgb.convert("P", palette=Image.ADAPTIVE, colors=200), "pal8.tif")
    save(rgb.convert("P", palette=Image.ADAPTIVE, colors=200), "pal8_lzw.tif", compression="tiff_lzw")
    mono = grey.point(lambda v: 255 if v > 100 else 0).convert("1")
    for comp in ("raw", "packbits", "group3", "group4", "tiff_lzw"):
        save(mono, "mono_%s.tif" % comp, compression=comp)
    save(rgb.convert("CMYK"), "cmyk.tif")
    save(rgb.convert("CMYK"), "cmyk_lzw.tif", compression="tiff_lzw")
    rgba = rgb.copy()
    rgba.putalpha(255)
    save(rgba, "rgba.tif")
    grad = rgb.copy()
    grad.putalpha(Image.linear_gradient("L").resize((w, h)))
    save(grad, "rgba_grad.tif")
    save(grad, "rgba_grad_lzw.tif", compression="tiff_lzw")
    save(rgb, "rgb_strips.tif", tiffinfo={278: 5})
    frames = [grey, grey.transpose(Image.FLIP_LEFT_RIGHT), grey.transpose(Image.FLIP_TOP_BOTTOM)]
    frames[0].save(os.path.join(d, "pages.tif"), save_all=True, append_images=frames[1:])
    names.append(("pages.tif", 3))
    # tiffcp: big-endian, planar, small strips, LZW with predictor, tiles of
    # the whole image, 4-bit palette and grey.
    src = os.path.join(d, "rgb_raw.tif")
    for name, args in (("rgb_be.tif", ["-B"]), ("rgb_planar.tif", ["-p", "separate"]),
                       ("rgb_planar_lzw.tif", ["-p", "separate", "-c", "lzw"]),
                       ("rgb_planar_pb.tif", ["-p", "separate", "-c", "packbits"]),
                       ("rgb_rps3.tif", ["-r", "3"]), ("rgb_lzw2.tif", ["-c", "lzw:2", "-r", "7"]),
                       ("rgb_lzw_be.tif", ["-B", "-c", "lzw:2"]),
                       ("rgb_tile.tif", ["-t", "-w", "96", "-l", "64"])):
        subprocess.run(["tiffcp"] + args + [src, os.path.join(d, name)], check=True)
        names.append((name, 1))
    subprocess.run(["tiffcp", "-c", "lzw:2", os.path.join(d, "grey_raw.tif"), os.path.join(d, "grey_lzw2.tif")], check=True)
    names.append(("grey_lzw2.tif", 1))
    save(rgb.convert("P", palette=Image.ADAPTIVE, colors=16), "pal4.tif", bits=4)
    with open(os.path.join(d, "list.txt"), "w") as f:
        for n, p in names:
            f.write("%s %d\n" % (n, p))


if __name__ == "__main__":
    if sys.argv[1] == "rgba":
        rgba(sys.argv[2], sys.argv[3:])
    elif sys.argv[1] == "gray16":
        gray16(sys.argv[2], sys.argv[3])
    elif sys.argv[1] == "make":
        make(sys.argv[2])
